#ifndef QOR_TESTS_SUPPORT_MACHINE_H
#define QOR_TESTS_SUPPORT_MACHINE_H

// What tests have to know of the machine that they run on, and of the way they were compiled.

namespace support {

inline constexpr bool kLongHas64Bits = sizeof(long) > 4;

// For calls that cut a long to 32 bits: the lower ones are all that some machines have.
constexpr long longOf(long long value) noexcept {
    return static_cast<long>(value);
}

// A size that no text has: above 32 bits, or the largest one that is given as a number.
inline constexpr auto kTooLarge =
    static_cast<unsigned long>(kLongHas64Bits ? 1ULL << 40 : 0xFFFFFFFEULL);

// g++ defines a macro for it, clang has a feature.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool kAddressSanitizer = false;
#endif

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_MACHINE_H
