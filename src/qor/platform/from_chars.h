#ifndef QOR_SRC_PLATFORM_FROM_CHARS_H
#define QOR_SRC_PLATFORM_FROM_CHARS_H

#include <charconv>
#include <concepts>
#include <system_error>

#ifndef __cpp_lib_to_chars
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#endif

namespace qor::platform {

#ifdef __cpp_lib_to_chars

using std::from_chars;

#else

// A replacement for std::from_chars, for standard libraries without the floating-point form. Reads
// only numbers without a sign.
template <std::floating_point T>
std::from_chars_result from_chars(const char* first, const char* last, T& value) noexcept {
    const auto isDigit = [last](const char* at) { return at != last && *at >= '0' && *at <= '9'; };
    // The rounding of a double depends on no more digits, except for whether all others are 0.
    constexpr std::size_t kDigits = 800;
    const char* const begin = first;
    char number[kDigits + 32];
    std::size_t digits = 0;
    long long exponent = 0;
    bool isEmpty = true, hasPoint = false, hasRest = false;
    for (; isDigit(first) || (first != last && *first == '.' && !hasPoint); ++first) {
        if (*first == '.') {
            hasPoint = true;
            continue;
        }
        isEmpty = false;
        if (digits == kDigits) {
            hasRest |= *first != '0';
            exponent += hasPoint ? 0 : 1;
            continue;
        }
        if (digits != 0 || *first != '0') number[digits++] = *first;
        exponent -= hasPoint ? 1 : 0;
    }
    if (isEmpty) return {begin, std::errc::invalid_argument};
    if (hasRest) {
        number[digits++] = '1';
        --exponent;
    }
    if (first != last && (*first == 'e' || *first == 'E')) {
        const char* at = first + 1;
        const bool isNegative = at != last && *at == '-';
        if (at != last && (*at == '-' || *at == '+')) ++at;
        if (isDigit(at)) {
            constexpr long long kMost = 1'000'000'000'000'000;
            long long given = 0;
            for (; isDigit(at); ++at)
                given = std::min(given * 10 + (*at - '0'), kMost);
            exponent += isNegative ? -given : given;
            first = at;
        }
    }
    if (digits == 0) {
        value = 0;
        return {first, std::errc()};
    }
    // The text has no point, so every locale reads it in the same way.
    constexpr long long kFar = 99999;
    number[digits++] = 'e';
    *std::to_chars(number + digits, std::end(number), std::clamp(exponent, -kFar, kFar)).ptr = '\0';
    const int before = errno;
    T read;
    if constexpr (std::same_as<T, float>) {
        read = std::strtof(number, nullptr);
    } else {
        read = static_cast<T>(std::strtod(number, nullptr));
    }
    errno = before;
    if (read == 0 || std::isinf(read)) return {first, std::errc::result_out_of_range};
    value = read;
    return {first, std::errc()};
}

#endif

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FROM_CHARS_H
