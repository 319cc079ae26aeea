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

// A length that is not given: the text is measured, or all of it is used. A size argument of all
// ones means this, in its 32-bit and in its 64-bit form.
inline constexpr unsigned long npos = ~0UL;
inline constexpr ulong32 npos32 = 0xFFFFFFFFU;

constexpr bool isNpos(unsigned long n) noexcept {
    return n == npos || n == npos32;
}

// A size greater than 0xFFFFFFFE becomes 0xFFFFFFFE; it never wraps, and never becomes npos32.
constexpr ulong32 cutSize(unsigned long n) noexcept {
    return n < npos32 ? static_cast<ulong32>(n) : npos32 - 1;
}

// As cutSize, but npos in either form becomes npos32.
constexpr ulong32 cutSizeOrNpos(unsigned long n) noexcept {
    return isNpos(n) ? npos32 : cutSize(n);
}

}  // namespace qor

#endif  // QOR_BASE_BASE_TYPE_H
