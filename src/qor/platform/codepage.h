#ifndef QOR_SRC_PLATFORM_CODEPAGE_H
#define QOR_SRC_PLATFORM_CODEPAGE_H

#include <cstddef>
#include <string_view>

// Converts text in a code page to wide text and back. A page is given by its Windows number: 65001
// is UTF-8, and 0 is the page of the environment's locale.
//
// Malformed text becomes U+FFFD. A character that the page does not have becomes "?". An invalid
// wide value becomes U+FFFD if the page has this character, else "?".

namespace qor::platform {

// Return the number of characters or bytes written, or -1 for an unknown page. No character is
// written in part: the result ends before the first character that does not fit into `room`.
//
// codepageToWide never needs more room than one wide character per byte of the text, and
// wideToCodepage never needs more than this number of bytes per wide character:
inline constexpr std::size_t maxBytesPerCharacter = 4;
long codepageToWide(long page, std::string_view text, wchar_t* out, std::size_t room);
long wideToCodepage(long page, std::wstring_view text, char* out, std::size_t room);

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_CODEPAGE_H
