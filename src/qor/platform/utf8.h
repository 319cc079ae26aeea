#ifndef QOR_SRC_PLATFORM_UTF8_H
#define QOR_SRC_PLATFORM_UTF8_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// Converts UTF-8 (RFC 3629) to wide text, one wchar_t per character, and back. No conversion fails.
// In malformed UTF-8 each maximal subpart (as in the Unicode standard) becomes one U+FFFD; so an
// encoded surrogate becomes three. An invalid wide value becomes U+FFFD. A zero is a character like
// any other.

namespace qor::platform {

static_assert(sizeof(wchar_t) == sizeof(std::uint32_t));

inline constexpr wchar_t replacementCharacter = 0xFFFD;

constexpr bool isSurrogate(std::uint32_t c) noexcept {
    return c >> 11 == 0xD800 >> 11;
}

// The character of a wide value: U+FFFD if it is a surrogate or above U+10FFFF.
constexpr wchar_t characterOf(wchar_t wide) noexcept {
    const auto c = static_cast<std::uint32_t>(wide);
    return isSurrogate(c) || c > 0x10FFFF ? replacementCharacter : wide;
}

// The number of source elements read and of target elements written by a conversion.
struct Utf8Progress {
    std::size_t read;
    std::size_t written;
};

// Convert whole characters until the text or the room ends. They never read outside the text or
// write outside the room, but they may overwrite the rest of the room after the result. Room for
// one character (one wchar_t, or 4 bytes) is enough to make progress. Room for one wchar_t per byte
// of UTF-8, or for 4 bytes per wide character, is enough for all of the text.
Utf8Progress utf8ToWide(std::string_view text, wchar_t* out, std::size_t room) noexcept;
Utf8Progress wideToUtf8(std::wstring_view text, char* out, std::size_t room) noexcept;

// Returns how many of the first n bytes can be converted separately, without cutting a sequence. n
// must be at least 4. The result is 0 only for empty text.
std::size_t uncutSize(std::string_view text, std::size_t n) noexcept;

// The implementations that this machine can run, fastest first. All give the same results.
struct Utf8Form {
    const char* name;
    bool (*runsHere)() noexcept;  // whether this machine can run it
    Utf8Progress (*toWide)(std::string_view text, wchar_t* out, std::size_t room) noexcept;
    Utf8Progress (*toUtf8)(std::wstring_view text, char* out, std::size_t room) noexcept;
};
std::span<const Utf8Form> utf8Forms() noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_UTF8_H
