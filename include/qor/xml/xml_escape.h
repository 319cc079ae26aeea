#ifndef QOR_XML_XML_ESCAPE_H
#define QOR_XML_XML_ESCAPE_H

#include "qor/base/base_type_string.h"

// The escaping of text in an XML document. Time is linear in the size of the text, which may be a
// part of the string that is changed. If std::bad_alloc is raised, the string is unchanged.

namespace qor::xml {

// Appends the text with " & ' < and > replaced by entities.
QOR_API void escape(String& out, istr text);

// Appends the text with entities replaced by their characters: the five of escape, and numeric
// ones, decimal or, after an "x", hexadecimal. Deliberate (compatibility): a numeric entity gives
// one byte, its lowest eight bits, and nothing if they are 0; it is not converted to UTF-8. An
// invalid hexadecimal digit counts as 255. Other names are unchanged, and so is a "&" without a ";"
// in the next seven bytes.
QOR_API void unescape(String& out, istr text);

// Convert the value of an attribute in place, for writing and after reading.
QOR_API void encode_attr(String& text);
QOR_API void decode_attr(String& text);

// Convert the text of an element in place, for writing and after reading. Text with special
// characters becomes a CDATA section; if it contains the end of such a section, it is escaped
// instead.
QOR_API void encode_cdata(String& text);
QOR_API void decode_cdata(String& text);

}  // namespace qor::xml

#endif  // QOR_XML_XML_ESCAPE_H
