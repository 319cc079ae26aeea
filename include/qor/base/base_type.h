#ifndef QOR_BASE_BASE_TYPE_H
#define QOR_BASE_BASE_TYPE_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace qor {

// The formats and ids of the library need a 32-bit `long`. Interfaces take `long` and `unsigned
// long`, and store and compute in these types: a wider argument is cut to its low 32 bits.
using long32 = std::int32_t;
using ulong32 = std::uint32_t;

template <class T>
concept Arithmetic = std::is_arithmetic_v<T>;

// The length that is not given: "measure it", or "all that there is". A size argument of all ones
// means this in its 32-bit and in its 64-bit form.
inline constexpr unsigned long npos = ~0UL;
inline constexpr ulong32 npos32 = 0xFFFFFFFFU;

constexpr bool isNpos(unsigned long n) noexcept {
    return n == npos || n == npos32;
}

// A size of more than 4 GiB minus 2 bytes is cut there, never wrapped: all ones stays the marker.
constexpr ulong32 cutSize(unsigned long n) noexcept {
    return n < npos32 ? static_cast<ulong32>(n) : npos32 - 1;
}

// As cutSize, with all ones kept.
constexpr ulong32 cutSizeOrNpos(unsigned long n) noexcept {
    return isNpos(n) ? npos32 : cutSize(n);
}

}  // namespace qor

#endif  // QOR_BASE_BASE_TYPE_H
