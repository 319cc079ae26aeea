#ifndef QOR_UTIL_BASE64_H
#define QOR_UTIL_BASE64_H

#include <vector>

#include "qor/base/base_type_bytes.h"

namespace qor {

// Base64 with the alphabet of RFC 4648, A-Z a-z 0-9 "+" "/", and "=" as padding.
//
// The functions replace the content of `out`, which may own the memory that the source views. Its
// memory is reused if it is sufficient. If memory runs out, or if the size of the result does not
// fit into 32 bits, std::bad_alloc is raised and `out` is unchanged. Any thread may call these at
// any time.
class QOR_API Base64 {
public:
    // Three bytes become four characters; a shorter last group is padded with "="; no bytes give
    // empty text. With lineBreak, "\r\n" is inserted after every 76 characters, but not at the end.
    // Otherwise the text is one line.
    static void encode(istr data, String& out, bool lineBreak);
    static void encode(const std::vector<unsigned char>& data, String& out, bool lineBreak);

    // Reports no errors: malformed text gives some bytes. Characters that are not isBase64, such as
    // line ends and blanks, are skipped anywhere. The others form groups of four; a short last
    // group is padded with "=". A group gives its first byte in any case, its second unless the
    // third character is "=", and its third unless the fourth is "=". Text after a "=" is decoded
    // like other text, and a "=" as the first or second character of a group counts as "A".
    static void decode(istr text, Bytes& out);
    static void decode(istr text, std::vector<unsigned char>& out);

    // Whether c is a character of the alphabet, or "=".
    static bool isBase64(char c) noexcept;
};

}  // namespace qor

#endif  // QOR_UTIL_BASE64_H
