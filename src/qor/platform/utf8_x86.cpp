#if defined(__x86_64__)

#if defined(__GNUC__) && !defined(__clang__)
// GCC warns about its own header, which leaves unused registers unset.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "platform/processor.h"
#include "platform/utf8_forms.h"

// Neither implementation branches on the length of a character, so text that mixes scripts is as
// fast as any other.
//
// Decoding uses a lane of 32 bits for each character. The bytes are gathered with the lead byte on
// top and shifted down to the low end, the marker bits of UTF-8 are masked off, and two
// multiplications join the remaining bits. Encoding spreads a character over the four bytes of a
// lane, with the last byte on top, and then removes the unused bytes.
//
// Only functions marked with QOR_AVX2 or QOR_AVX512 use the wide registers, so this file can be
// loaded on machines without them.

#define QOR_AVX2 [[gnu::target("avx2,bmi,bmi2,popcnt")]]
#define QOR_AVX512 \
    [[gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")]]

namespace qor::platform {

namespace {

// Bytes that are processed together.
constexpr std::size_t blockSize = 64;
// After malformed text, this many characters are converted one by one before the next try.
constexpr std::size_t carefulStep = 16;

void stepCarefully(Utf8Decoding& at) noexcept {
    at.step(utf8_portable::toWide(at.rest(), at.out, std::min(at.room(), carefulStep)));
}

// The largest continuation byte. As signed values, all bytes that begin a sequence are greater.
constexpr char lastContinuation = static_cast<char>(0xBF);
// The smallest lead bytes of sequences of 2, 3 and 4 bytes.
constexpr char lead2 = static_cast<char>(0xC0), lead3 = static_cast<char>(0xE0),
               lead4 = static_cast<char>(0xF0);

// For sequences of 2, 3 and 4 bytes: payload bits, marker bits, and the smallest character.
constexpr int payload2 = 0x1F3F, payload3 = 0x0F3F3F, payload4 = 0x073F3F3F;
constexpr int marks2 = 0xC080, marks3 = 0xE08080, marks4 = static_cast<int>(0xF0808080);
constexpr int least2 = 0x80, least3 = 0x800, least4 = 0x10000;
// Factors that join payloads of 6 bits: the upper of two bytes times 64, of two words times 4096.
constexpr short joinBytes = 0x4001;
constexpr int joinWords = 0x10000001;

// The marker bits for encoding, with the last byte on top.
constexpr int spread2 = static_cast<int>(0x80C00000), spread3 = static_cast<int>(0x8080E000),
              spread4 = static_cast<int>(0x808080F0);

}  // namespace

namespace utf8_avx2 {

namespace {

// The characters that one step converts.
constexpr std::size_t lanes = 8;
// The bytes that one step reads.
constexpr unsigned windowSize = 16;

QOR_AVX2 inline __m256i load(const void* p) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}

QOR_AVX2 inline void store(void* p, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i*>(p), value);
}

QOR_AVX2 inline bool moveAscii(Utf8Decoding& at) {
    if (at.room() < blockSize) return false;
    if (_mm256_movemask_epi8(_mm256_or_si256(load(at.in), load(at.in + 32))) != 0) return false;
    for (std::size_t i = 0; i < blockSize; i += lanes) {
        store(at.out + i, _mm256_cvtepu8_epi32(_mm_loadu_si64(at.in + i)));
    }
    at.step(blockSize, blockSize);
    return true;
}

// One bit for each of 32 bytes: set if the byte begins a sequence.
QOR_AVX2 inline std::uint64_t leadsOf(const char* p) {
    const __m256i leads = _mm256_cmpgt_epi8(load(p), _mm256_set1_epi8(lastContinuation));
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(leads));
}

// The lowest eight nibbles, each in its own lane.
QOR_AVX2 inline __m256i spreadNibbles(std::uint64_t nibbles) {
    const __m256i all = _mm256_set1_epi32(static_cast<int>(nibbles));
    const __m256i moved = _mm256_srlv_epi32(all, _mm256_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28));
    return _mm256_and_si256(moved, _mm256_set1_epi32(15));
}

// The characters that begin in a window, and one bit for each: set if it is well-formed.
struct Window {
    __m256i characters;
    unsigned wellFormed;
};

QOR_AVX2 inline Window decode(const char* window, std::uint64_t leads) {
    const __m256i fourTimes = _mm256_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12,
                                               0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
    const __m256i payloads = _mm256_setr_epi32(0, 0x7F, payload2, payload3, payload4, 0, 0, 0);
    const __m256i marks = _mm256_setr_epi32(-1, 0, marks2, marks3, marks4, -1, -1, -1);
    const __m256i least = _mm256_setr_epi32(0, 0, least2, least3, least4, 0, 0, 0);

    // The places of the lead bytes, one nibble each. Place 16 becomes 0; the subtraction modulo 16
    // below still gives the right length.
    const std::uint64_t places =
        _pext_u64(0xFEDCBA9876543210U, _pdep_u64(leads, 0x1111111111111111U) * 15);
    const __m256i place = spreadNibbles(places);
    const __m256i length = _mm256_and_si256(_mm256_sub_epi32(spreadNibbles(places >> 4), place),
                                            _mm256_set1_epi32(15));

    const __m256i bytes =
        _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(window)));
    const __m256i gathered = _mm256_shuffle_epi8(
        bytes,
        _mm256_add_epi8(_mm256_shuffle_epi8(place, fourTimes), _mm256_set1_epi32(0x00010203)));
    const __m256i sequence = _mm256_srlv_epi32(
        gathered, _mm256_sub_epi32(_mm256_set1_epi32(32), _mm256_slli_epi32(length, 3)));
    const __m256i payload = _mm256_permutevar8x32_epi32(payloads, length);
    const __m256i joined = _mm256_madd_epi16(
        _mm256_maddubs_epi16(_mm256_and_si256(sequence, payload), _mm256_set1_epi16(joinBytes)),
        _mm256_set1_epi32(joinWords));

    const __m256i marked = _mm256_cmpeq_epi32(_mm256_andnot_si256(payload, sequence),
                                              _mm256_permutevar8x32_epi32(marks, length));
    const __m256i tooLong = _mm256_cmpgt_epi32(length, _mm256_set1_epi32(4));
    const __m256i overlong = _mm256_cmpgt_epi32(_mm256_permutevar8x32_epi32(least, length), joined);
    const __m256i tooGreat = _mm256_cmpgt_epi32(joined, _mm256_set1_epi32(0x10FFFF));
    const __m256i surrogate = _mm256_cmpeq_epi32(
        _mm256_and_si256(joined, _mm256_set1_epi32(0x1FF800)), _mm256_set1_epi32(0xD800));
    const __m256i wrong =
        _mm256_or_si256(_mm256_or_si256(tooLong, overlong), _mm256_or_si256(tooGreat, surrogate));
    const __m256i right = _mm256_andnot_si256(wrong, marked);
    return {joined, static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(right)))};
}

// Converts windows until the rest of the block or of the room is too small. Returns false at a
// window with malformed text.
QOR_AVX2 inline bool convertBlock(Utf8Decoding& at) {
    const std::uint64_t leads = leadsOf(at.in) | leadsOf(at.in + 32) << 32;
    const char* const block = at.in;
    unsigned offset = 0;
    // The byte after the window must be in the block too.
    while (offset < blockSize - windowSize && at.room() >= lanes) {
        const std::uint64_t ahead = leads >> offset;
        const Window window = decode(block + offset, ahead);
        // A character ends where the next character begins. The last begin that counts is the byte
        // after the window.
        const std::uint64_t begins = ahead & ((2U << windowSize) - 1);
        const std::uint64_t ninth = _pdep_u64(1U << lanes, begins);
        const auto size = ninth != 0 ? static_cast<unsigned>(_tzcnt_u64(ninth))
                                     : static_cast<unsigned>(std::bit_width(begins)) - 1;
        const unsigned count =
            ninth != 0 ? lanes : static_cast<unsigned>(_mm_popcnt_u64(begins)) - 1;
        if ((begins & 1) == 0 || size == 0) return false;
        if ((~window.wellFormed & ((1U << count) - 1)) != 0) return false;
        store(at.out, window.characters);
        at.step(size, count);
        offset += size;
    }
    return true;
}

}  // namespace

bool runsHere() noexcept {
    // On Zen 1 and 2, pdep and pext are microcode, so this code is slower than the portable code.
    return vectorsAllowed() && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt") &&
           !__builtin_cpu_is("znver1") && !__builtin_cpu_is("znver2");
}

QOR_AVX2 Utf8Progress toWide(std::string_view text, wchar_t* out, std::size_t room) noexcept {
    Utf8Decoding at(text, out, room);
    while (at.left() >= blockSize && at.room() >= lanes) {
        if (moveAscii(at)) continue;
        if (!convertBlock(at)) stepCarefully(at);
    }
    at.step(utf8_portable::toWide(at.rest(), at.out, at.room()));
    return at.progress();
}

namespace {

QOR_AVX2 inline bool moveAscii(Utf8Encoding& at) {
    constexpr std::size_t count = 4 * lanes;
    if (at.left() < count || at.room() < count) return false;
    const __m256i a = load(at.in), b = load(at.in + lanes);
    const __m256i c = load(at.in + 2 * lanes), d = load(at.in + 3 * lanes);
    const __m256i all = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
    if (!_mm256_testz_si256(all, _mm256_set1_epi32(~0x7F))) return false;
    // The pack instructions work on each half of a register separately; the permutation restores
    // the order.
    const __m256i packed =
        _mm256_packus_epi16(_mm256_packus_epi32(a, b), _mm256_packus_epi32(c, d));
    store(at.out, _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    at.step(count, count);
    return true;
}

// Needs room for the bytes of all lanes and 4 more.
QOR_AVX2 inline void convertLanes(Utf8Encoding& at) {
    const __m256i given = load(at.in);
    const __m256i tooGreat =
        _mm256_cmpeq_epi32(_mm256_max_epu32(given, _mm256_set1_epi32(0x110000)), given);
    const __m256i surrogate =
        _mm256_cmpeq_epi32(_mm256_and_si256(given, _mm256_set1_epi32(static_cast<int>(0xFFFFF800))),
                           _mm256_set1_epi32(0xD800));
    const __m256i c = _mm256_blendv_epi8(given, _mm256_set1_epi32(replacementCharacter),
                                         _mm256_or_si256(tooGreat, surrogate));

    // -1 for each byte after the first.
    const __m256i notAscii = _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7F));
    const __m256i more = _mm256_add_epi32(
        notAscii, _mm256_add_epi32(_mm256_cmpgt_epi32(c, _mm256_set1_epi32(0x7FF)),
                                   _mm256_cmpgt_epi32(c, _mm256_set1_epi32(0xFFFF))));
    const __m256i marks = _mm256_permutevar8x32_epi32(
        _mm256_setr_epi32(0, 0, 0, 0, 0, spread4, spread3, spread2), more);
    const __m256i used = _mm256_permutevar8x32_epi32(
        _mm256_setr_epi32(static_cast<int>(0xFF000000), 0, 0, 0, 0, -1,
                          static_cast<int>(0xFFFFFF00), static_cast<int>(0xFFFF0000)),
        more);

    const __m256i top = _mm256_slli_epi32(c, 24);
    const __m256i upper =
        _mm256_or_si256(_mm256_and_si256(top, _mm256_set1_epi32(0x3F000000)),
                        _mm256_and_si256(_mm256_slli_epi32(c, 10), _mm256_set1_epi32(0x3F0000)));
    const __m256i lower =
        _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(c, 4), _mm256_set1_epi32(0x3F00)),
                        _mm256_srli_epi32(c, 18));
    const __m256i spread =
        _mm256_blendv_epi8(top, _mm256_or_si256(_mm256_or_si256(upper, lower), marks), notAscii);

    alignas(32) std::uint64_t pairs[4], masks[4];
    store(pairs, spread);
    store(masks, used);
    for (unsigned i = 0; i < 4; ++i) {
        const std::uint64_t bytes = _pext_u64(pairs[i], masks[i]);
        _mm_storeu_si64(at.out, _mm_cvtsi64_si128(static_cast<long long>(bytes)));
        at.step(2, static_cast<std::size_t>(_mm_popcnt_u64(masks[i])) / 8);
    }
}

}  // namespace

QOR_AVX2 Utf8Progress toUtf8(std::wstring_view text, char* out, std::size_t room) noexcept {
    Utf8Encoding at(text, out, room);
    while (at.left() >= lanes && at.room() >= 4 * lanes + 4) {
        if (!moveAscii(at)) convertLanes(at);
    }
    at.step(utf8_portable::toUtf8(at.rest(), at.out, at.room()));
    return at.progress();
}

}  // namespace utf8_avx2

namespace utf8_avx512 {

namespace {

// The characters in one register.
constexpr std::size_t lanes = 16;

// The numbers 0 to 63, each repeated `times` times.
constexpr auto places(unsigned times) {
    std::array<char, blockSize> numbers{};
    for (unsigned i = 0; i < blockSize; ++i)
        numbers[i] = static_cast<char>(i / times);
    return numbers;
}
alignas(blockSize) constexpr auto everyPlace = places(1);
alignas(blockSize) constexpr auto fourOfEach = places(4);

QOR_AVX512 inline std::uint64_t firstBytes(std::size_t n) {
    return _bzhi_u64(~std::uint64_t{0}, static_cast<unsigned>(std::min(n, blockSize)));
}

QOR_AVX512 inline __mmask16 firstLanes(std::size_t n) {
    return static_cast<__mmask16>(_bzhi_u32(0xFFFF, static_cast<unsigned>(std::min(n, lanes))));
}

// Bytes after the text read as zeros.
QOR_AVX512 inline __m512i loadBytes(const char* p, std::size_t left) {
    if (left >= blockSize) return _mm512_loadu_si512(p);
    return _mm512_maskz_loadu_epi8(firstBytes(left), p);
}

// One bit for each byte: set if the byte begins a sequence.
QOR_AVX512 inline std::uint64_t leadsOf(__m512i block) {
    return _mm512_cmpgt_epi8_mask(block, _mm512_set1_epi8(lastContinuation));
}

QOR_AVX512 inline std::uint64_t atLeast(char byte, __m512i block) {
    return _mm512_cmpge_epu8_mask(block, _mm512_set1_epi8(byte));
}

struct Lanes {
    __m512i characters;
    __mmask16 wrong;
};

// Decodes the characters that begin at 16 places; each place is given four times. The caller has
// checked the marker bits of the continuation bytes, but not that the lead bytes are valid.
QOR_AVX512 inline Lanes decode(__m512i block, __m512i nextBlock, __m512i placesOfLeads) {
    // Indexed by the upper half of the lead byte. The payload of 4 bytes has one extra bit, so that
    // invalid lead bytes give values that are too great.
    const __m512i shifts =
        _mm512_setr_epi32(24, 24, 24, 24, 24, 24, 24, 24, 0, 0, 0, 0, 16, 16, 8, 0);
    const __m512i payloads =
        _mm512_setr_epi32(0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0, 0, 0, 0, payload2,
                          payload2, payload3, payload4 | 0x08000000);
    const __m512i least =
        _mm512_setr_epi32(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, least2, least2, least3, least4);

    const __m512i bytesOfEach = _mm512_add_epi8(placesOfLeads, _mm512_set1_epi32(0x00010203));
    const __m512i gathered = _mm512_permutex2var_epi8(block, bytesOfEach, nextBlock);
    const __m512i kind = _mm512_srli_epi32(gathered, 28);
    const __m512i sequence = _mm512_srlv_epi32(gathered, _mm512_permutexvar_epi32(kind, shifts));
    const __m512i payload = _mm512_and_si512(sequence, _mm512_permutexvar_epi32(kind, payloads));
    const __m512i joined = _mm512_madd_epi16(
        _mm512_maddubs_epi16(payload, _mm512_set1_epi16(joinBytes)), _mm512_set1_epi32(joinWords));

    const __mmask16 tooSmall =
        _mm512_cmplt_epi32_mask(joined, _mm512_permutexvar_epi32(kind, least));
    const __mmask16 tooGreat = _mm512_cmpgt_epi32_mask(joined, _mm512_set1_epi32(0x10FFFF));
    const __mmask16 surrogate = _mm512_cmplt_epu32_mask(
        _mm512_sub_epi32(joined, _mm512_set1_epi32(0xD800)), _mm512_set1_epi32(0x800));
    return {joined, static_cast<__mmask16>(tooSmall | tooGreat | surrogate)};
}

// Writes the `count` characters that begin at `leads`. Returns false if any is malformed.
QOR_AVX512 inline bool writeCharacters(__m512i block, __m512i nextBlock, std::uint64_t leads,
                                       std::size_t count, wchar_t* out) {
    const __m512i placesOfLeads =
        _mm512_maskz_compress_epi8(leads, _mm512_load_si512(everyPlace.data()));
    __m512i chosen = _mm512_load_si512(fourOfEach.data());
    unsigned wrong = 0;
    for (std::size_t i = 0; i < count; i += lanes) {
        const Lanes decoded =
            decode(block, nextBlock, _mm512_permutexvar_epi8(chosen, placesOfLeads));
        const __mmask16 live = firstLanes(count - i);
        wrong |= static_cast<unsigned>(live & decoded.wrong);
        _mm512_mask_storeu_epi32(out + i, live, decoded.characters);
        chosen = _mm512_add_epi8(chosen, _mm512_set1_epi8(lanes));
    }
    return wrong == 0;
}

QOR_AVX512 inline void writeAscii(const char* in, wchar_t* out) {
    for (std::size_t i = 0; i < blockSize; i += lanes) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        _mm512_storeu_si512(out + i, _mm512_cvtepu8_epi32(bytes));
    }
}

// Converts blocks while the text is well-formed and there is room. A character belongs to the block
// in which it begins, and the next block always starts 64 bytes later: so no block has to wait for
// the result of the previous block.
QOR_AVX512 inline void convertBlocks(Utf8Decoding& at) {
    __m512i block = loadBytes(at.in, at.left());
    std::uint64_t leads = leadsOf(block);
    // One bit for each byte at the front of the block that belongs to a character of the block
    // before.
    std::uint64_t carried = 0;
    const char* in = at.in;
    for (std::size_t left = at.left(); left != 0;) {
        const std::size_t size = std::min(left, blockSize);
        const __m512i nextBlock = loadBytes(in + size, left - size);
        const std::uint64_t nextLeads = leadsOf(nextBlock);
        std::size_t count = blockSize;
        std::uint64_t carry = 0;
        if (_mm512_movepi8_mask(block) == 0 && size == blockSize && at.room() >= blockSize) {
            writeAscii(in, at.out);
        } else {
            const std::uint64_t of2 = atLeast(lead2, block);
            const std::uint64_t of3 = atLeast(lead3, block);
            const std::uint64_t of4 = atLeast(lead4, block);
            carry = of2 >> 63 | of3 >> 62 | of4 >> 61;
            if ((carried | of2 << 1 | of3 << 2 | of4 << 3) != ~leads) break;
            if ((carry & nextLeads) != 0) break;
            const std::uint64_t begins = leads & firstBytes(size);
            count = static_cast<std::size_t>(_mm_popcnt_u64(begins));
            if (count > at.room()) break;
            if (!writeCharacters(block, nextBlock, begins, count, at.out)) break;
        }
        in += size;
        left -= size;
        at.out += count;
        block = nextBlock;
        leads = nextLeads;
        carried = carry;
    }
    at.in = in + _mm_popcnt_u64(carried);
}

}  // namespace

bool runsHere() noexcept {
    return vectorsAllowed() && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
           __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

QOR_AVX512 Utf8Progress toWide(std::string_view text, wchar_t* out, std::size_t room) noexcept {
    Utf8Decoding at(text, out, room);
    for (;;) {
        convertBlocks(at);
        if (at.left() == 0 || at.room() == 0) return at.progress();
        stepCarefully(at);
    }
}

namespace {

// The UTF-8 bytes of each character in its lane; unused bytes are zero.
QOR_AVX512 inline __m512i spread(__m512i given) {
    const __mmask16 tooGreat = _mm512_cmpge_epu32_mask(given, _mm512_set1_epi32(0x110000));
    const __mmask16 surrogate = _mm512_cmplt_epu32_mask(
        _mm512_sub_epi32(given, _mm512_set1_epi32(0xD800)), _mm512_set1_epi32(0x800));
    const __m512i c = _mm512_mask_mov_epi32(given, static_cast<__mmask16>(tooGreat | surrogate),
                                            _mm512_set1_epi32(replacementCharacter));
    const __mmask16 above1 = _mm512_cmpgt_epi32_mask(c, _mm512_set1_epi32(0x7F));
    const __mmask16 above2 = _mm512_cmpgt_epi32_mask(c, _mm512_set1_epi32(0x7FF));
    const __mmask16 above3 = _mm512_cmpgt_epi32_mask(c, _mm512_set1_epi32(0xFFFF));
    __m512i marks = _mm512_set1_epi32(spread2);
    marks = _mm512_mask_mov_epi32(marks, above2, _mm512_set1_epi32(spread3));
    marks = _mm512_mask_mov_epi32(marks, above3, _mm512_set1_epi32(spread4));
    // For both characters of each 64 bits: the 8 bits that start at bit 18, 12, 6 and 0.
    const __m512i parts = _mm512_multishift_epi64_epi8(_mm512_set1_epi64(0x20262C3200060C12), c);
    const __m512i marked = _mm512_or_si512(_mm512_and_si512(parts, _mm512_set1_epi8(0x3F)), marks);
    return _mm512_mask_mov_epi32(_mm512_slli_epi32(c, 24), above1, marked);
}

// One bit for each used byte. The last byte of a character is always used, even if it is zero.
QOR_AVX512 inline std::uint64_t usedBytes(__m512i spreadBytes) {
    return _mm512_test_epi8_mask(
        _mm512_or_si512(spreadBytes, _mm512_set1_epi32(static_cast<int>(0xFF000000))),
        _mm512_set1_epi8(-1));
}

// Converts four registers. The room must have 4 bytes for each character.
QOR_AVX512 inline void convertPlenty(Utf8Encoding& at) {
    for (std::size_t i = 0; i < 4; ++i) {
        const __m512i bytes = spread(_mm512_loadu_si512(at.in));
        const std::uint64_t used = usedBytes(bytes);
        _mm512_storeu_si512(at.out, _mm512_maskz_compress_epi8(used, bytes));
        at.step(lanes, static_cast<std::size_t>(_mm_popcnt_u64(used)));
    }
}

// Converts the characters of one register, or all that are left. Returns false if the room ends
// first.
QOR_AVX512 inline bool convertRest(Utf8Encoding& at) {
    std::size_t read = std::min(at.left(), lanes);
    const __m512i bytes = spread(_mm512_maskz_loadu_epi32(firstLanes(read), at.in));
    std::uint64_t used = usedBytes(bytes) & firstBytes(4 * read);
    const bool fits = static_cast<std::size_t>(_mm_popcnt_u64(used)) <= at.room();
    if (!fits) {
        // The first byte that does not fit belongs to the first character that does not fit.
        read = _tzcnt_u64(_pdep_u64(std::uint64_t{1} << at.room(), used)) / 4;
        used &= firstBytes(4 * read);
    }
    const auto written = static_cast<std::size_t>(_mm_popcnt_u64(used));
    _mm512_mask_storeu_epi8(at.out, firstBytes(written), _mm512_maskz_compress_epi8(used, bytes));
    at.step(read, written);
    return fits;
}

QOR_AVX512 inline bool moveAscii(Utf8Encoding& at) {
    __m512i all = _mm512_setzero_si512();
    for (std::size_t i = 0; i < 4 * lanes; i += lanes)
        all = _mm512_or_si512(all, _mm512_loadu_si512(at.in + i));
    if (_mm512_test_epi32_mask(all, _mm512_set1_epi32(~0x7F)) != 0) return false;
    for (std::size_t i = 0; i < 4 * lanes; i += lanes) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at.out + i),
                         _mm512_cvtepi32_epi8(_mm512_loadu_si512(at.in + i)));
    }
    at.step(4 * lanes, 4 * lanes);
    return true;
}

}  // namespace

QOR_AVX512 Utf8Progress toUtf8(std::wstring_view text, char* out, std::size_t room) noexcept {
    Utf8Encoding at(text, out, room);
    while (at.left() >= 4 * lanes && at.room() >= 4 * 4 * lanes) {
        if (!moveAscii(at)) convertPlenty(at);
    }
    while (at.left() != 0 && convertRest(at)) {
    }
    return at.progress();
}

}  // namespace utf8_avx512

}  // namespace qor::platform

#undef QOR_AVX2
#undef QOR_AVX512

#endif
