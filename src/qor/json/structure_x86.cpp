#if defined(__x86_64__)

#if defined(__GNUC__) && !defined(__clang__)
// GCC warns about its own header, which leaves unused registers unset.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <bit>

#include "json/structure_index.h"

#include "platform/processor.h"

namespace qor::json {

#define QOR_TARGET_AVX2 gnu::target("avx2,bmi,pclmul")
#define QOR_TARGET_AVX512 gnu::target("avx512bw,avx512vl,avx512vbmi2,bmi,pclmul")

namespace structure_avx2 {

namespace {

[[QOR_TARGET_AVX2, gnu::always_inline]] inline ByteMask prefixXor(ByteMask bits) noexcept {
    const __m128i product =
        _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<long long>(bits)), _mm_set1_epi8(-1), 0);
    return static_cast<ByteMask>(_mm_cvtsi128_si64(product));
}

[[QOR_TARGET_AVX2, gnu::always_inline]] inline ByteMask bitsOf(__m256i low, __m256i high) noexcept {
    const auto lower = static_cast<std::uint32_t>(_mm256_movemask_epi8(low));
    const auto upper = static_cast<std::uint32_t>(_mm256_movemask_epi8(high));
    return lower | ByteMask(upper) << 32;
}

[[QOR_TARGET_AVX2, gnu::always_inline]] inline __m256i isByte(__m256i bytes, char c) noexcept {
    return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(c));
}
// Brackets and braces differ only in the bit 0x20.
[[QOR_TARGET_AVX2, gnu::always_inline]] inline __m256i isStructural(__m256i bytes) noexcept {
    const __m256i brace = _mm256_or_si256(bytes, _mm256_set1_epi8(0x20));
    return _mm256_or_si256(_mm256_or_si256(isByte(brace, '{'), isByte(brace, '}')),
                           _mm256_or_si256(isByte(bytes, ':'), isByte(bytes, ',')));
}
[[QOR_TARGET_AVX2, gnu::always_inline]] inline __m256i isBlank(__m256i bytes) noexcept {
    const __m256i control = _mm256_sub_epi8(bytes, _mm256_set1_epi8('\t'));
    const __m256i isControl =
        _mm256_cmpeq_epi8(_mm256_min_epu8(control, _mm256_set1_epi8('\r' - '\t')), control);
    return _mm256_or_si256(isByte(bytes, ' '), isControl);
}

}  // namespace

bool runsHere() noexcept {
    return platform::vectorsAllowed() && __builtin_cpu_supports("avx2") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("pclmul");
}

[[QOR_TARGET_AVX2]] ulong32* find(StructureState& state, const char* text, std::size_t blocks,
                                  ulong32 first, ulong32* out, char* copy) noexcept {
    for (; blocks != 0 && !state.ended(); --blocks, text += 64, first += 64) {
        const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
        const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32));
        if (copy != nullptr) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(copy), low);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(copy + 32), high);
            copy += 64;
        }
        const ByteMasks masks = {bitsOf(isByte(low, '\\'), isByte(high, '\\')),
                                 bitsOf(isByte(low, '"'), isByte(high, '"')),
                                 bitsOf(isStructural(low), isStructural(high)),
                                 bitsOf(isBlank(low), isBlank(high)), bitsOf(low, high)};
        const ByteMask quotes = state.quotes(masks);
        ByteMask found = state.positions(text, masks, quotes, prefixXor(quotes));
        ulong32* const end = out + std::popcount(found);
        // Writes eight at a time, so that branches are predictable; entries after the end are
        // overwritten later.
        while (out < end) {
            for (unsigned i = 0; i < 8; ++i) {
                out[i] = first + static_cast<ulong32>(_tzcnt_u64(found));
                found = _blsr_u64(found);
            }
            out += 8;
        }
        out = end;
    }
    return out;
}

}  // namespace structure_avx2

namespace structure_avx512 {

bool runsHere() noexcept {
    return platform::vectorsAllowed() && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi2") &&
           __builtin_cpu_supports("bmi") && __builtin_cpu_supports("pclmul");
}

[[QOR_TARGET_AVX512]] ulong32* find(StructureState& state, const char* text, std::size_t blocks,
                                    ulong32 first, ulong32* out, char* copy) noexcept {
    const __m512i counting = _mm512_set_epi8(
        63, 62, 61, 60, 59, 58, 57, 56, 55, 54, 53, 52, 51, 50, 49, 48, 47, 46, 45, 44, 43, 42, 41,
        40, 39, 38, 37, 36, 35, 34, 33, 32, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18,
        17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    for (; blocks != 0 && !state.ended(); --blocks, text += 64, first += 64) {
        const __m512i bytes = _mm512_loadu_si512(text);
        if (copy != nullptr) {
            _mm512_storeu_si512(copy, bytes);
            copy += 64;
        }
        const __m512i brace = _mm512_or_si512(bytes, _mm512_set1_epi8(0x20));
        const __m512i control = _mm512_sub_epi8(bytes, _mm512_set1_epi8('\t'));
        const ByteMasks masks = {_mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8('\\')),
                                 _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8('"')),
                                 _mm512_cmpeq_epi8_mask(brace, _mm512_set1_epi8('{')) |
                                     _mm512_cmpeq_epi8_mask(brace, _mm512_set1_epi8('}')) |
                                     _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(':')) |
                                     _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(',')),
                                 _mm512_cmpeq_epi8_mask(bytes, _mm512_set1_epi8(' ')) |
                                     _mm512_cmple_epu8_mask(control, _mm512_set1_epi8('\r' - '\t')),
                                 _mm512_movepi8_mask(bytes)};
        const ByteMask quotes = state.quotes(masks);
        const __m128i product = _mm_clmulepi64_si128(
            _mm_set_epi64x(0, static_cast<long long>(quotes)), _mm_set1_epi8(-1), 0);
        const ByteMask found =
            state.positions(text, masks, quotes, static_cast<ByteMask>(_mm_cvtsi128_si64(product)));
        ulong32* const end = out + std::popcount(found);
        __m512i offsets = _mm512_maskz_compress_epi8(found, counting);
        const __m512i base = _mm512_set1_epi32(static_cast<int>(first));
        // At least once: an unpredictable test for empty blocks would cost more.
        do {
            const __m512i wide = _mm512_cvtepu8_epi32(_mm512_castsi512_si128(offsets));
            _mm512_storeu_si512(out, _mm512_add_epi32(wide, base));
            offsets = _mm512_alignr_epi64(offsets, offsets, 2);
            out += 16;
        } while (out < end);
        out = end;
    }
    return out;
}

}  // namespace structure_avx512

}  // namespace qor::json

#endif  // __x86_64__
