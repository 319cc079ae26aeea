#if defined(__x86_64__)

#if defined(__GNUC__) && !defined(__clang__)
// GCC warns about its own header, which leaves unused registers unset.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>

#include "platform/processor.h"
#include "util/base64_forms.h"

// Encoding: three bytes become a lane of 32 bits with the second byte at both ends, so that the six
// bits of each of the four characters are adjacent. Decoding: two multiplications join the six bits
// of four characters in a lane, from which three bytes are taken in reverse order.
//
// Only functions that are marked for the wide registers use them, so that a machine without them
// can load this file.

#define QOR_AVX2 [[gnu::target("avx2,bmi")]]
#define QOR_AVX512 [[gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi,bmi,bmi2")]]

namespace qor::util {

namespace {

// Factors that join two neighbours: the first one is shifted left by 6 bits, or by 12.
constexpr int joinCharacters = 0x01400140, joinPairs = 0x00011000;

// The number of characters in the complete groups before the first foreign character.
std::size_t wholeGroups(std::uint64_t foreign) noexcept {
    return static_cast<std::size_t>(std::countr_zero(foreign)) & ~std::size_t{3};
}

}  // namespace

namespace base64_avx2 {

namespace {

// The sizes that are converted together.
constexpr std::size_t bytes = 24, characters = 32;

QOR_AVX2 inline __m256i twice(__m128i half) {
    return _mm256_broadcastsi128_si256(half);
}

QOR_AVX2 inline __m128i load16(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

QOR_AVX2 inline void store32(void* p, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(p), value);
}

// The characters of six bits each: the six bits plus a distance that is the same for all capital
// letters, all small letters, and all digits.
QOR_AVX2 inline __m256i alphabetOf(__m256i sextets) {
    const __m256i distances =
        twice(_mm_setr_epi8('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                            '0' - 52, '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0));
    const __m256i capital = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), sextets);
    const __m256i kind = _mm256_or_si256(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)),
                                         _mm256_and_si256(capital, _mm256_set1_epi8(13)));
    return _mm256_add_epi8(sextets, _mm256_shuffle_epi8(distances, kind));
}

// Encodes the 12 bytes of each half that begin at `first`.
QOR_AVX2 inline __m256i encode(__m128i low, __m128i high, char first) {
    const __m256i spread =
        _mm256_add_epi8(twice(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)),
                        _mm256_set1_epi8(first));
    const __m256i in = _mm256_shuffle_epi8(_mm256_set_m128i(high, low), spread);
    // The upper halves of the products shift right by 10 and by 6, the lower ones left by 4 and
    // by 8.
    const __m256i outer = _mm256_mulhi_epu16(_mm256_and_si256(in, _mm256_set1_epi32(0x0FC0FC00)),
                                             _mm256_set1_epi32(0x04000040));
    const __m256i inner = _mm256_mullo_epi16(_mm256_and_si256(in, _mm256_set1_epi32(0x003F03F0)),
                                             _mm256_set1_epi32(0x01000010));
    return alphabetOf(_mm256_or_si256(outer, inner));
}

}  // namespace

bool runsHere() noexcept {
    return platform::vectorsAllowed() && __builtin_cpu_supports("avx2") &&
           __builtin_cpu_supports("bmi");
}

QOR_AVX2 void encode(const unsigned char* in, std::size_t n, char* out) noexcept {
    // The number of bytes of a half that are read but not converted: at its end in the first step,
    // at its start in all others.
    constexpr std::size_t surplus = 16 - bytes / 2;
    const std::size_t whole = n - n % 3;
    if (whole < bytes + surplus) return base64_portable::encode(in, n, out);
    store32(out, encode(load16(in), load16(in + bytes / 2), 0));
    for (std::size_t i = bytes; i < whole; i += bytes) {
        // Some of the last bytes may be converted twice.
        i = std::min(i, whole - bytes);
        const unsigned char* from = in + i - surplus;
        store32(out + i / 3 * 4, encode(load16(from), load16(from + bytes / 2), surplus));
    }
    base64_portable::encode(in + whole, n - whole, out + whole / 3 * 4);
}

namespace {

// For each upper half of a character that is in the alphabet there is a bit, and one for all other
// upper halves. Two look-ups, by upper and by lower half, share a bit if the character is foreign.
constexpr unsigned firstHalf = 2, lastHalf = 7;
constexpr int bitOfHalf(unsigned upper) {
    return upper < firstHalf || upper > lastHalf ? 0x40 : 1 << (upper - firstHalf);
}
constexpr auto foreignByUpper = [] {
    std::array<unsigned char, 16> bits{};
    for (unsigned upper = 0; upper < 16; ++upper)
        bits[upper] = static_cast<unsigned char>(bitOfHalf(upper));
    return bits;
}();
constexpr auto foreignByLower = [] {
    std::array<unsigned char, 16> bits{};
    for (unsigned c = 0; c < 256; ++c) {
        if (base64Values[c] < base64Alphabet.size()) continue;
        bits[c & 15] = static_cast<unsigned char>(bits[c & 15] | bitOfHalf(c >> 4));
    }
    return bits;
}();

struct Decoded {
    __m256i bytes;
    // A bit for each character that is not in the alphabet.
    std::uint32_t foreign;
};

QOR_AVX2 inline Decoded decode(const char* in) {
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const __m256i halfMask = _mm256_set1_epi8(15);
    const __m256i upper = _mm256_and_si256(_mm256_srli_epi32(text, 4), halfMask);
    const __m256i lower = _mm256_and_si256(text, halfMask);
    const __m256i known = _mm256_cmpeq_epi8(
        _mm256_and_si256(_mm256_shuffle_epi8(twice(load16(foreignByUpper.data())), upper),
                         _mm256_shuffle_epi8(twice(load16(foreignByLower.data())), lower)),
        _mm256_setzero_si256());

    // The distance from a character to its value depends on the upper half of the character, except
    // for "/", whose distance is stored at the index before that of "+".
    const __m256i distances = twice(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A',
                                                  26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i slash = _mm256_cmpeq_epi8(text, _mm256_set1_epi8('/'));
    const __m256i sextets =
        _mm256_add_epi8(text, _mm256_shuffle_epi8(distances, _mm256_add_epi8(upper, slash)));

    const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(joinCharacters));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(joinPairs));
    const __m256i halves = _mm256_shuffle_epi8(
        groups, twice(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
    return {_mm256_permutevar8x32_epi32(halves, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7)),
            ~static_cast<std::uint32_t>(_mm256_movemask_epi8(known))};
}

// Writes exactly 24 bytes.
QOR_AVX2 inline void storeExactly(unsigned char* out, __m256i value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(value));
    _mm_storeu_si64(out + 16, _mm256_extracti128_si256(value, 1));
}

}  // namespace

QOR_AVX2 std::size_t decode(const char* in, std::size_t n, unsigned char* out) noexcept {
    // With this number of characters left, the output has room for a whole register.
    constexpr std::size_t plenty = characters + 12;
    std::size_t i = 0;
    for (; n - i >= plenty; i += characters) {
        const Decoded decoded = decode(in + i);
        store32(out + i / 4 * 3, decoded.bytes);
        if (decoded.foreign != 0) return i + wholeGroups(decoded.foreign);
    }
    if (n < characters) return base64_portable::decode(in, n, out);
    for (; n - i >= 4; i += characters) {
        // The last characters may be converted twice: everything before i is known to be valid.
        i = std::min(i, (n - characters) & ~3UL);
        const Decoded decoded = decode(in + i);
        storeExactly(out + i / 4 * 3, decoded.bytes);
        if (decoded.foreign != 0) return i + wholeGroups(decoded.foreign);
    }
    return i;
}

}  // namespace base64_avx2

namespace base64_avx512 {

namespace {

// The sizes that are converted together.
constexpr std::size_t bytes = 48, characters = 64;

QOR_AVX512 inline __mmask64 firstPlaces(std::size_t n) {
    return _bzhi_u64(~std::uint64_t{0}, static_cast<unsigned>(std::min(n, characters)));
}

constexpr std::array<char, 64> places(auto of) {
    std::array<char, 64> result{};
    for (unsigned i = 0; i < result.size(); ++i)
        result[i] = static_cast<char>(of(i));
    return result;
}
alignas(64) constexpr auto spreading = places([](unsigned i) {
    return i / 4 * 3 + (i % 4 == 0 ? 1 : i % 4 == 1 ? 0 : i % 4 == 2 ? 2 : 1);
});
alignas(64) constexpr auto gathering = places([](unsigned i) {
    return i < bytes ? i / 3 * 4 + 2 - i % 3 : 0;
});
alignas(64) constexpr auto alphabet = places([](unsigned i) { return base64Alphabet[i]; });

// The values of ASCII characters; foreign ones have the top bit.
constexpr auto valueFrom(unsigned first) {
    return places([first](unsigned i) {
        const unsigned value = base64Values[first + i];
        return value < base64Alphabet.size() ? value : 0x80;
    });
}
alignas(64) constexpr auto lowValues = valueFrom(0), highValues = valueFrom(64);

QOR_AVX512 inline __m512i encode(__m512i data) {
    const __m512i spread = _mm512_permutexvar_epi8(_mm512_load_si512(spreading.data()), data);
    // The bit of a lane at which the six bits of each character begin.
    const __m512i starts = _mm512_set1_epi64(0x3036242A1016040A);
    return _mm512_permutexvar_epi8(_mm512_multishift_epi64_epi8(starts, spread),
                                   _mm512_load_si512(alphabet.data()));
}

struct Decoded {
    __m512i bytes;
    // A bit for each character that is not in the alphabet.
    std::uint64_t foreign;
};

QOR_AVX512 inline Decoded decode(__m512i text) {
    const __m512i values = _mm512_permutex2var_epi8(_mm512_load_si512(lowValues.data()), text,
                                                    _mm512_load_si512(highValues.data()));
    const __m512i pairs = _mm512_maddubs_epi16(values, _mm512_set1_epi32(joinCharacters));
    const __m512i groups = _mm512_madd_epi16(pairs, _mm512_set1_epi32(joinPairs));
    return {_mm512_permutexvar_epi8(_mm512_load_si512(gathering.data()), groups),
            _mm512_movepi8_mask(_mm512_or_si512(values, text))};
}

}  // namespace

bool runsHere() noexcept {
    return platform::vectorsAllowed() && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
}

QOR_AVX512 void encode(const unsigned char* in, std::size_t n, char* out) noexcept {
    for (; n >= 64; n -= bytes, in += bytes, out += characters)
        _mm512_storeu_si512(out, encode(_mm512_loadu_si512(in)));
    for (;; n -= bytes, in += bytes, out += characters) {
        const __m512i text = encode(_mm512_maskz_loadu_epi8(firstPlaces(n), in));
        _mm512_mask_storeu_epi8(out, firstPlaces((n + 2) / 3 * 4), text);
        if (n <= bytes) break;
    }
}

QOR_AVX512 std::size_t decode(const char* in, std::size_t n, unsigned char* out) noexcept {
    // With this number of characters left, the output has room for a whole register.
    constexpr std::size_t plenty = characters + 24;
    std::size_t i = 0;
    for (; n - i >= plenty; i += characters) {
        const Decoded decoded = decode(_mm512_loadu_si512(in + i));
        _mm512_storeu_si512(out + i / 4 * 3, decoded.bytes);
        if (decoded.foreign != 0) return i + wholeGroups(decoded.foreign);
    }
    for (; n - i >= 4; i += characters) {
        const __mmask64 there = firstPlaces(n - i);
        const Decoded decoded = decode(_mm512_maskz_loadu_epi8(there, in + i));
        // Missing characters are read as zeros, which are foreign.
        const std::size_t size = decoded.foreign == 0 ? characters : wholeGroups(decoded.foreign);
        _mm512_mask_storeu_epi8(out + i / 4 * 3, firstPlaces(size / 4 * 3), decoded.bytes);
        if (size != characters) return i + size;
    }
    return i;
}

}  // namespace base64_avx512

}  // namespace qor::util

#undef QOR_AVX2
#undef QOR_AVX512

#endif
