#ifndef QOR_UTIL_BINARYSTREAM_H
#define QOR_UTIL_BINARYSTREAM_H

#include <algorithm>
#include <bit>
#include <concepts>
#include <type_traits>

#include "qor/base/base_type_number.h"
#include "qor/base/base_type_target.h"
#include "qor/base/base_type_view.h"
#include "qor/base/byte_order.h"
#include "qor/base/exception.h"

// The integers that the binary formats share.

namespace qor {

// Values without data, for the binary writers: a missing value and an empty one.
struct null_type {};
struct empty_type {};

QOR_DECLARE_EXCEPTION(BinaryDecodeException, "qor::BinaryDecodeException");

class QOR_API BinaryStream {
public:
    // Writes the value, low byte first, and returns the number of bytes, at least 1: as few as
    // possible with the top bit of the last byte clear, but at most `width`. Signed values are
    // first sign-extended to 64 bits, so a negative value has `width` bytes.
    template <std::integral T>
    static char writeInt(char* buffer, T value, unsigned long width) noexcept {
        const auto bits = static_cast<unsigned long long>(value);
        const unsigned count = byteCount(bits, width);
        for (unsigned i = 0; i < count; ++i)
            buffer[i] = i < 8 ? byteOf(bits, i) : '\0';
        return static_cast<char>(count);
    }
    // The number of bytes that writeInt writes.
    static constexpr unsigned byteCount(unsigned long long value, unsigned long width) noexcept {
        const unsigned fewest = static_cast<unsigned>(std::bit_width(value | 1)) / 8 + 1;
        return fewest <= width ? fewest : std::max(static_cast<unsigned>(width), 1U);
    }

    // Reads `length` bytes, low byte first, at most `width`; a length of 0 gives 0. The result is
    // not sign-extended. `length` and the low byte of `width` are taken as signed bytes: if the
    // length is not 0 and the smaller of the two is not in 1 to 8, BinaryDecodeException is raised.
    static unsigned long long readUint(const char* data, char length, unsigned long width) {
        const auto limit = static_cast<signed char>(width);
        const signed char count = std::min(static_cast<signed char>(length), limit);
        if (length == 0) return 0;
        if (count < 1 || count > 8) [[unlikely]]
            invalidSize(count);
        return load(data, static_cast<unsigned>(count));
    }
    // The same bits as a signed number.
    static long long readInt(const char* data, char length, unsigned long width) {
        return static_cast<long long>(readUint(data, length, width));
    }
    // The same for the bytes of a view, whose size is cut to a signed byte. A null view gives 0.
    static unsigned long long readUint(istr data, unsigned long width) {
        return data.is_null() ? 0 : readUint(data.data(), static_cast<char>(data.size()), width);
    }
    static long long readInt(istr data, unsigned long width) {
        return static_cast<long long>(readUint(data, width));
    }

    // These hide stored bytes from view but protect nothing: there is no key. Each is its own
    // inverse.
    static constexpr unsigned char encrypt(unsigned char b) noexcept {
        return static_cast<unsigned char>(255 - b);
    }
    static constexpr unsigned char decrypt(unsigned char b) noexcept { return encrypt(b); }
    // Change the whole capacity in place: each byte is XORed with the complement of its index.
    static void encrypt(ostr buffer) noexcept;
    static void decrypt(ostr buffer) noexcept { encrypt(buffer); }

    // The number in `count` bytes, 1 to 8, low byte first.
    static unsigned long long load(const char* data, unsigned count) noexcept {
        if (count == 1) return static_cast<unsigned char>(*data);
        return count < 4 ? loadTwice<unsigned short>(data, count) : loadTwice<ulong32>(data, count);
    }

private:
    // Joins the first and the last sizeof(Part) bytes, which may overlap.
    template <class Part>
    static unsigned long long loadTwice(const char* data, unsigned count) noexcept {
        const Part first = loadLowByteFirst<Part>(data);
        const Part last = loadLowByteFirst<Part>(data + count - sizeof(Part));
        return first | static_cast<unsigned long long>(last) << (8 * (count - sizeof(Part)));
    }
    static constexpr char byteOf(unsigned long long value, unsigned i) noexcept {
        return static_cast<char>(value >> (8 * i));
    }
    [[noreturn]] static void invalidSize(int size);
};

// A number in the binary formats: its bits, and the number of bytes that they may have.
struct WireNumber {
    unsigned long long bits;
    unsigned width;
};

// The wrappers of base_type_number.h.
template <class T>
concept HasValueType = requires {
    typename T::value_type;
};
template <class T>
concept NumberWrapper =
    HasValueType<T> && std::is_base_of_v<NumberValue<typename T::value_type>, T>;

// The scalars that have a binary form, and their wrappers.
template <class T>
concept WireScalar = NumberWrapper<T> || std::same_as<T, bool> || std::same_as<T, char> ||
    std::same_as<T, signed char> || std::same_as<T, unsigned char> || std::same_as<T, short> ||
    std::same_as<T, unsigned short> || std::same_as<T, int> || std::same_as<T, unsigned> ||
    std::same_as<T, long> || std::same_as<T, unsigned long> || std::same_as<T, long long> ||
    std::same_as<T, unsigned long long> || std::same_as<T, float> || std::same_as<T, double> ||
    std::same_as<T, wchar_t>;

// A char is written as a short, a wide character as its low 16 bits, a long as its low 32 bits, and
// floating point as its IEEE 754 bits.
template <WireScalar T>
constexpr WireNumber toWire(const T& value) noexcept {
    using U = unsigned long long;
    if constexpr (NumberWrapper<T>) {
        return toWire(value.value());
    } else if constexpr (std::same_as<T, float>) {
        return {std::bit_cast<ulong32>(value), 4};
    } else if constexpr (std::same_as<T, double>) {
        return {std::bit_cast<U>(value), 8};
    } else if constexpr (std::same_as<T, char> || std::same_as<T, signed char>) {
        return {static_cast<U>(static_cast<signed char>(value)), 2};
    } else if constexpr (std::same_as<T, wchar_t>) {
        return {static_cast<unsigned short>(value), 2};
    } else if constexpr (std::same_as<T, long>) {
        return {static_cast<U>(static_cast<long32>(value)), 4};
    } else if constexpr (std::same_as<T, unsigned long>) {
        return {static_cast<ulong32>(value), 4};
    } else {
        return {static_cast<U>(value), sizeof(T)};
    }
}

// The number of bytes that T reads at most.
template <WireScalar T>
constexpr unsigned wireWidth() noexcept {
    if constexpr (NumberWrapper<T>) {
        return wireWidth<typename T::value_type>();
    } else if constexpr (std::same_as<T, long> || std::same_as<T, unsigned long>) {
        return 4;
    } else if constexpr (std::same_as<T, wchar_t>) {
        return 2;
    } else {
        return sizeof(T);
    }
}

template <WireScalar T>
constexpr T fromWire(unsigned long long bits) noexcept {
    if constexpr (NumberWrapper<T>) {
        return T(fromWire<typename T::value_type>(bits));
    } else if constexpr (std::same_as<T, float>) {
        return std::bit_cast<float>(static_cast<ulong32>(bits));
    } else if constexpr (std::same_as<T, double>) {
        return std::bit_cast<double>(bits);
    } else if constexpr (std::same_as<T, bool>) {
        return bits != 0;
    } else if constexpr (std::same_as<T, long>) {
        return static_cast<long32>(bits);
    } else {
        return static_cast<T>(bits);
    }
}

// Sets a scalar. Of a class that is derived from a wrapper, only the number changes.
template <WireScalar T>
constexpr void setFromWire(T& target, unsigned long long bits) noexcept {
    if constexpr (NumberWrapper<T>) {
        target.value() = fromWire<typename T::value_type>(bits);
    } else {
        target = fromWire<T>(bits);
    }
}

}  // namespace qor

#endif  // QOR_UTIL_BINARYSTREAM_H
