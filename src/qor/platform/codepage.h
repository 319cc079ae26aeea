#ifndef QOR_SRC_PLATFORM_CODEPAGE_H
#define QOR_SRC_PLATFORM_CODEPAGE_H

#include <cstddef>
#include <string_view>

// Text in a code page, which is given by its Windows number, to wide text and back. 65001 is UTF-8
// and 0 the page of the environment's locale.
//
// Malformed text becomes U+FFFD. A character that the page lacks becomes "?", and a wide value that
// is no character becomes U+FFFD where the page has that, else "?".

namespace qor::platform {

// Each returns the number of places written, or -1 for an unknown page. Characters that do not fit
// into the room are left out as a whole.
//
// Room for as many wide characters as the text has bytes is always enough, and in the other
// direction this many bytes for each wide character:
inline constexpr std::size_t maxBytesPerCharacter = 4;
long codepageToWide(long page, std::string_view text, wchar_t* out, std::size_t room);
long wideToCodepage(long page, std::wstring_view text, char* out, std::size_t room);

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_CODEPAGE_H
