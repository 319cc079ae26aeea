#include "qor/base/base_type_convert.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

#include "base/size.h"
#include "base/upward.h"
#include "platform/codepage.h"
#include "platform/utf8.h"

namespace qor {

namespace {

constexpr long32 utf8Page = 65001;

// The page for a text. The settings are not read for an empty one.
template <class Text>
long32 pageOf(const Text& text, long codepage) {
    if (text.empty()) return utf8Page;
    const auto page = static_cast<long32>(codepage);
    return page == -1 ? static_cast<long32>(upward::codepage()) : page;
}

std::string_view beforeZero(istr text) {
    if (text.empty()) return {};
    const void* const zero = std::memchr(text.data(), 0, text.size());
    const char* const end = zero != nullptr ? static_cast<const char*>(zero) : text.end();
    return {text.data(), static_cast<std::size_t>(end - text.data())};
}

std::wstring_view beforeZero(iwstr text) {
    if (text.empty()) return {};
    const wchar_t* const zero = std::wmemchr(text.data(), L'\0', text.size());
    const wchar_t* const end = zero != nullptr ? zero : text.end();
    return {text.data(), static_cast<std::size_t>(end - text.data())};
}

// The same operations for each type of output.
template <class Char>
void assign(std::basic_string<Char>& out, std::basic_string_view<Char> text) {
    out.assign(text);
}
template <class Char>
void append(std::basic_string<Char>& out, std::basic_string_view<Char> text) {
    out.append(text);
}
template <class Char>
void reserve(std::basic_string<Char>& out, std::size_t size) {
    if (size > out.max_size()) throw std::bad_alloc();
    out.reserve(size);
}
void assign(Bytes& out, std::string_view text) {
    out.assign(istr(text));
}
void append(Bytes& out, std::string_view text) {
    out.append(istr(text));
}
void reserve(Bytes& out, std::size_t size) {
    out.resize(cutSize(size));
}

// UTF-8 is converted in pieces through a buffer on the stack: resizing the output first would fill
// it with zeros, and would need an upper bound of its size.
constexpr std::size_t pieceSize = 1024;

class WidePieces {
public:
    explicit WidePieces(std::string_view text) : rest_(text) {}
    std::string_view rest() const { return rest_; }
    std::wstring_view next() {
        const std::string_view piece = rest_.substr(0, platform::uncutSize(rest_, pieceSize));
        rest_.remove_prefix(piece.size());
        return {room_, platform::utf8ToWide(piece, room_, pieceSize).written};
    }

private:
    std::string_view rest_;
    wchar_t room_[pieceSize];
};

class Utf8Pieces {
public:
    explicit Utf8Pieces(std::wstring_view text) : rest_(text) {}
    std::wstring_view rest() const { return rest_; }
    std::string_view next() {
        const std::wstring_view piece = rest_.substr(0, pieceSize);
        rest_.remove_prefix(piece.size());
        return {room_, platform::wideToUtf8(piece, room_, sizeof room_).written};
    }

private:
    std::wstring_view rest_;
    char room_[pieceSize * platform::maxBytesPerCharacter];
};

template <class Pieces, class Out>
void assignPieces(Pieces pieces, Out& out) {
    const std::size_t size = pieces.rest().size();
    const auto first = pieces.next();
    const std::size_t left = pieces.rest().size();
    if (left == 0) return assign(out, first);
    // An estimate: the rest of the text grows as its first piece does.
    Out result;
    const auto rest = static_cast<unsigned long long>(first.size()) * left / (size - left);
    reserve(result, checkedSize(first.size() + rest + 1));
    append(result, first);
    while (!pieces.rest().empty())
        append(result, pieces.next());
    out.swap(result);
}

// Conversion from and to any page except -1. An unknown page gives empty text.
void decode(std::string_view text, long32 page, std::wstring& out) {
    if (page == utf8Page) return assignPieces(WidePieces(text), out);
    const auto room = std::make_unique_for_overwrite<wchar_t[]>(text.size());
    const long size = platform::codepageToWide(page, text, room.get(), text.size());
    out.assign(room.get(), static_cast<std::size_t>(std::max(size, 0L)));
}

template <class Out>
void encode(std::wstring_view text, long32 page, Out& out) {
    if (page == utf8Page) return assignPieces(Utf8Pieces(text), out);
    const std::size_t most = text.size() * platform::maxBytesPerCharacter;
    const auto room = std::make_unique_for_overwrite<char[]>(most);
    const long size = platform::wideToCodepage(page, text, room.get(), most);
    assign(out, std::string_view(room.get(), static_cast<std::size_t>(std::max(size, 0L))));
}

template <class Out>
void convert(istr text, long32 from, Out& out, long32 to) {
    std::wstring wide;
    decode(beforeZero(text), from, wide);
    encode(std::wstring_view(wide), to, out);
}

// Owned copies, terminated even if the text is empty.
AutoPtr<char> owned(istr text) {
    return AutoPtr<char>((text.empty() ? CharBuffer(0) : CharBuffer(text)).release());
}
AutoPtr<wchar_t> owned(iwstr text) {
    return AutoPtr<wchar_t>((text.empty() ? WcharBuffer(0) : WcharBuffer(text)).release());
}

}  // namespace

AutoPtr<char> to_str(const char* text) {
    return owned(istr(text));
}

AutoPtr<char> to_str(const wchar_t* text, long codepage) {
    return owned(istr(to_ansi(iwstr(text), codepage)));
}

AutoPtr<wchar_t> to_wstr(const char* text, long codepage) {
    return owned(iwstr(toWstring(ansi(text), codepage)));
}

AutoPtr<wchar_t> to_wstr(const wchar_t* text) {
    return owned(iwstr(text));
}

AutoPtr<char> to_utf8str(const wchar_t* text) {
    return to_str(text, utf8Page);
}

String to_ansi(const istr& text) {
    return String(text);
}

String to_ansi(const iwstr& text, long codepage) {
    return toAnsi(wstr(text), codepage);
}

void utf8ToAnsi(const istr& text, String& out, long codepage) {
    const long32 page = pageOf(text, codepage);
    if (page == utf8Page) {
        out = text;
    } else {
        convert(text, utf8Page, out, page);
    }
}

void utf8ToWstring(const istr& text, std::wstring& out) {
    decode(beforeZero(text), utf8Page, out);
}

void ansiToWstring(const istr& text, std::wstring& out, long codepage) {
    decode(beforeZero(text), pageOf(text, codepage), out);
}

void wstringToAnsi(const iwstr& text, String& out, long codepage) {
    encode(beforeZero(text), pageOf(text, codepage), out);
}

void ansiToAnsi(const istr& text, long from, String& out, long to) {
    if (static_cast<long32>(from) == static_cast<long32>(to)) {
        out = text;
    } else {
        convert(text, pageOf(text, from), out, pageOf(text, to));
    }
}

void ansiToUtf8(const istr& text, Bytes& out, long codepage) {
    const long32 page = pageOf(text, codepage);
    if (page == utf8Page) {
        out = text;
    } else {
        convert(text, page, out, utf8Page);
    }
}

void wstringToUtf8(const iwstr& text, Bytes& out) {
    encode(beforeZero(text), utf8Page, out);
}

String toAnsi(wstr text, long codepage) {
    String out;
    wstringToAnsi(text, out, codepage);
    return out;
}

String toAnsi(ansi text) {
    return to_ansi(text);
}

String toAnsi(utf8 text, long codepage) {
    String out;
    utf8ToAnsi(text, out, codepage);
    return out;
}

std::wstring toWstring(wstr text) {
    return text;
}

std::wstring toWstring(ansi text, long codepage) {
    std::wstring out;
    ansiToWstring(text, out, codepage);
    return out;
}

std::wstring toWstring(utf8 text) {
    std::wstring out;
    utf8ToWstring(text, out);
    return out;
}

Bytes toUtf8(wstr text) {
    Bytes out;
    wstringToUtf8(text, out);
    return out;
}

Bytes toUtf8(ansi text, long codepage) {
    Bytes out;
    ansiToUtf8(text, out, codepage);
    return out;
}

Bytes toUtf8(utf8 text) {
    return Bytes(text);
}

}  // namespace qor
