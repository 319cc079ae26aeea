#include "qor/util/wire_value.h"

#include <functional>

#include "base/upward.h"
#include "qor/util/simple_value.h"

namespace qor::wire {

bool textIsUtf8() {
    constexpr ulong32 kUtf8 = 65001;
    return upward::codepage() == kUtf8;
}

istr grow(StringBuffer& buffer, istr data, unsigned long n) {
    if (data.is_null()) data = istr();
    const std::less<const char*> before;
    const char* const start = buffer.data();
    const bool own = !before(data.data(), start) && before(data.data(), start + buffer.size());
    buffer.needMore(n);
    return own ? istr(buffer.data() + (data.data() - start), data.size()) : data;
}

}  // namespace qor::wire

namespace qor::simple_value {

bool textIsUtf8() {
    return wire::textIsUtf8();
}

istr grow(StringBuffer& buffer, istr data, unsigned long n) {
    return wire::grow(buffer, data, n);
}

}  // namespace qor::simple_value
