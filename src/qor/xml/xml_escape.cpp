#include "qor/xml/xml_escape.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <string_view>

#include "qor/base/base_type_number.h"
#include "xml/escape.h"

namespace qor::xml {

namespace {

constexpr std::string_view kCDataBegin = "<![CDATA[";
constexpr std::string_view kCDataEnd = "]]>";

// The largest distance from a "&" to its ";".
constexpr std::ptrdiff_t kLookAhead = 7;

struct Entity {
    char byte;
    std::string_view text;

    std::string_view name() const { return text.substr(1, text.size() - 2); }
};
constexpr std::array<Entity, 5> kEntities = {
    {{'"', "&quot;"}, {'&', "&amp;"}, {'\'', "&apos;"}, {'<', "&lt;"}, {'>', "&gt;"}}};

// For each byte, 1 plus its index in kEntities; 0 if it is not there.
constexpr std::array<unsigned char, 256> kPlaces = [] {
    std::array<unsigned char, 256> places{};
    for (std::size_t i = 0; i < kEntities.size(); ++i)
        places[static_cast<unsigned char>(kEntities[i].byte)] = static_cast<unsigned char>(i + 1);
    return places;
}();

unsigned char placeOf(char c) noexcept {
    return kPlaces[static_cast<unsigned char>(c)];
}

bool isSpecial(char c) noexcept {
    return placeOf(c) != 0;
}

unsigned char numeric(istr digits) noexcept {
    unsigned value = 0;
    if (digits.empty() || *digits != 'x') {
        long number = 0;
        parseNumber(digits, number);
        return static_cast<unsigned char>(number);
    }
    for (const char digit : digits.removeLeft(1))
        value = value * 16 + HexFromChar(digit);
    return static_cast<unsigned char>(value);
}

// Writes the character of an entity. Returns false for an unknown name.
bool writeNamed(char*& out, istr name) noexcept {
    if (!name.empty() && *name == '#') {
        if (const unsigned char byte = numeric(name.removeLeft(1)))
            *out++ = static_cast<char>(byte);
        return true;
    }
    for (const Entity& entity : kEntities) {
        if (std::string_view(name) == entity.name()) {
            *out++ = entity.byte;
            return true;
        }
    }
    return false;
}

char* write(char* out, const char* from, const char* end) noexcept {
    const auto size = static_cast<std::size_t>(end - from);
    if (size != 0) std::memmove(out, from, size);
    return out + size;
}

void appendParts(String& out, const char* from, const char* end) {
    while (true) {
        const char* const special = std::find_if(from, end, isSpecial);
        out.append(from, special);
        if (special == end) return;
        out.append(kEntities[placeOf(*special) - 1U].text);
        from = special + 1;
    }
}

// Whether appending to `out` may move the text.
bool isIn(const String& out, istr text) noexcept {
    const std::less<const char*> isBefore;
    return !isBefore(text.begin(), out.data()) && isBefore(text.begin(), out.data() + out.size());
}

// Replaces the text by the result of `append`.
template <class Append>
void replace(String& text, Append append) {
    String out;
    append(out, text);
    text.swap(out);
}

}  // namespace

void appendEscaped(String& out, istr text) {
    const std::size_t size = out.size();
    try {
        appendParts(out, text.begin(), text.end());
    } catch (...) {
        out.resize(size);
        throw;
    }
}

void escape(String& out, istr text) {
    if (isIn(out, text)) return appendEscaped(out, String(text));
    appendEscaped(out, text);
}

char* unescapeTo(char* out, const char* from, const char* end) noexcept {
    while (const char* const mark = findByte('&', from, end)) {
        out = write(out, from, mark);
        const char* const name = mark + 1;
        const char* const last = name + std::min(kLookAhead, end - name);
        const char* const semicolon = std::find(name, last, ';');
        from = name;
        if (semicolon == last) {
            *out++ = '&';
            continue;
        }
        from = semicolon + 1;
        if (!writeNamed(out, istr(name, semicolon))) out = write(out, mark, from);
    }
    return write(out, from, end);
}

void unescape(String& out, istr text) {
    if (isIn(out, text)) return unescape(out, String(text));
    const std::size_t size = out.size();
    out.resize(size + text.size());
    const char* const end = unescapeTo(out.data() + size, text.begin(), text.end());
    out.resize(static_cast<std::size_t>(end - out.data()));
}

void encode_attr(String& text) {
    replace(text, appendEscaped);
}

void decode_attr(String& text) {
    replace(text, unescape);
}

void appendCData(String& out, istr text) {
    if (std::none_of(text.begin(), text.end(), isSpecial)) {
        out += text;
    } else if (std::string_view(text).find(kCDataEnd) == std::string_view::npos) {
        out.append(kCDataBegin);
        out += text;
        out.append(kCDataEnd);
    } else {
        appendEscaped(out, text);
    }
}

void encode_cdata(String& text) {
    replace(text, appendCData);
}

void decode_cdata(String& text) {
    if (text.starts_with(kCDataBegin) && text.ends_with(kCDataEnd)) {
        text.erase(text.size() - kCDataEnd.size());
        text.erase(0, kCDataBegin.size());
    } else {
        replace(text, unescape);
    }
}

}  // namespace qor::xml
