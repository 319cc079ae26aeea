#ifndef QOR_SRC_XML_SCAN_H
#define QOR_SRC_XML_SCAN_H

#include <array>

#if defined(__SSE2__)
#include <emmintrin.h>

#include <bit>
#endif

// Searches in a text that ends with a zero byte, after which kScanRoom bytes must be readable. No
// result is after that zero.
//
// The searches begin byte by byte: the processor predicts the end of a short run and continues,
// while it would have to wait for the result of a whole block.

namespace qor::xml {

inline constexpr int kScanRoom = 16;

constexpr bool isBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

template <char... kBytes>
inline constexpr std::array<bool, 256> kIsAny = [] {
    std::array<bool, 256> is{};
    is[0] = true;
    ((is[static_cast<unsigned char>(kBytes)] = true), ...);
    return is;
}();

// The first byte that is one of kBytes or zero. For short runs of other bytes.
template <char... kBytes>
inline const char* findNear(const char* at) noexcept {
    constexpr auto& is = kIsAny<kBytes...>;
    while (true) {
        if (is[static_cast<unsigned char>(at[0])]) return at;
        if (is[static_cast<unsigned char>(at[1])]) return at + 1;
        if (is[static_cast<unsigned char>(at[2])]) return at + 2;
        if (is[static_cast<unsigned char>(at[3])]) return at + 3;
        at += 4;
    }
}

#if defined(__SSE2__)

// One bit for each of the 16 bytes.
template <char... kBytes>
inline unsigned bytesAmong(const char* at) noexcept {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    __m128i found = _mm_setzero_si128();
    ((found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8(kBytes)))), ...);
    return static_cast<unsigned>(_mm_movemask_epi8(found));
}

// The same for long runs.
template <char... kBytes>
inline const char* findAny(const char* at) noexcept {
    while (true) {
        const unsigned found = bytesAmong<'\0', kBytes...>(at);
        if (found != 0) [[likely]]
            return at + std::countr_zero(found);
        at += kScanRoom;
    }
}

inline const char* skipManyBlanks(const char* at) noexcept {
    while (true) {
        const unsigned others = ~bytesAmong<' ', '\t', '\n', '\r'>(at) & 0xFFFFU;
        if (others != 0) [[likely]]
            return at + std::countr_zero(others);
        at += kScanRoom;
    }
}

#else

template <char... kBytes>
inline const char* findAny(const char* at) noexcept {
    return findNear<kBytes...>(at);
}

inline const char* skipManyBlanks(const char* at) noexcept {
    while (isBlank(*at))
        ++at;
    return at;
}

#endif

// The same for runs of any length.
template <char... kBytes>
inline const char* findFar(const char* at) noexcept {
    constexpr auto& is = kIsAny<kBytes...>;
    for (const char* const near = at + kScanRoom; at != near; at += 4) {
        if (is[static_cast<unsigned char>(at[0])]) return at;
        if (is[static_cast<unsigned char>(at[1])]) return at + 1;
        if (is[static_cast<unsigned char>(at[2])]) return at + 2;
        if (is[static_cast<unsigned char>(at[3])]) return at + 3;
    }
    return findAny<kBytes...>(at);
}

// The first byte that is not white space.
inline const char* skipBlanks(const char* at) noexcept {
    for (const char* const near = at + kScanRoom; at != near; ++at) {
        if (!isBlank(*at)) return at;
    }
    return skipManyBlanks(at);
}

}  // namespace qor::xml

#endif  // QOR_SRC_XML_SCAN_H
