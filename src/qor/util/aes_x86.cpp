#if defined(__x86_64__)

#if defined(__GNUC__) && !defined(__clang__)
// GCC warns about its own header, which leaves unused registers unset.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <cpuid.h>
#include <immintrin.h>

#include "platform/processor.h"
#include "util/aes_forms.h"

// Only functions that are marked for these instructions use them, so that a machine without them
// can load this file.

#define QOR_AES [[gnu::target("aes")]]
#define QOR_VAES [[gnu::target("aes,vaes,avx512f,avx512bw,bmi2")]]

namespace qor::util {

namespace aes_ni {

namespace {

QOR_AES inline __m128i load(const unsigned char* block) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(block));
}

QOR_AES inline void store(unsigned char* block, __m128i value) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(block), value);
}

// The number of rounds is a constant, so that the compiler unrolls them and keeps the keys in
// registers.
template <unsigned rounds>
struct Keys {
    QOR_AES explicit Keys(const AesRoundKeys& keys) {
        for (unsigned i = 0; i <= rounds; ++i)
            of[i] = load(keys.bytes + i * aesBlockSize);
    }
    __m128i of[rounds + 1];
};

// In CBC each block needs the result of the previous one. The last step of a block adds the last
// key; here, a second such step adds the XOR of the last key, the next block of content and the
// first key, which is computed before. So it gives the start state of the next block at once.
template <unsigned rounds>
QOR_AES void encryptBlocks(const AesRoundKeys& schedule, const unsigned char* iv,
                           const unsigned char* in, std::size_t blocks, unsigned char* out) {
    const Keys<rounds> keys(schedule);
    const __m128i between = _mm_xor_si128(keys.of[0], keys.of[rounds]);
    __m128i state = _mm_xor_si128(_mm_xor_si128(load(in), load(iv)), keys.of[0]);
    for (;; in += aesBlockSize, out += aesBlockSize) {
        for (unsigned i = 1; i < rounds; ++i)
            state = _mm_aesenc_si128(state, keys.of[i]);
        store(out, _mm_aesenclast_si128(state, keys.of[rounds]));
        if (--blocks == 0) return;
        const __m128i next = _mm_xor_si128(load(in + aesBlockSize), between);
        state = _mm_aesenclast_si128(state, next);
    }
}

// `previous`: the blocks that are added to the result.
template <unsigned together, unsigned rounds>
QOR_AES inline void decryptTogether(const Keys<rounds>& keys, const unsigned char* previous,
                                    const unsigned char* in, unsigned char* out) {
    __m128i states[together];
    for (unsigned k = 0; k < together; ++k)
        states[k] = _mm_xor_si128(load(in + k * aesBlockSize), keys.of[0]);
    for (unsigned i = 1; i < rounds; ++i) {
        for (__m128i& state : states)
            state = _mm_aesdec_si128(state, keys.of[i]);
    }
    for (unsigned k = 0; k < together; ++k) {
        const __m128i added = _mm_xor_si128(load(previous + k * aesBlockSize), keys.of[rounds]);
        store(out + k * aesBlockSize, _mm_aesdeclast_si128(states[k], added));
    }
}

template <unsigned rounds>
QOR_AES void decryptBlocks(const AesRoundKeys& schedule, const unsigned char* iv,
                           const unsigned char* in, std::size_t blocks, unsigned char* out) {
    constexpr unsigned together = 8;
    const Keys<rounds> keys(schedule);
    decryptTogether<1>(keys, iv, in, out);
    std::size_t i = 1;
    for (; blocks - i >= together; i += together) {
        const unsigned char* at = in + i * aesBlockSize;
        decryptTogether<together>(keys, at - aesBlockSize, at, out + i * aesBlockSize);
    }
    for (; i < blocks; ++i) {
        const unsigned char* at = in + i * aesBlockSize;
        decryptTogether<1>(keys, at - aesBlockSize, at, out + i * aesBlockSize);
    }
}

}  // namespace

bool runsHere() noexcept {
    return platform::vectorsAllowed() && __builtin_cpu_supports("aes");
}

void encrypt(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
             std::size_t blocks, unsigned char* out) noexcept {
    keys.rounds == 10 ? encryptBlocks<10>(keys, iv, in, blocks, out)
                      : encryptBlocks<14>(keys, iv, in, blocks, out);
}

void decrypt(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
             std::size_t blocks, unsigned char* out) noexcept {
    keys.rounds == 10 ? decryptBlocks<10>(keys, iv, in, blocks, out)
                      : decryptBlocks<14>(keys, iv, in, blocks, out);
}

}  // namespace aes_ni

namespace aes_vector {

namespace {

// The number of blocks in a register.
constexpr std::size_t lanes = 4;

template <unsigned rounds>
struct Keys {
    QOR_VAES explicit Keys(const AesRoundKeys& keys) {
        for (unsigned i = 0; i <= rounds; ++i) {
            const auto* key = reinterpret_cast<const __m128i*>(keys.bytes + i * aesBlockSize);
            of[i] = _mm512_broadcast_i32x4(_mm_load_si128(key));
        }
    }
    __m512i of[rounds + 1];
};

template <unsigned registers, unsigned rounds>
QOR_VAES inline void decryptTogether(const Keys<rounds>& keys, const unsigned char* in,
                                     unsigned char* out) {
    constexpr std::size_t size = lanes * aesBlockSize;
    __m512i states[registers];
    for (unsigned k = 0; k < registers; ++k)
        states[k] = _mm512_xor_si512(_mm512_loadu_si512(in + k * size), keys.of[0]);
    for (unsigned i = 1; i < rounds; ++i) {
        for (__m512i& state : states)
            state = _mm512_aesdec_epi128(state, keys.of[i]);
    }
    for (unsigned k = 0; k < registers; ++k) {
        const __m512i previous = _mm512_loadu_si512(in + k * size - aesBlockSize);
        const __m512i added = _mm512_xor_si512(previous, keys.of[rounds]);
        _mm512_storeu_si512(out + k * size, _mm512_aesdeclast_epi128(states[k], added));
    }
}

// Decrypts blocks, each of which has another block before it in memory.
template <unsigned rounds>
QOR_VAES void decryptBlocks(const AesRoundKeys& schedule, const unsigned char* in,
                            std::size_t blocks, unsigned char* out) {
    constexpr unsigned registers = 8;
    const Keys<rounds> keys(schedule);
    std::size_t i = 0;
    for (; blocks - i >= registers * lanes; i += registers * lanes)
        decryptTogether<registers>(keys, in + i * aesBlockSize, out + i * aesBlockSize);
    for (; blocks - i >= lanes; i += lanes)
        decryptTogether<1>(keys, in + i * aesBlockSize, out + i * aesBlockSize);
    if (i == blocks) return;
    // Some of the last blocks may be decrypted twice: the caller ensures that there are enough.
    i = blocks - lanes;
    decryptTogether<1>(keys, in + i * aesBlockSize, out + i * aesBlockSize);
}

}  // namespace

bool runsHere() noexcept {
    if (!aes_ni::runsHere() || !__builtin_cpu_supports("avx512bw") ||
        !__builtin_cpu_supports("bmi2"))
        return false;
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (c & bit_VAES) != 0;
}

void decrypt(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
             std::size_t blocks, unsigned char* out) noexcept {
    // The first block follows the initialisation vector, and a few blocks do not fill a register.
    const std::size_t first = blocks > lanes ? 1 : blocks;
    aes_ni::decrypt(keys, iv, in, first, out);
    if (first == blocks) return;
    in += aesBlockSize;
    out += aesBlockSize;
    keys.rounds == 10 ? decryptBlocks<10>(keys, in, blocks - 1, out)
                      : decryptBlocks<14>(keys, in, blocks - 1, out);
}

}  // namespace aes_vector

}  // namespace qor::util

#undef QOR_AES
#undef QOR_VAES

#endif
