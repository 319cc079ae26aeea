#include "json/escape.h"

#include <array>
#include <cstring>

#include "base/size.h"
#include "json/scan.h"
#include "qor/base/byte_order.h"
#include "qor/util/wire_value.h"

namespace qor::json {

namespace {

struct Escape {
    char letter;
    char byte;
};
constexpr Escape kEscapes[] = {{'"', '"'},  {'\\', '\\'}, {'/', '/'},  {'b', '\b'},
                               {'f', '\f'}, {'n', '\n'},  {'r', '\r'}, {'t', '\t'}};

// The escapes by byte and by letter.
constexpr auto kLetters = [] {
    std::array<char, 256> letters{};
    for (const Escape& escape : kEscapes)
        letters[static_cast<unsigned char>(escape.byte)] = escape.letter;
    return letters;
}();
constexpr auto kBytes = [] {
    std::array<char, 256> bytes{};
    for (const Escape& escape : kEscapes)
        bytes[static_cast<unsigned char>(escape.letter)] = escape.byte;
    return bytes;
}();

// Appends the character of up to four hexadecimal digits.
void appendCharacter(String& out, istr digits) {
    const auto code = static_cast<unsigned short>(hexstr2int(digits));
    if (code != 0 && code < 0x80 && wire::textIsUtf8()) {
        out += static_cast<char>(code);
        return;
    }
    const wchar_t character[] = {code, 0};
    out += character;
}

// Stores a byte, escaped if it must be.
char* storeEscaped(char* to, char byte) noexcept {
    if (const char letter = kLetters[static_cast<unsigned char>(byte)]) {
        *to++ = '\\';
        *to++ = letter;
    } else {
        *to++ = byte;
    }
    return to;
}

// Marks bytes that may need an escape. The lowest mark is right; higher ones may be wrong.
scan::Word special(scan::Word word) noexcept {
    return scan::equal(word, '"') | scan::equal(word, '\\') | scan::equal(word, '/') |
           scan::control(word);
}

}  // namespace

char* appendEscaped(const char* at, const char* end, char* to) noexcept {
    while (end - at >= static_cast<std::ptrdiff_t>(sizeof(scan::Word))) {
        const auto word = loadLowByteFirst<scan::Word>(at);
        storeLowByteFirst(to, word);
        const scan::Word marks = special(word);
        const int plain = marks == 0 ? 8 : std::countr_zero(marks) / 8;
        at += plain;
        to += plain;
        if (marks != 0) to = storeEscaped(to, *at++);
    }
    while (at != end)
        to = storeEscaped(to, *at++);
    return to;
}

char* copyEscaped(const char* at, const char* end, char* to) noexcept {
    while (at < end) {
        const auto word = loadLowByteFirst<scan::Word>(at);
        storeLowByteFirst(to, word);
        const scan::Word marks = special(word);
        const std::ptrdiff_t plain = marks == 0 ? 8 : std::countr_zero(marks) / 8;
        if (plain >= end - at) return to + (end - at);
        at += plain;
        to += plain;
        if (marks == 0) continue;
        if (*at != '\\') {
            to = storeEscaped(to, *at++);
            continue;
        }
        if (end - at < 2 || kBytes[static_cast<unsigned char>(at[1])] == 0) return nullptr;
        std::memcpy(to, at, 2);
        at += 2;
        to += 2;
    }
    return to;
}

void appendEscaped(String& out, istr text) {
    const std::size_t before = out.size();
    out.resize(checkedSize(before + 2ULL * text.size() + 2));
    char* const to = out.data() + before;
    *to = '"';
    char* const end = appendEscaped(text.begin(), text.end(), to + 1);
    *end = '"';
    out.resize(static_cast<std::size_t>(end + 1 - out.data()));
}

void appendUnescaped(String& out, istr text) {
    const char* const end = text.end();
    for (const char* at = text.begin(); at != end;) {
        const auto* next =
            static_cast<const char*>(std::memchr(at, '\\', static_cast<std::size_t>(end - at)));
        if (next == nullptr) next = end;
        out.append(at, next);
        if (end - next < 2) break;
        at = next + 2;
        const char letter = next[1];
        if (letter == 'u') {
            const istr digits(istr(at, end), 4);
            appendCharacter(out, digits);
            at = digits.end();
        } else if (const char byte = kBytes[static_cast<unsigned char>(letter)]) {
            out += byte;
        }
    }
}

}  // namespace qor::json
