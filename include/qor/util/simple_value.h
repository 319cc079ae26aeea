#ifndef QOR_UTIL_SIMPLE_VALUE_H
#define QOR_UTIL_SIMPLE_VALUE_H

#include "qor/util/wire_value.h"

// Deliberate (compatibility): old names for members of qor::wire. New code uses wire_value.h.

namespace qor::simple_value {

using wire::copy;
using wire::copyTwice;
using wire::kMostHeader;
using wire::kMostNumber;
using wire::store;

QOR_API bool textIsUtf8();
QOR_API istr grow(StringBuffer& buffer, istr data, unsigned long n);

}  // namespace qor::simple_value

#endif  // QOR_UTIL_SIMPLE_VALUE_H
