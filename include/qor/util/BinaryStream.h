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

// Values without data, for the binary writers: one that is not there, and one that is empty.
struct null_type {};
struct empty_type {};

QOR_DECLARE_EXCEPTION(BinaryDecodeException, "qor::BinaryDecodeException");

class QOR_API BinaryStream {
public:
    // Writes the value low byte first, in the fewest bytes whose last one has its top bit clear,
    // but in no more than `width`. Returns the count, at least 1. Signed values are sign-extended
    // to 64 bits first, so a negative one fills the width.
    template <std::integral T>
    static char writeInt(char* buffer, T value, unsigned long width) noexcept {
        const auto bits = static_cast<unsigned long long>(value);
        const unsigned count = byteCount(bits, width);
        for (unsigned i = 0; i < count; ++i)
            buffer[i] = i < 8 ? byteOf(bits, i) : '\0';
        return static_cast<char>(count);
    }
    // What writeInt returns.
    static constexpr unsigned byteCount(unsigned long long value, unsigned long width) noexcept {
        const unsigned fewest = static_cast<unsigned>(std::bit_width(value | 1)) / 8 + 1;
        return fewest <= width ? fewest : std::max(static_cast<unsigned>(width), 1U);
    }

    // Reads `length` bytes, low byte first and at most `width` of them; no bytes are 0. Nothing is
    // sign-extended: the target truncates. The length and the low byte of the width are signed
    // bytes, and one that is then not in 0 to 8 raises BinaryDecodeException.
    static unsigned long long readUint(const char* data, char length, unsigned long width) {
        const auto limit = static_cast<signed char>(width);
        const signed char count = std::min(static_cast<signed char>(length), limit);
        if (length == 0) return 0;
        if (count < 1 || count > 8) [[unlikely]]
            invalidSize(count);
        return load(data, static_cast<unsigned>(count));
    }
    // The same bits.
    static long long readInt(const char* data, char length, unsigned long width) {
        return static_cast<long long>(readUint(data, length, width));
    }
    // The size of the view is cut to a signed byte. A null view has no bytes.
    static unsigned long long readUint(istr data, unsigned long width) {
        return data.is_null() ? 0 : readUint(data.data(), static_cast<char>(data.size()), width);
    }
    static long long readInt(istr data, unsigned long width) {
        return static_cast<long long>(readUint(data, width));
    }

    // Obfuscation of stored bytes, and no cipher: each map is its own inverse.
    static constexpr unsigned char encrypt(unsigned char b) noexcept {
        return static_cast<unsigned char>(255 - b);
    }
    static constexpr unsigned char decrypt(unsigned char b) noexcept { return encrypt(b); }
    // In place, over the whole capacity: each byte by the complement of its index modulo 256.
    static void encrypt(ostr buffer) noexcept;
    static void decrypt(ostr buffer) noexcept { encrypt(buffer); }

    // What `count` bytes are, 1 to 8 of them, low byte first.
    static unsigned long long load(const char* data, unsigned count) noexcept {
        if (count == 1) return static_cast<unsigned char>(*data);
        return count < 4 ? loadTwice<unsigned short>(data, count) : loadTwice<ulong32>(data, count);
    }

private:
    // The first and the last bytes of a fitting size, which may overlap.
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

// A number as the binary formats carry it: its bits, and how many bytes they may take.
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

// How many bytes of a number T reads.
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

}  // namespace qor

#endif  // QOR_UTIL_BINARYSTREAM_H
