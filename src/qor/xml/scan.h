#ifndef QOR_SRC_XML_SCAN_H
#define QOR_SRC_XML_SCAN_H

#include <array>

#if defined(__SSE2__)
#include <emmintrin.h>

#include <bit>
#endif

namespace qor::xml {

// The search of a text that has a zero byte at its end, where kScanRoom bytes can be read.
inline constexpr int kScanRoom = 16;

constexpr bool isBlank(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// What ends a short run of bytes is looked for byte by byte, since the processor guesses where that
// is and goes on from there; a search of blocks makes it wait.
template <char... kBytes>
inline constexpr std::array<bool, 256> kIsAny = [] {
    std::array<bool, 256> is{};
    is[0] = true;
    ((is[static_cast<unsigned char>(kBytes)] = true), ...);
    return is;
}();

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

// The same for what may be long.
template <char... kBytes>
inline const char* findFar(const char* at) noexcept;

#if defined(__SSE2__)

// One bit for each of the 16 bytes.
template <char... kBytes>
inline unsigned bytesAmong(const char* at) noexcept {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    __m128i found = _mm_setzero_si128();
    ((found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8(kBytes)))), ...);
    return static_cast<unsigned>(_mm_movemask_epi8(found));
}

// The first byte from here on that is one of these or zero.
template <char... kBytes>
inline const char* findAny(const char* at) noexcept {
    while (true) {
        const unsigned found = bytesAmong<'\0', kBytes...>(at);
        if (found != 0) [[likely]]
            return at + std::countr_zero(found);
        at += kScanRoom;
    }
}

template <char... kBytes>
inline const char* findFar(const char* at) noexcept {
    constexpr auto& is = kIsAny<kBytes...>;
    for (const char* const near = at + 16; at != near; at += 4) {
        if (is[static_cast<unsigned char>(at[0])]) return at;
        if (is[static_cast<unsigned char>(at[1])]) return at + 1;
        if (is[static_cast<unsigned char>(at[2])]) return at + 2;
        if (is[static_cast<unsigned char>(at[3])]) return at + 3;
    }
    return findAny<kBytes...>(at);
}

// The first byte from here on that is no white space.
inline const char* skipBlanks(const char* at) noexcept {
    for (const char* const near = at + 16; at != near; ++at) {
        if (!isBlank(*at)) return at;
    }
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
    while (*at != '\0' && ((*at != kBytes) && ...))
        ++at;
    return at;
}

inline const char* skipBlanks(const char* at) noexcept {
    while (isBlank(*at))
        ++at;
    return at;
}

#endif

}  // namespace qor::xml

#endif  // QOR_SRC_XML_SCAN_H
