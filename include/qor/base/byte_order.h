#ifndef QOR_BASE_BYTE_ORDER_H
#define QOR_BASE_BYTE_ORDER_H

#include <bit>
#include <concepts>
#include <cstring>

// The order of bytes in memory; only this header depends on it. The binary formats have the low
// byte first on every machine.

namespace qor {

inline constexpr bool kLowByteFirst = std::endian::native == std::endian::little;
static_assert(kLowByteFirst || std::endian::native == std::endian::big);

// Converts between the machine's order of bytes and the order with the low byte first. It is its
// own inverse.
template <std::unsigned_integral T>
constexpr T lowByteFirst(T value) noexcept {
    if constexpr (kLowByteFirst || sizeof(T) == 1) {
        return value;
    } else if constexpr (sizeof(T) == 2) {
        return __builtin_bswap16(value);
    } else if constexpr (sizeof(T) == 4) {
        return __builtin_bswap32(value);
    } else {
        static_assert(sizeof(T) == 8);
        return __builtin_bswap64(value);
    }
}

// Reads and writes sizeof(T) bytes, low byte first, at any address.
template <std::unsigned_integral T>
inline T loadLowByteFirst(const char* from) noexcept {
    T value;
    std::memcpy(&value, from, sizeof value);
    return lowByteFirst(value);
}
template <std::unsigned_integral T>
inline void storeLowByteFirst(char* to, T value) noexcept {
    value = lowByteFirst(value);
    std::memcpy(to, &value, sizeof value);
}

}  // namespace qor

#endif  // QOR_BASE_BYTE_ORDER_H
