#ifndef QOR_XML_XML_ESCAPE_H
#define QOR_XML_XML_ESCAPE_H

#include "qor/base/base_type_string.h"

// How text stands in an XML document. Cost grows linearly with the text; a failure leaves the
// string as it was.

namespace qor::xml {

// Appends the text with entities in place of " & ' < and >.
QOR_API void escape(String& out, istr text);

// Appends the text with entities replaced by what they stand for: the five of escape, and the
// numeric ones, in decimal and behind an "x" in hexadecimal. A numeric one gives one byte, to which
// a larger value is cut, and nothing for a byte of 0: it is meant that there is no UTF-8 here. A
// hexadecimal digit that is none counts as 255. Any other name stays as it stood, and so does a "&"
// without a ";" in the seven bytes behind it.
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
