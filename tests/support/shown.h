#ifndef QOR_TESTS_SUPPORT_SHOWN_H
#define QOR_TESTS_SUPPORT_SHOWN_H

#include <sstream>
#include <string>

#include "qor/log/log_dumper.h"

namespace support {

// The text that a stream shows of a value.
template <class T>
std::string streamed(const T& value) {
    std::ostringstream os;
    os << value;
    return os.str();
}

// The text that a dumper shows of a value, in one line or in its full form.
template <class T>
std::string dumped(const T& value, bool compact = true) {
    qor::dumper d(compact);
    d << value;
    return d.str();
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_SHOWN_H
