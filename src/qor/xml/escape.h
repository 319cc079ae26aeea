#ifndef QOR_SRC_XML_ESCAPE_H
#define QOR_SRC_XML_ESCAPE_H

#include <cstddef>
#include <cstring>

#include "qor/xml/xml_escape.h"

namespace qor::xml {

// The first such byte; null if there is none.
inline const char* findByte(char byte, const char* from, const char* end) noexcept {
    return from != end ? static_cast<const char*>(
                             std::memchr(from, byte, static_cast<std::size_t>(end - from)))
                       : nullptr;
}

// Writes the text without entities, as unescape does, which is no longer than the text and may take
// its place. Returns its end.
char* unescapeTo(char* out, const char* from, const char* end) noexcept;

// Appends the text as encode_cdata makes it.
void appendCData(String& out, istr text);

}  // namespace qor::xml

#endif  // QOR_SRC_XML_ESCAPE_H
