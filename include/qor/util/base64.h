#ifndef QOR_UTIL_BASE64_H
#define QOR_UTIL_BASE64_H

#include <vector>

#include "qor/base/base_type_bytes.h"

namespace qor {

// Base64 with the alphabet of RFC 4648, A-Z a-z 0-9 "+" "/", and "=" as padding.
//
// `out` is replaced, and may own the memory that the source views. Its own memory is used again
// where that suffices. A result that does not fit into 32 bits raises std::bad_alloc, and then, as
// when memory is short, `out` is as it was. Any thread may call these at any time.
class QOR_API Base64 {
public:
    // Three bytes become four characters; a shorter last group is padded with "="; no bytes give
    // empty text. With lineBreak, "\r\n" follows every 76 characters except at the end. Otherwise
    // the text is one line.
    static void encode(istr data, String& out, bool lineBreak);
    static void encode(const std::vector<unsigned char>& data, String& out, bool lineBreak);

    // Never fails: garbage gives garbage. Characters that are not isBase64, such as line ends and
    // blanks, are skipped anywhere. The others are taken in groups of four; the last group is
    // padded with "=". A group gives its first byte in any case, its second unless the third
    // character is "=", and its third unless the fourth is "=". What follows a "=" is decoded like
    // anything else, and a "=" that is the first or second of a group counts as "A".
    static void decode(istr text, Bytes& out);
    static void decode(istr text, std::vector<unsigned char>& out);

    // A character of the alphabet, or "=".
    static bool isBase64(char c) noexcept;
};

}  // namespace qor

#endif  // QOR_UTIL_BASE64_H
