#ifndef QOR_BASE_BASE_TYPE_VIEW_H
#define QOR_BASE_BASE_TYPE_VIEW_H

#include <algorithm>
#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <ranges>
#include <string>
#include <string_view>

#include "qor/api.h"
#include "qor/base/base_type.h"
#include "qor/base/base_type_char.h"

namespace qor {

// The operations that the narrow and the wide read-only view share. Self is the view's own class.
template <class Char, class Self>
class view_base {
public:
    // A null view has no pointer. An empty view has no characters; a null view is empty too.
    constexpr bool is_null() const noexcept { return ptr_ == nullptr; }
    constexpr bool empty() const noexcept { return size_ == 0 || ptr_ == nullptr; }

    constexpr unsigned long size() const noexcept { return size_; }
    constexpr const Char* data() const noexcept { return ptr_; }
    // Terminated only if the viewed memory is.
    constexpr const Char* c_str() const noexcept { return ptr_; }
    constexpr const Char* begin() const noexcept { return ptr_; }
    constexpr const Char* end() const noexcept { return empty() ? ptr_ : ptr_ + size_; }
    // Unchecked.
    constexpr const Char& operator[](unsigned long i) const noexcept { return ptr_[i]; }

    // Positions and lengths beyond the view are cut to it.
    constexpr Self substr(unsigned long pos, unsigned long n = npos) const noexcept {
        const unsigned long start = std::min<unsigned long>(pos, size_);
        return part(start, static_cast<ulong32>(std::min(n, size_ - start)));
    }
    constexpr Self leftstr(unsigned long n) const noexcept { return substr(0, n); }
    constexpr Self rightstr(unsigned long n) const noexcept {
        return substr(n < size_ ? size_ - n : 0, n);
    }
    // Unchecked: n must be at most the size. A greater n wraps the size around.
    constexpr Self removeLeft(unsigned long n) const noexcept {
        return part(n, static_cast<ulong32>(size_ - n));
    }
    constexpr Self removeRight(unsigned long n) const noexcept {
        return part(0, static_cast<ulong32>(size_ - n));
    }
    // Remove s.size() characters. The text of s is not compared.
    constexpr Self removeLeft(const Self& s) const noexcept { return removeLeft(s.size()); }
    constexpr Self removeRight(const Self& s) const noexcept { return removeRight(s.size()); }

    constexpr bool beginWith(const Self& s) const noexcept { return leftstr(s.size()) == s; }
    constexpr bool endWith(const Self& s) const noexcept { return rightstr(s.size()) == s; }

    // Compares the bytes in memory over the smaller size (MemCmp), then the sizes. So wide text is
    // ordered by its bytes and not by its characters.
    int compare(const Self& s) const noexcept {
        const int order = MemCmp(ptr_, s.data(), bytes(std::min(size_, s.size_)));
        if (order != 0) return order;
        return size_ == s.size_ ? 0 : size_ < s.size_ ? -1 : 1;
    }
    friend bool operator==(const Self& left, const Self& right) noexcept {
        return left.size() == right.size() &&
               MemCmp(left.data(), right.data(), bytes(left.size())) == 0;
    }
    friend std::strong_ordering operator<=>(const Self& left, const Self& right) noexcept {
        return left.compare(right) <=> 0;
    }

protected:
    constexpr view_base() noexcept = default;
    constexpr view_base(const Char* ptr, ulong32 size) noexcept : size_(size), ptr_(ptr) {}

    static constexpr unsigned long bytes(unsigned long n) noexcept { return n * sizeof(Char); }

    ulong32 size_ = 0;
    const Char* ptr_ = nullptr;

private:
    // A part of a null view is null too.
    constexpr Self part(unsigned long start, ulong32 size) const noexcept {
        Self s;
        s.ptr_ = ptr_ != nullptr ? ptr_ + start : nullptr;
        s.size_ = size;
        return s;
    }
};

// std::string, a class derived from it, or std::string_view. Compares pointers, so that T may be
// incomplete.
template <class T>
concept StandardText =
    std::convertible_to<const T*, const std::string*> || std::same_as<T, std::string_view>;

// A read-only view of bytes that it does not own: two words, passed by value. It is valid as long
// as the bytes are; a view of a temporary String dangles after the full expression. Only the
// conversion to std::string allocates. Only that conversion, trimLeft and trim can raise an
// exception.
//
// It is a contiguous range and a view for std::ranges, and so converts to std::span<const char>. (A
// null pointer with a length other than 0 is not a range and must not become a span.)
//
// It is also the cursor of hand-written parsers: next, advance and ++ walk the input.
class QOR_API istr : public view_base<char, istr> {
public:
    constexpr istr() noexcept = default;
    template <StandardText Text>
    istr(const Text& text) noexcept : view_base(text.data(), cutSize(text.size())) {}
    istr(const char* text) noexcept : view_base(text, cutSize(StrLen(text))) {}
    istr(const unsigned char* text) noexcept : istr(reinterpret_cast<const char*>(text)) {}
    constexpr istr(std::nullptr_t) noexcept {}
    // If n is npos, the text is measured. Any other n is used unchecked, also for a null pointer.
    template <std::integral N>
    constexpr istr(const char* text, N n) noexcept
        : view_base(text, measured(text, static_cast<unsigned long>(n))) {}
    template <std::integral N>
    istr(const unsigned char* text, N n) noexcept : istr(reinterpret_cast<const char*>(text), n) {}
    template <std::integral N>
    constexpr istr(std::nullptr_t, N n) noexcept : istr(static_cast<const char*>(nullptr), n) {}
    constexpr istr(const char* first, const char* last) noexcept
        : view_base(first, cutSize(static_cast<unsigned long>(last - first))) {}
    // The first n bytes of s, or all of it if it is shorter.
    template <std::integral N>
    constexpr istr(istr s, N n) noexcept
        : view_base(s.ptr_, std::min(s.size_, cutSize(static_cast<unsigned long>(n)))) {}
    // From the start of `first` to the start of `last`.
    constexpr istr(istr first, istr last) noexcept : istr(first.ptr_, last.ptr_) {}

    constexpr bool operator!() const noexcept { return empty(); }
    constexpr bool eof() const noexcept { return empty(); }
    constexpr unsigned long left() const noexcept { return size_; }
    // The first byte, 0 for a null view. It is also read for an empty view that has a pointer.
    constexpr char operator*() const noexcept { return ptr_ != nullptr ? *ptr_ : '\0'; }

    operator std::string() const { return std::string(std::string_view(*this)); }
    explicit constexpr operator std::string_view() const noexcept {
        return empty() ? std::string_view() : std::string_view(ptr_, size_);
    }

    constexpr bool match(istr s) const noexcept { return beginWith(s); }

    // Remove blanks, the characters of isspace. If the view has only blanks, trimLeft and trim read
    // the byte after the view, which must exist. If that byte is a blank too, they raise
    // OutOfRangeException.
    istr trimLeft() const;
    istr trimRight() const noexcept;
    istr trim() const { return trimLeft().trimRight(); }

    // Moves the start by n bytes, at most to the end. A negative n widens the view to the left,
    // unchecked.
    constexpr istr& advance(long n) noexcept;
    constexpr istr& operator+=(int n) noexcept { return advance(n); }
    constexpr istr& operator-=(int n) noexcept { return advance(-static_cast<long>(n)); }
    constexpr istr operator+(int n) const noexcept { return istr(*this) += n; }
    constexpr istr operator-(int n) const noexcept { return istr(*this) -= n; }
    // ++ does nothing at the end. -- is unchecked.
    constexpr istr& operator++() noexcept;
    constexpr istr operator++(int) noexcept;
    constexpr istr& operator--() noexcept;
    constexpr istr operator--(int) noexcept;

    // Removes at most n bytes from the front and returns them.
    constexpr istr next(unsigned long n) noexcept;

    // "size, text".
    void dump(std::ostream& os) const;

private:
    static constexpr ulong32 measured(const char* text, unsigned long n) noexcept {
        return cutSize(isNpos(n) ? StrLen(text) : n);
    }
};

// Writes the bytes and flushes. An empty view does nothing.
QOR_API std::ostream& operator<<(std::ostream& os, const istr& s);

// The wide read-only view, with the same rules as istr. It has no cursor operations, and trims on
// the left only.
class QOR_API iwstr : public view_base<wchar_t, iwstr> {
public:
    constexpr iwstr() noexcept = default;
    iwstr(const std::wstring& text) noexcept : iwstr(text.data(), text.size()) {}
    iwstr(std::wstring_view text) noexcept : iwstr(text.data(), text.size()) {}
    iwstr(const wchar_t* text) noexcept : view_base(text, cutSize(StrLen(text))) {}
    constexpr iwstr(std::nullptr_t) noexcept {}
    // If n is npos, the text is measured; for a null pointer the size is then 0xFFFFFFFF.
    template <std::integral N>
    iwstr(const wchar_t* text, N n) noexcept
        : view_base(text, measured(text, static_cast<unsigned long>(n))) {}
    template <std::integral N>
    iwstr(std::nullptr_t, N n) noexcept : iwstr(static_cast<const wchar_t*>(nullptr), n) {}
    constexpr iwstr(const wchar_t* first, const wchar_t* last) noexcept
        : view_base(first, cutSize(static_cast<unsigned long>(last - first))) {}
    template <std::integral N>
    constexpr iwstr(iwstr s, N n) noexcept
        : view_base(s.ptr_, std::min(s.size_, cutSize(static_cast<unsigned long>(n)))) {}

    operator std::wstring() const { return empty() ? std::wstring() : std::wstring(ptr_, size_); }

    // Unchecked: reads up to the first character that is not a blank, even beyond the view.
    iwstr trimLeft() const noexcept;
    // "size, text", the text in the configured code page.
    void dump(std::ostream& os) const;

private:
    static ulong32 measured(const wchar_t* text, unsigned long n) noexcept {
        if (!isNpos(n)) return cutSize(n);
        return text != nullptr ? cutSize(StrLen(text)) : npos32;
    }
};

// Writes the text in the configured code page.
QOR_API std::ostream& operator<<(std::ostream& os, const iwstr& s);

// A view with the code page that its text is in; -1 is the configured one.
class istr_cp : public istr {
public:
    template <std::convertible_to<istr> Text>
    istr_cp(const Text& text, long codepage = -1) noexcept
        : istr(text), codepage_(static_cast<long32>(codepage)) {}
    constexpr long32 codepage() const noexcept { return codepage_; }

private:
    long32 codepage_;
};

class iwstr_cp : public iwstr {
public:
    template <std::convertible_to<iwstr> Text>
    iwstr_cp(const Text& text, long codepage = -1) noexcept
        : iwstr(text), codepage_(static_cast<long32>(codepage)) {}
    constexpr long32 codepage() const noexcept { return codepage_; }

private:
    long32 codepage_;
};

// Views whose type names the encoding, so that conversions can be overloaded on it: the code page,
// UTF-8, and wide text. By default a view is null.
struct ansi : istr {
    constexpr ansi() noexcept = default;
    explicit ansi(istr text) noexcept : istr(text) {}
    template <std::integral N>
    ansi(const char* text, N n) noexcept : istr(text, n) {}
};
struct utf8 : istr {
    constexpr utf8() noexcept = default;
    explicit utf8(istr text) noexcept : istr(text) {}
    template <std::integral N>
    utf8(const char* text, N n) noexcept : istr(text, n) {}
};
struct wstr : iwstr {
    constexpr wstr() noexcept = default;
    explicit wstr(iwstr text) noexcept : iwstr(text) {}
    template <std::integral N>
    wstr(const wchar_t* text, N n) noexcept : iwstr(text, n) {}
};
// A view of Base64 text.
struct base64 : istr {
    constexpr base64() noexcept = default;
    explicit base64(istr text) noexcept : istr(text) {}
    template <std::integral N>
    base64(const char* text, N n) noexcept : istr(text, n) {}
};

constexpr istr& istr::advance(long n) noexcept {
    if (ptr_ == nullptr) return *this;
    const long step = std::min<long>(n, size_);
    ptr_ += step;
    size_ = static_cast<ulong32>(size_ - step);
    return *this;
}

constexpr istr& istr::operator++() noexcept {
    if (empty()) return *this;
    ++ptr_;
    --size_;
    return *this;
}

constexpr istr istr::operator++(int) noexcept {
    const istr before = *this;
    ++*this;
    return before;
}

constexpr istr& istr::operator--() noexcept {
    return advance(-1);
}

constexpr istr istr::operator--(int) noexcept {
    const istr before = *this;
    --*this;
    return before;
}

constexpr istr istr::next(unsigned long n) noexcept {
    const istr taken = leftstr(n);
    *this = removeLeft(taken);
    return taken;
}

}  // namespace qor

// A view does not own its characters: iterators stay valid when the view is destroyed.
template <>
inline constexpr bool std::ranges::enable_borrowed_range<qor::istr> = true;
template <>
inline constexpr bool std::ranges::enable_view<qor::istr> = true;
template <>
inline constexpr bool std::ranges::enable_borrowed_range<qor::iwstr> = true;
template <>
inline constexpr bool std::ranges::enable_view<qor::iwstr> = true;

// Equal narrow texts have equal hashes, whatever their types; std::string_view included.
template <>
struct std::hash<qor::istr> {
    std::size_t operator()(const qor::istr& text) const noexcept {
        return std::hash<std::string_view>()(std::string_view(text));
    }
};
template <>
struct std::hash<qor::istr_cp> : std::hash<qor::istr> {};
template <>
struct std::hash<qor::ansi> : std::hash<qor::istr> {};
template <>
struct std::hash<qor::utf8> : std::hash<qor::istr> {};
template <>
struct std::hash<qor::base64> : std::hash<qor::istr> {};
// The same for wide text.
template <>
struct std::hash<qor::iwstr> {
    std::size_t operator()(const qor::iwstr& text) const noexcept {
        return std::hash<std::wstring_view>()(std::wstring_view(text.begin(), text.end()));
    }
};
template <>
struct std::hash<qor::iwstr_cp> : std::hash<qor::iwstr> {};
template <>
struct std::hash<qor::wstr> : std::hash<qor::iwstr> {};

#endif  // QOR_BASE_BASE_TYPE_VIEW_H
