#include <ostream>
#include <type_traits>

#include "qor/log/log_dumper.h"

// The dump operations of classes in base. They are here since the dumper is on a higher floor.

namespace qor {

template <class Self, class T, class Text>
dumper& ScalarValue<Self, T, Text>::dump(dumper& d) const {
    // A dumper shows wide characters as numbers.
    if constexpr (std::is_same_v<T, wchar_t>) {
        return d << asText(this->value_);
    } else {
        return d << this->value_;
    }
}

template dumper& ScalarValue<Bit, bool, short>::dump(dumper&) const;
template dumper& ScalarValue<Byte, unsigned char, unsigned short>::dump(dumper&) const;
template dumper& ScalarValue<Sbyte, char, short>::dump(dumper&) const;
template dumper& ScalarValue<Char, char, char>::dump(dumper&) const;
template dumper& ScalarValue<Short, short, short>::dump(dumper&) const;
template dumper& ScalarValue<Ushort, unsigned short, unsigned short>::dump(dumper&) const;
template dumper& ScalarValue<Long, long32, long32>::dump(dumper&) const;
template dumper& ScalarValue<Ulong, ulong32, ulong32>::dump(dumper&) const;
template dumper& ScalarValue<Longlong, long long, long long>::dump(dumper&) const;
template dumper& ScalarValue<Ulonglong, unsigned long long, unsigned long long>::dump(
    dumper&) const;
template dumper& ScalarValue<Float, float, float>::dump(dumper&) const;
template dumper& ScalarValue<Double, double, double>::dump(dumper&) const;
template dumper& ScalarValue<Wchar, wchar_t, long32>::dump(dumper&) const;

dumper& TimeCounter::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::TimeCounter");
    if (num_ == 0) return d;
    const long long cost = cost_.toMicroSeconds();
    d.member("num", num_);
    // Without any time there is no rate.
    d.member("tps", cost != 0 ? num_ * 1000000LL / cost : 0LL);
    return d.member("cost", cost_.toDuration());
}

void TimeCounter::dump(std::ostream& os) const {
    dumpTo(os, *this);
}

}  // namespace qor
