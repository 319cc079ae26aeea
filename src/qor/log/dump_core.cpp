#include <ostream>
#include <type_traits>

#include "qor/log/log_dumper.h"

// How the classes of the core show themselves to a dumper, which stands above them.

namespace qor {

template <class Self, class T, class Text>
dumper& ScalarValue<Self, T, Text>::dump(dumper& d) const {
    // A dumper knows no wide characters; they are shown as numbers.
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
    d.indent().name("num") << num_;
    d.endline();
    // Operations that took no time at all have no rate.
    d.indent().name("tps") << (cost != 0 ? num_ * 1000000LL / cost : 0LL);
    d.endline();
    d.indent().name("cost") << cost_.toDuration();
    return d.endline();
}

void TimeCounter::dump(std::ostream& os) const {
    dumper d;
    dump(d);
    os << istr(d.str());
}

}  // namespace qor
