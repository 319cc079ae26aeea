#ifndef QOR_SRC_XML_ESCAPE_H
#define QOR_SRC_XML_ESCAPE_H

#include <cstddef>
#include <cstring>

#include "qor/xml/xml_escape.h"

namespace qor::xml {

// The first byte equal to `byte`; null if there is none.
inline const char* findByte(char byte, const char* from, const char* end) noexcept {
    return from != end ? static_cast<const char*>(
                             std::memchr(from, byte, static_cast<std::size_t>(end - from)))
                       : nullptr;
}

// Writes the text with entities replaced, as unescape does, and returns the end of the output. That
// is not longer than the text and may overwrite it.
char* unescapeTo(char* out, const char* from, const char* end) noexcept;

// As escape, for a text that is not in `out`.
void appendEscaped(String& out, istr text);

// Appends the text in the form of encode_cdata.
void appendCData(String& out, istr text);

}  // namespace qor::xml

#endif  // QOR_SRC_XML_ESCAPE_H
