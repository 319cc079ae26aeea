#include "platform/utf8.h"

#include <cstdint>
#include <cstring>

#include "platform/forms.h"
#include "platform/utf8_forms.h"

namespace qor::platform {

namespace {

constexpr bool isContinuation(unsigned byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

namespace utf8_portable {

namespace {

// The number of ASCII characters that are copied at once.
constexpr std::size_t asciiStep = 16;

struct Sequence {
    std::uint32_t character;
    unsigned length;
};

// The sequence at the front of a text, which must not be empty. The length of a malformed sequence
// is that of its longest part that begins a valid sequence, at least 1.
Sequence frontSequence(const char* text, std::size_t size) {
    const unsigned lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) return {lead, 1};
    if (lead < 0xC2 || lead > 0xF4) return {replacementCharacter, 1};
    const unsigned length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // The range of the second byte excludes overlong forms, surrogates, and values above U+10FFFF.
    unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    std::uint32_t c = lead & (0x7FU >> length);
    for (unsigned i = 1; i < length; ++i) {
        const unsigned byte = i < size ? static_cast<unsigned char>(text[i]) : 0;
        if (byte < lowest || byte > highest) return {replacementCharacter, i};
        c = c << 6 | (byte & 0x3F);
        lowest = 0x80;
        highest = 0xBF;
    }
    return {c, length};
}

// Decodes well-formed sequences of 2 and 3 bytes with few branches, since they are the most
// frequent after ASCII; frontSequence decodes all others. The text has at least 3 bytes.
Sequence likelySequence(const char* text, std::size_t size) {
    const auto byte = [text](unsigned i) -> unsigned {
        return static_cast<unsigned char>(text[i]);
    };
    if (byte(0) < 0xE0) {
        const std::uint32_t c = (byte(0) & 0x1F) << 6 | (byte(1) & 0x3F);
        if (byte(0) >= 0xC2 && isContinuation(byte(1))) return {c, 2};
    } else if (byte(0) < 0xF0) {
        const std::uint32_t c = (byte(0) & 0xF) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F);
        if (isContinuation(byte(1)) && isContinuation(byte(2)) && c >= 0x800 && !isSurrogate(c))
            return {c, 3};
    }
    return frontSequence(text, size);
}

bool isAscii(const char* text) {
    std::uint64_t words[asciiStep / sizeof(std::uint64_t)];
    std::memcpy(words, text, sizeof words);
    return ((words[0] | words[1]) & 0x8080808080808080U) == 0;
}

bool isAscii(const wchar_t* text) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < asciiStep; ++i)
        bits |= static_cast<std::uint32_t>(text[i]);
    return bits < 0x80;
}

// Copies ASCII characters while whole steps are left.
template <class Source, class Target>
void moveAscii(Utf8Cursor<Source, Target>& at) {
    while (at.left() >= asciiStep && at.room() >= asciiStep && isAscii(at.in)) {
        for (std::size_t i = 0; i < asciiStep; ++i)
            at.out[i] = static_cast<Target>(at.in[i]);
        at.step(asciiStep, asciiStep);
    }
}

// Writes a character that is not ASCII.
void write(std::uint32_t c, unsigned length, char* out) {
    const auto lead = [c](unsigned mark, unsigned shift) {
        return static_cast<char>(mark | c >> shift);
    };
    const auto tail = [c](unsigned shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
    switch (length) {
        case 2:
            out[0] = lead(0xC0, 6);
            out[1] = tail(0);
            break;
        case 3:
            out[0] = lead(0xE0, 12);
            out[1] = tail(6);
            out[2] = tail(0);
            break;
        default:
            out[0] = lead(0xF0, 18);
            out[1] = tail(12);
            out[2] = tail(6);
            out[3] = tail(0);
    }
}

}  // namespace

Utf8Progress toWide(std::string_view text, wchar_t* out, std::size_t room) noexcept {
    Utf8Decoding at(text, out, room);
    while (at.left() != 0 && at.room() != 0) {
        const char front = *at.in;
        if (static_cast<unsigned char>(front) < 0x80) {
            *at.out = front;
            at.step(1, 1);
            moveAscii(at);
            continue;
        }
        const Sequence sequence =
            at.left() >= 3 ? likelySequence(at.in, at.left()) : frontSequence(at.in, at.left());
        *at.out = static_cast<wchar_t>(sequence.character);
        at.step(sequence.length, 1);
    }
    return at.progress();
}

Utf8Progress toUtf8(std::wstring_view text, char* out, std::size_t room) noexcept {
    Utf8Encoding at(text, out, room);
    while (at.left() != 0 && at.room() != 0) {
        const auto c = static_cast<std::uint32_t>(characterOf(*at.in));
        if (c < 0x80) {
            *at.out = static_cast<char>(c);
            at.step(1, 1);
            moveAscii(at);
            continue;
        }
        const unsigned length = c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
        if (length > at.room()) break;
        write(c, length, at.out);
        at.step(1, length);
    }
    return at.progress();
}

}  // namespace utf8_portable

namespace {

constexpr Utf8Form allForms[] = {
#if defined(__x86_64__)
    {"AVX-512", utf8_avx512::runsHere, utf8_avx512::toWide, utf8_avx512::toUtf8},
    {"AVX2", utf8_avx2::runsHere, utf8_avx2::toWide, utf8_avx2::toUtf8},
#endif
    {"portable", runsEverywhere, utf8_portable::toWide, utf8_portable::toUtf8},
};

}  // namespace

std::span<const Utf8Form> utf8Forms() noexcept {
    return formsOfThisMachine<allForms>();
}

Utf8Progress utf8ToWide(std::string_view text, wchar_t* out, std::size_t room) noexcept {
    return utf8Forms().front().toWide(text, out, room);
}

Utf8Progress wideToUtf8(std::wstring_view text, char* out, std::size_t room) noexcept {
    return utf8Forms().front().toUtf8(text, out, room);
}

std::size_t uncutSize(std::string_view text, std::size_t n) noexcept {
    if (n >= text.size()) return text.size();
    // A sequence has at most 3 bytes after its lead byte.
    for (std::size_t size = n; n - size <= 3; --size) {
        if (!isContinuation(static_cast<unsigned char>(text[size]))) return size;
    }
    return n;
}

}  // namespace qor::platform
