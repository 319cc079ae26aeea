#include "qor/util/simple_value.h"

#include <functional>

#include "base/upward.h"

namespace qor::simple_value {

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

}  // namespace qor::simple_value
