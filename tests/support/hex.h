#ifndef QOR_TESTS_SUPPORT_HEX_H
#define QOR_TESTS_SUPPORT_HEX_H

#include "qor/base/base_type_bytes.h"

namespace support {

// "01 0A": bytes as the tables of the tests and of the documentation show them.
inline qor::Bytes bytes(qor::istr hex) {
    qor::String digits(hex);
    std::erase(digits, ' ');
    return qor::hexstr2bytes(digits);
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_HEX_H
