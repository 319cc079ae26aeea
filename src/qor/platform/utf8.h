#ifndef QOR_SRC_PLATFORM_UTF8_H
#define QOR_SRC_PLATFORM_UTF8_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// UTF-8 to wide text, one character in each place, and back. Nothing here fails: malformed input
// becomes U+FFFD, once for each maximal part that could have begun a sequence, so that an encoded
// surrogate gives three. Wide values that are no characters become U+FFFD too. A zero is a
// character like any other.

namespace qor::platform {

static_assert(sizeof(wchar_t) == sizeof(std::uint32_t));

inline constexpr wchar_t replacementCharacter = 0xFFFD;

constexpr bool isSurrogate(std::uint32_t c) noexcept {
    return c >> 11 == 0xD800 >> 11;
}

// The character of a wide value.
constexpr wchar_t characterOf(wchar_t wide) noexcept {
    const auto c = static_cast<std::uint32_t>(wide);
    return isSurrogate(c) || c > 0x10FFFF ? replacementCharacter : wide;
}

// How far a conversion came: in places of the source and in places of the target.
struct Utf8Progress {
    std::size_t read;
    std::size_t written;
};

// Convert whole characters until the text or the room ends, and neither read outside the text nor
// write outside the room. The rest of the room after the result may be overwritten. Room for 4
// bytes, or for one wide character, always makes progress; as many places as the text has bytes, or
// 4 bytes for each character, are always enough.
Utf8Progress utf8ToWide(std::string_view text, wchar_t* out, std::size_t room) noexcept;
Utf8Progress wideToUtf8(std::wstring_view text, char* out, std::size_t room) noexcept;

// How many of the first n bytes can be converted on their own, without a sequence being cut. n is
// at least 4, and then the result is not 0, unless the text is empty.
std::size_t uncutSize(std::string_view text, std::size_t n) noexcept;

// The converters that this machine can run, fastest first. All give the same results.
struct Utf8Form {
    const char* name;
    Utf8Progress (*toWide)(std::string_view text, wchar_t* out, std::size_t room) noexcept;
    Utf8Progress (*toUtf8)(std::wstring_view text, char* out, std::size_t room) noexcept;
};
std::span<const Utf8Form> utf8Forms() noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_UTF8_H
