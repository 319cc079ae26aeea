#ifndef QOR_XML_XML_ESCAPE_H
#define QOR_XML_XML_ESCAPE_H

#include "qor/base/base_type_string.h"

// The escaping of text in an XML document. Time grows linearly with the text; a failure leaves the
// string unchanged.

namespace qor::xml {

// Appends the text with entities in place of " & ' < and >.
QOR_API void escape(String& out, istr text);

// Appends the text with entities replaced: the five of escape, and numeric ones, decimal or, after
// an "x", hexadecimal. Deliberate (compatibility): a numeric entity gives one byte, its lowest
// eight bits, and nothing if they are 0; it is not converted to UTF-8. An invalid hexadecimal digit
// counts as 255. Any other name is kept unchanged, and so is a "&" without a ";" in the next seven
// bytes.
QOR_API void unescape(String& out, istr text);

// In place, as attribute values are written and read.
QOR_API void encode_attr(String& text);
QOR_API void decode_attr(String& text);

// In place, as the text of an element is written and read. Text that needs it becomes a CDATA
// section or, if it has the end of one in it, is escaped.
QOR_API void encode_cdata(String& text);
QOR_API void decode_cdata(String& text);

}  // namespace qor::xml

#endif  // QOR_XML_XML_ESCAPE_H
