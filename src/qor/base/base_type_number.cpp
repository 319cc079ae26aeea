#include "qor/base/base_type_number.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <concepts>
#include <iterator>
#include <limits>
#include <optional>
#include <ostream>
#include <system_error>

#include "base/decimal.h"
#include "platform/from_chars.h"
#include "qor/base/base_type_convert.h"

namespace qor {

namespace {

bool isBlank(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

istr skipBlanks(istr text) noexcept {
    while (!text.empty() && isBlank(*text))
        ++text;
    return text;
}

// Removes a sign from the text, which is not empty. True for a minus.
bool takeSign(istr& text) noexcept {
    const char sign = *text;
    if (sign == '-' || sign == '+') ++text;
    return sign == '-';
}

// A negative number for an unsigned type wraps around, as in a stream.
template <std::integral T>
bool parse(istr text, T& target) noexcept {
    constexpr auto highest = static_cast<unsigned long long>(std::numeric_limits<T>::max());
    const bool negative = takeSign(text);
    const bool belowZero = negative && std::is_signed_v<T>;
    unsigned long long magnitude = 0;
    const std::errc error = std::from_chars(text.begin(), text.end(), magnitude).ec;
    if (error == std::errc::invalid_argument) {
        target = 0;
        return false;
    }
    if (error == std::errc::result_out_of_range || magnitude > highest + belowZero) {
        target = belowZero ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
        return false;
    }
    target = static_cast<T>(negative ? 0 - magnitude : magnitude);
    return true;
}

// Whether a number that is out of range is too large (or else too small). It has a digit that is
// not 0.
bool isTooLarge(std::string_view number) noexcept {
    const std::size_t mark = std::min(number.find_first_of("eE"), number.size());
    long exponent = 0;
    if (mark < number.size()) {
        std::string_view digits = number.substr(mark + 1);
        if (digits.front() == '+') digits.remove_prefix(1);
        int value = 0;
        const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (read.ec == std::errc::result_out_of_range) return digits.front() != '-';
        exponent = value;
    }
    const std::size_t point = std::min(number.substr(0, mark).find('.'), mark);
    const std::size_t first = number.find_first_of("123456789");
    return exponent + static_cast<long>(point) - static_cast<long>(first) > 0;
}

// Whether the number is followed by an "e" without digits: a stream then reports a failure, since
// it has consumed the "e".
bool endsInBareExponent(const char* begin, const char* end, const char* textEnd) noexcept {
    if (end == textEnd || (*end != 'e' && *end != 'E')) return false;
    return std::string_view(begin, end).find_first_of("eE") == std::string_view::npos;
}

// Reads a number after its sign.
template <std::floating_point T>
[[gnu::noinline]] bool parseMagnitude(istr text, bool negative, T& target) noexcept {
    target = 0;
    // Refuses text that from_chars accepts and a stream does not: "inf", "nan", a second minus.
    if (text.empty() || !(isDigit(*text) || *text == '.')) return false;
    T magnitude = 0;
    const auto [end, error] = platform::from_chars(text.begin(), text.end(), magnitude);
    if (error == std::errc::invalid_argument) return false;
    if (endsInBareExponent(text.begin(), end, text.end())) return false;
    const bool tooLarge =
        error == std::errc::result_out_of_range && isTooLarge(std::string_view(text.begin(), end));
    if (tooLarge) magnitude = std::numeric_limits<T>::max();
    target = negative ? -magnitude : magnitude;
    return !tooLarge;
}

template <std::floating_point T>
bool parse(istr text, T& target) noexcept {
    const bool negative = takeSign(text);
    if constexpr (std::same_as<T, double>) {
        if (const std::optional<double> magnitude = decimal::read(std::string_view(text))) {
            target = negative ? -*magnitude : *magnitude;
            return true;
        }
    }
    return parseMagnitude(text, negative, target);
}

// A long has 32 bits.
template <class T>
using Stored = std::conditional_t<std::is_same_v<T, long>, long32,
                                  std::conditional_t<std::is_same_v<T, unsigned long>, ulong32, T>>;

}  // namespace

template <class T>
bool parseNumber(istr text, T& target) {
    text = skipBlanks(text);
    if (text.empty()) return false;
    if constexpr (std::is_floating_point_v<T>) {
        return parse(text, target);
    } else {
        Stored<T> value = 0;
        const bool whole = parse(text, value);
        target = static_cast<T>(value);
        return whole;
    }
}

template <class T>
void formatNumber(T value, String& out) {
    char digits[32];
    std::to_chars_result written{};
    if constexpr (std::is_floating_point_v<T>) {
        // Some standard libraries write "nan(ind)".
        if (std::isnan(value)) {
            out.append(std::signbit(value) ? "-nan" : "nan");
            return;
        }
        written = std::to_chars(std::begin(digits), std::end(digits), value,
                                std::chars_format::general, 6);
    } else {
        written =
            std::to_chars(std::begin(digits), std::end(digits), static_cast<Stored<T>>(value));
    }
    out.append(digits, written.ptr);
}

template <class Self, class T, class Text>
void ScalarValue<Self, T, Text>::dump(std::ostream& os) const {
    os.width(0);
    if constexpr (std::is_same_v<T, bool>) {
        os << (this->value_ ? "true" : "false");
    } else if constexpr (std::is_same_v<Text, char>) {
        Print(os, this->value_);
    } else if constexpr (std::is_same_v<T, wchar_t>) {
        String text;
        wstringToAnsi(iwstr(&this->value_, 1), text);
        os << text;
    } else if constexpr (sizeof(T) == 1) {
        os << static_cast<int>(asText(this->value_));
    } else {
        os << this->value_;
    }
    os << std::dec;
    os.fill(' ');
}

void Wchar::read(istr text, wchar_t& value) {
    const long32 before = asText(value);
    long32 parsed = before;
    const bool whole = parseNumber(text, parsed);
    if (whole || parsed != before) value = static_cast<wchar_t>(parsed & 0xFFFF);
}

void Hex16::encode(const istr& bytes, String& text) {
    text = bytes2hexstr(bytes);
}

void Hex16::decode(const istr& text, Bytes& bytes) {
    bytes.size(0);
    if (text.empty()) return;
    bytes.resize(text.size() / 2);
    unsigned char* out = bytes.buffer();
    for (unsigned long i = 0; i + 1 < text.size(); i += 2) {
        const int high = std::max(hexchar2int(text[i + 1]), 0);
        const int low = std::max(hexchar2int(text[i + 2]), 0);
        *out++ = static_cast<unsigned char>(high << 4 | low);
    }
    bytes.size(text.size() / 2);
}

ulong32 ip_aton(const istr& text) noexcept {
    return text.is_null() ? INADDR_NONE : inet_addr(text.c_str());
}

String ip_ntoa(unsigned long address) {
    in_addr value{};
    value.s_addr = static_cast<in_addr_t>(address);
    return inet_ntoa(value);
}

std::ostream& operator<<(std::ostream& os, show_printable shown) {
    return os << (CharIsPrint(shown.c) ? shown.c : '.');
}

#define QOR_INSTANTIATE_NUMBER(T)                \
    template bool parseNumber<T>(istr text, T&); \
    template void formatNumber<T>(T value, String&)

QOR_INSTANTIATE_NUMBER(short);
QOR_INSTANTIATE_NUMBER(unsigned short);
QOR_INSTANTIATE_NUMBER(int);
QOR_INSTANTIATE_NUMBER(unsigned);
QOR_INSTANTIATE_NUMBER(long);
QOR_INSTANTIATE_NUMBER(unsigned long);
QOR_INSTANTIATE_NUMBER(long long);
QOR_INSTANTIATE_NUMBER(unsigned long long);
QOR_INSTANTIATE_NUMBER(float);
QOR_INSTANTIATE_NUMBER(double);

template void ScalarValue<Bit, bool, short>::dump(std::ostream&) const;
template void ScalarValue<Byte, unsigned char, unsigned short>::dump(std::ostream&) const;
template void ScalarValue<Sbyte, char, short>::dump(std::ostream&) const;
template void ScalarValue<Char, char, char>::dump(std::ostream&) const;
template void ScalarValue<Short, short, short>::dump(std::ostream&) const;
template void ScalarValue<Ushort, unsigned short, unsigned short>::dump(std::ostream&) const;
template void ScalarValue<Long, long32, long32>::dump(std::ostream&) const;
template void ScalarValue<Ulong, ulong32, ulong32>::dump(std::ostream&) const;
template void ScalarValue<Longlong, long long, long long>::dump(std::ostream&) const;
template void ScalarValue<Ulonglong, unsigned long long, unsigned long long>::dump(
    std::ostream&) const;
template void ScalarValue<Float, float, float>::dump(std::ostream&) const;
template void ScalarValue<Double, double, double>::dump(std::ostream&) const;
template void ScalarValue<Wchar, wchar_t, long32>::dump(std::ostream&) const;

}  // namespace qor
