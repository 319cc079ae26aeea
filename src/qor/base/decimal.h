#ifndef QOR_SRC_BASE_DECIMAL_H
#define QOR_SRC_BASE_DECIMAL_H

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string_view>

#if defined(__SSE2__) && defined(__x86_64__)
#include <emmintrin.h>
#endif

#include "qor/base/byte_order.h"

// Reads common decimal numbers, faster than std::from_chars.

namespace qor::decimal {

#if defined(__SIZEOF_INT128__)

__extension__ typedef unsigned __int128 Wide;

using Word = std::uint64_t;

// For k > 0: 2^(63 + bits) / 5^k, rounded down, where `bits` is the number of bits of 5^k; and the
// biased exponent of a double that is the product of this number and a 64-bit integer, minus one,
// since the highest bit of the mantissa adds one.
struct InversePower {
    Word factor;
    int exponent;
};
inline constexpr int kMostPlaces = 16;
inline constexpr int kMantissaBits = 53, kExtraBits = 64 - kMantissaBits;
inline constexpr auto kInversePowers = [] {
    std::array<InversePower, kMostPlaces + 1> powers{};
    Word power = 1;
    int places = 0;
    for (InversePower& inverse : powers) {
        const int bits = static_cast<int>(std::bit_width(power));
        const int exponent = 1 - bits - places + kExtraBits;
        inverse = {static_cast<Word>((Wide(1) << (63 + bits)) / power),
                   exponent + 1023 + kMantissaBits - 2};
        power *= 5;
        ++places;
    }
    return powers;
}();

// The value of eight digits, the first one in the lowest byte.
constexpr Word valueOfEight(Word digits) noexcept {
    digits = digits * 10 + (digits >> 8);
    constexpr Word kPairs = 0x000000FF000000FF;
    constexpr Word kLow = 100 + (Word(1000000) << 32), kHigh = 1 + (Word(10000) << 32);
    return ((digits & kPairs) * kLow + (digits >> 16 & kPairs) * kHigh) >> 32;
}

// leadingDigits: the number of bytes before the first one that is not a digit; 8 if all are digits.
// Each byte of `word` is the character XOR '0'. foreignBytes sets the top bit of each byte that is
// not a digit.
constexpr Word foreignBytes(Word word) noexcept {
    return (word | (word + 0x7676767676767676)) & 0x8080808080808080;
}
constexpr int leadingDigits(Word word) noexcept {
    return std::countr_zero(foreignBytes(word)) / 8;
}
constexpr bool areDigits(Word word, Word other) noexcept {
    return (foreignBytes(word) | foreignBytes(other)) == 0;
}

constexpr Word kZeros = 0x3030303030303030;
constexpr Word kEight = 100000000;
inline constexpr auto kPowersFromEight = [] {
    std::array<Word, 9> powers{};
    Word power = kEight;
    for (Word& of : powers) {
        of = power;
        power *= 10;
    }
    return powers;
}();

inline Word load(const char* at) noexcept {
    return loadLowByteFirst<Word>(at) ^ kZeros;
}

// digits / 10^places, for 1 to kMostPlaces places; nothing if only a longer calculation can decide
// the rounding.
constexpr std::optional<double> scaled(Word digits, int places) noexcept {
    if (digits == 0) return 0.0;
    const InversePower& inverse = kInversePowers[static_cast<std::size_t>(places)];
    const int shift = std::countl_zero(digits);
    // The upper half of the product, of 63 or 64 bits. The exact value is larger by less than 2.
    const Word product = static_cast<Word>(Wide(digits << shift) * inverse.factor >> 64);
    const int unused = static_cast<int>(~product >> 63);
    const Word scaled = product << unused;
    constexpr Word kHalf = Word(1) << (kExtraBits - 1);
    // Whether the exact value may be on the other side of the half at which rounding changes. The
    // error of a shifted product is twice as large.
    const Word below = kHalf - (scaled & (2 * kHalf - 1));
    if (below < 2 + static_cast<Word>(unused)) return std::nullopt;
    // Rounds without a branch. This may give one more bit, which carries into the exponent.
    const Word mantissa = ((scaled >> (kExtraBits - 1)) + 1) >> 1;
    const auto exponent = static_cast<Word>(inverse.exponent - shift - unused);
    return std::bit_cast<double>((exponent << (kMantissaBits - 1)) + mantissa);
}

// The number in a text of 4 to 15 digits; nothing for other texts.
inline std::optional<double> readWhole(std::string_view text) noexcept {
    constexpr std::size_t kHalf = sizeof(std::uint32_t), kWord = sizeof(Word);
    const std::size_t n = text.size();
    const char* const end = text.data() + n;
    // low has the last eight digits, high those before them; each part ends at the highest byte,
    // with zeros before it.
    Word high = 0, low = 0;
    if (n >= kWord) {
        low = load(end - kWord);
        if (n != kWord) high = load(text.data()) << 8 * (2 * kWord - n);
    } else {
        const auto half = [](const char* at) -> Word {
            return loadLowByteFirst<std::uint32_t>(at);
        };
        const std::size_t foreign = 8 * (kWord - n);
        const Word before = static_cast<std::uint32_t>(half(text.data()) << foreign);
        low = (half(end - kHalf) << 32 | before) ^ kZeros << foreign;
    }
    if (!areDigits(high, low)) return std::nullopt;
    return static_cast<double>(valueOfEight(high) * kEight + valueOfEight(low));
}

// Reads the last `places` digits before `end`, 8 to kMostPlaces, from the 16 bytes before it.
// Returns false if any of them is not a digit. Both forms give the same results.
struct PortableFraction {
    static bool read(const char* end, int places, Word& value) noexcept {
        // Each part ends at the highest byte, with zeros before it.
        constexpr int kWord = sizeof(Word);
        const int upper = places - kWord;
        const int foreign = 8 * (kWord - upper);
        const Word high = upper == 0 ? 0 : load(end - 2 * kWord) >> foreign << foreign;
        const Word low = load(end - kWord);
        value = valueOfEight(high) * kEight + valueOfEight(low);
        return areDigits(high, low);
    }
};

#if defined(__SSE2__) && defined(__x86_64__)

// Joins all digits in parallel: to numbers of 2, then 4, then 8 digits. Every amd64 has SSE2, so
// this is chosen at compile time.
struct Sse2Fraction {
    static bool read(const char* end, int places, Word& value) noexcept {
        const __m128i text = loadBytes(end - kMostPlaces);
        const __m128i digits =
            _mm_and_si128(_mm_xor_si128(text, _mm_set1_epi8('0')), loadBytes(kLast + places));
        const __m128i above = _mm_subs_epu8(digits, _mm_set1_epi8(9));
        const __m128i zero = _mm_setzero_si128();
        constexpr int kTen = 10 + (1 << 16), kHundred = 100 + (1 << 16);
        constexpr int kTenThousand = 10000 + (1 << 16);
        const __m128i twos = _mm_packs_epi32(pairs(_mm_unpacklo_epi8(digits, zero), kTen),
                                             pairs(_mm_unpackhi_epi8(digits, zero), kTen));
        const __m128i fours = pairs(twos, kHundred);
        const __m128i eights = pairs(_mm_packs_epi32(fours, fours), kTenThousand);
        const auto both = static_cast<Word>(_mm_cvtsi128_si64(eights));
        value = static_cast<std::uint32_t>(both) * kEight + (both >> 32);
        return _mm_movemask_epi8(_mm_cmpeq_epi8(above, zero)) == 0xFFFF;
    }

private:
    // For each pair of 16-bit words, the sum of their products with the two factors.
    static __m128i pairs(__m128i words, int factors) noexcept {
        return _mm_madd_epi16(words, _mm_set1_epi32(factors));
    }
    static __m128i loadBytes(const char* at) noexcept {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    }
    // The 16 bytes from kLast + n on are a mask of the last n bytes.
    static constexpr char kLast[2 * kMostPlaces + 1] =
        "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
        "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF";
};
using FastFraction = Sse2Fraction;

#else

using FastFraction = PortableFraction;

#endif

// The number in a text of 4 to 15 digits, or of 1 to 7 digits, a point, and 8 to 16 more digits,
// together 15 to 19 digits. Nothing for other texts, and for a few that need a longer calculation.
//
// It is compiled into its caller: otherwise the result is returned through memory in two parts that
// are then read as one, which stalls the processor.
template <class Fraction = FastFraction>
[[gnu::always_inline]] inline std::optional<double> read(std::string_view text) noexcept {
    constexpr int kWord = sizeof(Word);
    constexpr std::size_t kLeast = 2 * sizeof(Word), kMost = 20;
    if (text.size() < kLeast) return text.size() >= 4 ? readWhole(text) : std::nullopt;
    if (text.size() > kMost) return std::nullopt;
    const Word head = load(text.data());
    const int whole = leadingDigits(head);
    if (whole == 0 || whole == kWord || text[static_cast<std::size_t>(whole)] != '.')
        return std::nullopt;
    const int places = static_cast<int>(text.size()) - whole - 1;
    if (places > kMostPlaces) return std::nullopt;
    Word fraction = 0;
    if (!Fraction::read(text.data() + text.size(), places, fraction)) return std::nullopt;
    const Word digits = valueOfEight(head << 8 * (kWord - whole));
    const Word power = kPowersFromEight[static_cast<std::size_t>(places - kWord)];
    return scaled(digits * power + fraction, places);
}

#else

inline std::optional<double> read(std::string_view) noexcept {
    return std::nullopt;
}

#endif

}  // namespace qor::decimal

#endif  // QOR_SRC_BASE_DECIMAL_H
