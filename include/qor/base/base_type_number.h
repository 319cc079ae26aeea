#ifndef QOR_BASE_BASE_TYPE_NUMBER_H
#define QOR_BASE_BASE_TYPE_NUMBER_H

#include <array>
#include <concepts>
#include <functional>
#include <iosfwd>
#include <type_traits>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// The value of a scalar wrapper. There is one wrapper class for each scalar, so that codecs can
// overload on them. Each has the size of its scalar and no virtual operation.
template <class T, int N = 0>
class NumberValue {
public:
    using value_type = T;

    constexpr NumberValue() noexcept = default;
    constexpr explicit NumberValue(T value) noexcept : value_(value) {}

    constexpr T& value() noexcept { return value_; }
    constexpr const T& value() const noexcept { return value_; }
    constexpr operator T&() noexcept { return value_; }
    constexpr operator const T&() const noexcept { return value_; }
    constexpr NumberValue& operator=(T value) noexcept {
        value_ = value;
        return *this;
    }
    constexpr bool equal(const T& value) const noexcept { return value_ == value; }

protected:
    T value_ = T();
};

// Numbers as text, by the rules of a standard stream with default settings in the "C" locale, but
// faster. T is short, int, long (read and written as 32 bits) or long long, each signed or
// unsigned, or float or double.

// Reads a number: skips leading blanks and stops at the first character that is not part of the
// number. Returns false, and leaves the target unchanged, if the text is empty or blank. Returns
// false and sets the target to 0 if other text has no number, and to the nearest limit if the
// number is out of range.
template <class T>
QOR_API bool parseNumber(istr text, T& target);
// Integers in decimal, floating point in six significant digits. Appends.
template <class T>
QOR_API void formatNumber(T value, String& out);

// True for signed numbers, including a char that is shown as a short. False for characters and
// bool.
template <class T, class Text>
concept SignedNumber = std::is_signed_v<Text> && !std::is_same_v<Text, char> &&
                       !std::is_same_v<T, bool> && !std::is_same_v<T, wchar_t>;

template <class T>
void deduceNumberValue(const NumberValue<T>&);

// The types that a wrapper accepts as a value: arithmetic types, enumerators, other wrappers.
template <class V>
concept ScalarSource = std::is_arithmetic_v<V> ||
                       (std::is_enum_v<V>&& std::is_convertible_v<V, int>) ||
                       requires(const V& value) {
    deduceNumberValue(value);
};

// The common base of the wrappers. Self is the wrapper, T its scalar, and Text the type as which it
// is parsed and shown.
template <class Self, class T, class Text>
class QOR_API ScalarValue : public NumberValue<T> {
public:
    constexpr ScalarValue() noexcept = default;
    // A value of another type is cut to the scalar.
    template <ScalarSource V>
    constexpr ScalarValue(V value) noexcept : NumberValue<T>(static_cast<T>(value)) {}
    ScalarValue(const String& text) { fromString(text); }
    // Converted to the configured code page first.
    ScalarValue(const std::wstring& text) { fromString(String(text)); }

    template <ScalarSource V>
    constexpr Self& operator=(V value) noexcept {
        this->value_ = static_cast<T>(value);
        return self();
    }

    // As parseNumber reads the text, cut to the scalar.
    Self& fromString(istr text) {
        Self::read(text, this->value_);
        return self();
    }
    String toString() const {
        String text;
        formatNumber(asText(this->value_), text);
        return text;
    }

    // Writes the plain value: bool as "true" or "false", bytes as numbers, characters as text. Then
    // the stream has decimal numbers and a blank as its fill.
    void dump(std::ostream& os) const;
    dumper& dump(dumper& d) const;

    Self operator-() const noexcept requires SignedNumber<T, Text> {
        return Self(negative(asText(this->value_)));
    }

protected:
    constexpr Self& self() noexcept { return static_cast<Self&>(*this); }

    // Hidden by wrappers that read their text in another way.
    static void read(istr text, T& value) {
        Text parsed = asText(value);
        parseNumber(text, parsed);
        value = static_cast<T>(parsed);
    }

    // A char that is a number is signed, even if the platform's char is unsigned.
    static constexpr Text asText(T value) noexcept {
        if constexpr (std::is_same_v<T, char> && SignedNumber<T, Text>) {
            return static_cast<signed char>(value);
        } else {
            return static_cast<Text>(value);
        }
    }

private:
    // The lowest integer is its own negative.
    static constexpr T negative(Text value) noexcept {
        if constexpr (std::is_integral_v<Text>) {
            return static_cast<T>(0 - static_cast<unsigned long long>(value));
        } else {
            return -value;
        }
    }
};

// An integer with access to its low and its high half. Half is the unsigned type of a half. The
// constructor of two parts takes the low part first.
template <class Self, class T, class Text, class Half, unsigned HalfBits>
class QOR_API HalvedValue : public ScalarValue<Self, T, Text> {
public:
    using ScalarValue<Self, T, Text>::ScalarValue;
    using ScalarValue<Self, T, Text>::operator=;
    template <std::integral Low, std::integral High>
    constexpr HalvedValue(Low low, High high) noexcept
        : ScalarValue<Self, T, Text>(join(static_cast<Half>(low), static_cast<Half>(high))) {}

    constexpr Half low() const noexcept { return static_cast<Half>(bits() & mask); }
    constexpr Half high() const noexcept { return static_cast<Half>((bits() >> HalfBits) & mask); }
    // Replace one half, keep the other.
    template <std::integral V>
    constexpr Self& low(V half) noexcept {
        this->value_ = join(static_cast<Half>(half), high());
        return this->self();
    }
    template <std::integral V>
    constexpr Self& high(V half) noexcept {
        this->value_ = join(low(), static_cast<Half>(half));
        return this->self();
    }

protected:
    using Bits = std::make_unsigned_t<T>;
    static constexpr Bits mask = static_cast<Bits>((1ULL << HalfBits) - 1);

    constexpr Bits bits() const noexcept { return static_cast<Bits>(this->value_); }
    static constexpr T join(Half low, Half high) noexcept {
        return static_cast<T>(static_cast<Bits>((high & mask) << HalfBits) |
                              static_cast<Bits>(low & mask));
    }
};

class QOR_API Bit : public ScalarValue<Bit, bool, short> {
public:
    using ScalarValue::ScalarValue;
    using ScalarValue::operator=;
};

class QOR_API Byte : public HalvedValue<Byte, unsigned char, unsigned short, unsigned char, 4> {
public:
    static constexpr unsigned char HALF_BITS = 4;
    static constexpr unsigned char HALF_MASK = 15;
    static constexpr unsigned char HIGH_MASK = 240;
    static constexpr unsigned char LOW_MASK = 15;
    static constexpr unsigned char MAX_VAL = 255;
    static constexpr unsigned char MIN_VAL = 0;

    // A reference to one bit of a byte, 0 being the lowest; of the bit number only the low 3 bits
    // count. Valid as long as the byte.
    class BitHelper {
    public:
        BitHelper(unsigned char& byte, unsigned char bit) noexcept : byte_(&byte), bit_(bit) {}
        BitHelper(const BitHelper&) noexcept = default;
        BitHelper& operator=(bool on) noexcept {
            *byte_ = withBit(*byte_, bit_, on);
            return *this;
        }
        // Copies the value of the bit, not the reference.
        BitHelper& operator=(const BitHelper& other) noexcept {
            return *this = static_cast<bool>(other);
        }
        operator bool() const noexcept { return hasBit(*byte_, bit_); }

    private:
        unsigned char* byte_;
        unsigned char bit_;
    };

    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;

    BitHelper operator[](unsigned char bit) noexcept { return BitHelper(value_, bit); }
    bool operator[](unsigned char bit) const noexcept { return get(bit); }
    bool get(unsigned char bit) const noexcept { return hasBit(value_, bit); }
    Byte& set(unsigned char bit, bool on = true) noexcept {
        value_ = withBit(value_, bit, on);
        return *this;
    }
    Byte& reset(unsigned char bit) noexcept { return set(bit, false); }

private:
    static bool hasBit(unsigned char byte, unsigned char bit) noexcept {
        return ((byte >> (bit & 7)) & 1) != 0;
    }
    static unsigned char withBit(unsigned char byte, unsigned char bit, bool on) noexcept {
        const unsigned mask = 1U << (bit & 7);
        return static_cast<unsigned char>(on ? byte | mask : byte & ~mask);
    }
};

// A signed number of 8 bits, in contrast to Char.
class QOR_API Sbyte : public HalvedValue<Sbyte, char, short, unsigned char, 4> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

// A character. Its text is the character itself.
class QOR_API Char : public ScalarValue<Char, char, char> {
public:
    using ScalarValue::ScalarValue;
    using ScalarValue::operator=;
    // From two halves of 4 bits, the low one first.
    template <std::integral Low, std::integral High>
    constexpr Char(Low low, High high) noexcept
        : ScalarValue(static_cast<char>((low & 15) | ((high & 15) << 4))) {}

    // True if the character is in the set, which must be terminated and is read up to its
    // terminator. 0 is in every set.
    bool in(istr set) const noexcept { return CharIn(value_, set.data()); }
    bool isAlnum() const noexcept { return CharIsAlnum(value_); }
    bool isAlpha() const noexcept { return CharIsAlpha(value_); }
    bool isCntrl() const noexcept { return CharIsCntrl(value_); }
    bool isDigit() const noexcept { return CharIsDigit(value_); }
    bool isGraph() const noexcept { return CharIsGraph(value_); }
    bool isLower() const noexcept { return CharIsLower(value_); }
    bool isPrint() const noexcept { return CharIsPrint(value_); }
    bool isPunct() const noexcept { return CharIsPunct(value_); }
    bool isSpace() const noexcept { return CharIsSpace(value_); }
    bool isUpper() const noexcept { return CharIsUpper(value_); }
    bool isXdigit() const noexcept { return CharIsXdigit(value_); }
    Char toLower() const noexcept { return Char(CharToLower(value_)); }
    Char toUpper() const noexcept { return Char(CharToUpper(value_)); }
    // fromHex becomes the hexadecimal digit of the low four bits of v. toHex is the value of the
    // digit, 255 if the character is not a digit.
    Char& fromHex(unsigned char v) noexcept { return *this = HexToChar(v); }
    unsigned char toHex() const noexcept { return HexFromChar(value_); }

    String toString() const { return String(&value_, 1); }

private:
    friend ScalarValue;
    // The first character; 0 for empty text.
    static void read(istr text, char& value) noexcept { value = text.empty() ? '\0' : *text; }
};

class QOR_API Short : public HalvedValue<Short, short, short, unsigned char, 8> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

class QOR_API Ushort
    : public HalvedValue<Ushort, unsigned short, unsigned short, unsigned char, 8> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

// 32 bits on every platform: a wider value is cut.
class QOR_API Long : public HalvedValue<Long, long32, long32, unsigned short, 16> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

class QOR_API Ulong : public HalvedValue<Ulong, ulong32, ulong32, unsigned short, 16> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

class QOR_API Longlong : public HalvedValue<Longlong, long long, long long, ulong32, 32> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

class QOR_API Ulonglong
    : public HalvedValue<Ulonglong, unsigned long long, unsigned long long, ulong32, 32> {
public:
    using HalvedValue::HalvedValue;
    using HalvedValue::operator=;
};

class QOR_API Float : public ScalarValue<Float, float, float> {
public:
    using ScalarValue::ScalarValue;
    using ScalarValue::operator=;
};

class QOR_API Double : public ScalarValue<Double, double, double> {
public:
    using ScalarValue::ScalarValue;
    using ScalarValue::operator=;
};

// A wide character. Its text is its code as a decimal number, of which only the low 16 bits are
// read. dump writes the character.
class QOR_API Wchar : public ScalarValue<Wchar, wchar_t, long32> {
public:
    using ScalarValue::ScalarValue;
    using ScalarValue::operator=;

private:
    friend ScalarValue;
    static void read(istr text, wchar_t& value);
};

// The place of a bit in a byte stream: a byte, and a bit of 0 to 7 in it.
class BitPos {
public:
    constexpr BitPos() noexcept = default;
    constexpr BitPos(unsigned short byte, unsigned char bit) noexcept
        : byte_no_(byte), bit_no_(bit & 7) {}
    constexpr explicit BitPos(unsigned long total) noexcept { fromTotal(total); }

    // Conversion from and to a number of bits. The byte number is cut to 16 bits.
    constexpr BitPos& fromTotal(unsigned long total) noexcept {
        byte_no_ = static_cast<unsigned short>(total / 8);
        bit_no_ = static_cast<unsigned char>(total % 8);
        return *this;
    }
    constexpr unsigned long toTotal() const noexcept { return byte_no_ * 8UL + bit_no_; }
    constexpr unsigned short byte_no() const noexcept { return byte_no_; }
    constexpr unsigned char bit_no() const noexcept { return bit_no_; }

private:
    unsigned short byte_no_ = 0;
    unsigned char bit_no_ = 0;
};

// A range of bits: its first position and its size in bits.
class BitsSub {
public:
    constexpr BitsSub(const BitPos& begin, unsigned long size) noexcept
        : begin_(begin), size_(static_cast<ulong32>(size)) {}
    constexpr BitPos begin() const noexcept { return begin_; }
    constexpr BitPos end() const noexcept { return BitPos(begin_.toTotal() + size_); }
    constexpr unsigned long size() const noexcept { return size_; }

private:
    BitPos begin_;
    ulong32 size_;
};

// Hexadecimal text. Digits are written in upper case and read in either case.
class QOR_API Hex16 {
public:
    // encode gives "?" for a value above 15. decode gives 255 for a character that is not a digit.
    static char encode(unsigned char value) noexcept { return value < 16 ? HexToChar(value) : '?'; }
    static unsigned char decode(char digit) noexcept { return HexFromChar(digit); }
    static bool isHexChar(char digit) noexcept { return hexchar2int(digit) >= 0; }
    // Replaces the text by two digits for each byte.
    static void encode(const istr& bytes, String& text);
    // Replaces the bytes. Deliberate (compatibility): each digit is read one place too far to the
    // right. The first character is skipped, and in a view of even length the byte after the view,
    // which must exist, is the last digit. A character that is not a digit, such as a terminator,
    // counts as 0.
    static void decode(const istr& text, Bytes& bytes);
};

// The bytes of a number in network order, the most significant first.
template <unsigned N>
using octets = std::array<unsigned char, N>;

template <std::integral T>
constexpr auto hton(T value) noexcept {
    // A long has 32 bits in every format.
    constexpr unsigned width = std::is_same_v<T, long> || std::is_same_v<T, unsigned long>
                                   ? 4
                                   : static_cast<unsigned>(sizeof(T));
    octets<width> bytes{};
    for (unsigned i = 0; i < width; ++i) {
        bytes[width - 1 - i] =
            static_cast<unsigned char>(static_cast<unsigned long long>(value) >> (8 * i));
    }
    return bytes;
}

template <std::size_t N>
constexpr auto ntoh(const std::array<unsigned char, N>& bytes) noexcept {
    static_assert(N == 2 || N == 4 || N == 8);
    using T = std::conditional_t<N == 2, unsigned short,
                                 std::conditional_t<N == 4, ulong32, unsigned long long>>;
    unsigned long long value = 0;
    for (const unsigned char byte : bytes)
        value = value << 8 | byte;
    return static_cast<T>(value);
}

// Conversion between dotted IPv4 text and the address in network order. ip_aton gives all ones for
// bad text; its view must be terminated.
QOR_API ulong32 ip_aton(const istr& text) noexcept;
QOR_API String ip_ntoa(unsigned long address);

// Written to a stream, shows the character if it is printable, "." otherwise.
struct show_printable {
    explicit show_printable(char shown) noexcept : c(shown) {}
    char c;
};
QOR_API std::ostream& operator<<(std::ostream& os, show_printable shown);

}  // namespace qor

namespace qor {

// The hash of a wrapper is that of its scalar.
template <class Scalar>
struct ScalarHash {
    std::size_t operator()(const Scalar& scalar) const noexcept {
        return std::hash<typename Scalar::value_type>()(scalar.value());
    }
};

}  // namespace qor

template <>
struct std::hash<qor::Bit> : qor::ScalarHash<qor::Bit> {};
template <>
struct std::hash<qor::Byte> : qor::ScalarHash<qor::Byte> {};
template <>
struct std::hash<qor::Sbyte> : qor::ScalarHash<qor::Sbyte> {};
template <>
struct std::hash<qor::Char> : qor::ScalarHash<qor::Char> {};
template <>
struct std::hash<qor::Short> : qor::ScalarHash<qor::Short> {};
template <>
struct std::hash<qor::Ushort> : qor::ScalarHash<qor::Ushort> {};
template <>
struct std::hash<qor::Long> : qor::ScalarHash<qor::Long> {};
template <>
struct std::hash<qor::Ulong> : qor::ScalarHash<qor::Ulong> {};
template <>
struct std::hash<qor::Longlong> : qor::ScalarHash<qor::Longlong> {};
template <>
struct std::hash<qor::Ulonglong> : qor::ScalarHash<qor::Ulonglong> {};
template <>
struct std::hash<qor::Float> : qor::ScalarHash<qor::Float> {};
template <>
struct std::hash<qor::Double> : qor::ScalarHash<qor::Double> {};
template <>
struct std::hash<qor::Wchar> : qor::ScalarHash<qor::Wchar> {};

#endif  // QOR_BASE_BASE_TYPE_NUMBER_H
