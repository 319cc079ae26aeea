#include "qor/util/BinaryOutStream.h"

#include "qor/base/base_type_convert.h"

namespace qor {

BinaryOutStream& BinaryOutStream::write(const std::string& text) {
    // Text in UTF-8 needs no copy in between.
    if (wire::textIsUtf8()) return write(istr(text));
    return write(toUtf8(ansi(text)));
}

BinaryOutStream& BinaryOutStream::write(iwstr text) {
    return write(toUtf8(wstr(text)));
}

}  // namespace qor
