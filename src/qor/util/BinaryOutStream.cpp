#include "qor/util/BinaryOutStream.h"

#include "qor/base/base_type_convert.h"

namespace qor {

BinaryOutStream& BinaryOutStream::write(iwstr text) {
    return write(toUtf8(wstr(text)));
}

}  // namespace qor
