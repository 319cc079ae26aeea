#include "util/aes_forms.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "platform/forms.h"

namespace qor::util {

namespace aes_portable {

namespace {

// The bytes of up to four blocks, bit-sliced: plane i has bit i of each byte. All bytes are
// computed together, without table look-ups by secret values. In each plane, byte (row, column) of
// a block has place 16 * row + 4 * column + block.
using Plane = std::uint64_t;
using Planes = std::array<Plane, 8>;
constexpr std::size_t together = 4;

struct PlanesOfKeys {
    std::array<Planes, aesMostRounds + 1> keys;
};

template <unsigned distance>
void swapBits(Planes& words, Plane mask) noexcept {
    for (unsigned i = 0; i < 8; ++i) {
        if ((i & distance) != 0) continue;
        const Plane differ = (words[i] >> distance ^ words[i + distance]) & mask;
        words[i + distance] ^= differ;
        words[i] ^= differ << distance;
    }
}

// Exchanges bit i of the bytes of word k with bit k of the bytes of word i.
void transpose(Planes& words) noexcept {
    swapBits<1>(words, 0x5555555555555555);
    swapBits<2>(words, 0x3333333333333333);
    swapBits<4>(words, 0x0F0F0F0F0F0F0F0F);
}

// Four bytes, with a zero byte after each.
Plane spread(const unsigned char* bytes) noexcept {
    Plane x = 0;
    for (unsigned i = 0; i < 4; ++i)
        x |= Plane{bytes[i]} << 16 * i;
    return x;
}

void gather(Plane x, unsigned char* bytes) noexcept {
    for (unsigned i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(x >> 16 * i);
}

// A word has two columns of a block: 0 and 2, or 1 and 3.
void addBlock(Planes& words, std::size_t block, const unsigned char* in) noexcept {
    words[block] ^= spread(in) | spread(in + 8) << 8;
    words[4 + block] ^= spread(in + 4) | spread(in + 12) << 8;
}

void takeBlock(const Planes& words, std::size_t block, unsigned char* out) noexcept {
    gather(words[block], out);
    gather(words[block] >> 8, out + 8);
    gather(words[4 + block], out + 4);
    gather(words[4 + block] >> 8, out + 12);
}

void addKey(Planes& state, const Planes& key) noexcept {
    for (unsigned i = 0; i < 8; ++i)
        state[i] ^= key[i];
}

// The S-box as the circuit of 113 gates by Boyar and Peralta.
void substitute(Planes& s) noexcept {
    const Plane x0 = s[7], x1 = s[6], x2 = s[5], x3 = s[4], x4 = s[3], x5 = s[2], x6 = s[1],
                x7 = s[0];

    const Plane y14 = x3 ^ x5, y13 = x0 ^ x6, y9 = x0 ^ x3, y8 = x0 ^ x5, t0 = x1 ^ x2,
                y1 = t0 ^ x7, y4 = y1 ^ x3, y12 = y13 ^ y14, y2 = y1 ^ x0, y5 = y1 ^ x6,
                y3 = y5 ^ y8, t1 = x4 ^ y12, y15 = t1 ^ x5, y20 = t1 ^ x1, y6 = y15 ^ x7,
                y10 = y15 ^ t0, y11 = y20 ^ y9, y7 = x7 ^ y11, y17 = y10 ^ y11, y19 = y10 ^ y8,
                y16 = t0 ^ y11, y21 = y13 ^ y16, y18 = x0 ^ y16;

    const Plane t2 = y12 & y15, t4 = (y3 & y6) ^ t2, t6 = (y4 & x7) ^ t2, t7 = y13 & y16,
                t9 = (y5 & y1) ^ t7, t11 = (y2 & y7) ^ t7, t12 = y9 & y11, t14 = (y14 & y17) ^ t12,
                t16 = (y8 & y10) ^ t12, t21 = t4 ^ t14 ^ y20, t22 = t6 ^ t16 ^ y19,
                t23 = t9 ^ t14 ^ y21, t24 = t11 ^ t16 ^ y18;

    const Plane t25 = t21 ^ t22, t26 = t21 & t23, t27 = t24 ^ t26, t29 = (t25 & t27) ^ t22,
                t30 = t23 ^ t24, t31 = t22 ^ t26, t33 = (t31 & t30) ^ t24, t34 = t23 ^ t33,
                t35 = t27 ^ t33, t36 = t24 & t35, t37 = t36 ^ t34, t38 = t27 ^ t36,
                t40 = t25 ^ (t29 & t38), t41 = t40 ^ t37, t42 = t29 ^ t33, t43 = t29 ^ t40,
                t44 = t33 ^ t37, t45 = t42 ^ t41;

    const Plane z0 = t44 & y15, z1 = t37 & y6, z2 = t33 & x7, z3 = t43 & y16, z4 = t40 & y1,
                z5 = t29 & y7, z6 = t42 & y11, z7 = t45 & y17, z8 = t41 & y10, z9 = t44 & y12,
                z10 = t37 & y3, z11 = t33 & y4, z12 = t43 & y13, z13 = t40 & y5, z14 = t29 & y2,
                z15 = t42 & y9, z16 = t45 & y14, z17 = t41 & y8;

    const Plane t46 = z15 ^ z16, t47 = z10 ^ z11, t48 = z5 ^ z13, t49 = z9 ^ z10, t50 = z2 ^ z12,
                t51 = z2 ^ z5, t52 = z7 ^ z8, t53 = z0 ^ z3, t54 = z6 ^ z7, t55 = z16 ^ z17,
                t56 = z12 ^ t48, t57 = t50 ^ t53, t58 = z4 ^ t46, t59 = z3 ^ t54, t60 = t46 ^ t57,
                t61 = z14 ^ t57, t62 = t52 ^ t58, t63 = t49 ^ t58, t64 = z4 ^ t59, t65 = t61 ^ t62,
                t66 = z1 ^ t63, t67 = t64 ^ t65;

    s[7] = t59 ^ t63;
    s[4] = t53 ^ t66;
    s[3] = t51 ^ t66;
    s[2] = t47 ^ t65;
    s[1] = ~(t56 ^ t62);
    s[0] = ~(t48 ^ t60);
    s[6] = ~(t64 ^ s[4]);
    s[5] = ~(t55 ^ t67);
}

// The inverse of the affine half of the S-box.
void undoAffine(Planes& s) noexcept {
    const Planes y = s;
    for (unsigned i = 0; i < 8; ++i)
        s[i] = y[(i + 2) % 8] ^ y[(i + 5) % 8] ^ y[(i + 7) % 8];
    s[0] = ~s[0];
    s[2] = ~s[2];
}

// The inverse S-box. The S-box is the inversion followed by the affine map, and the inversion is
// its own inverse.
void substituteBack(Planes& s) noexcept {
    undoAffine(s);
    substitute(s);
    undoAffine(s);
}

// Each row of a plane has 16 bits.
template <unsigned by>
Plane rotateRows(Plane x) noexcept {
    constexpr Plane kept = (0xFFFF >> by) * Plane{0x0001000100010001};
    return (x >> by & kept) | (x << (16 - by) & ~kept);
}

// Row r moves by r columns to the left, or to the right: the odd rows by one, and then those of the
// lower half by two.
template <bool back>
void shiftRows(Planes& s) noexcept {
    constexpr Plane evenRows = 0x0000FFFF0000FFFF, upperHalf = 0x00000000FFFFFFFF;
    constexpr unsigned oneColumn = back ? 12 : 4;
    for (Plane& x : s) {
        x = (x & evenRows) | (rotateRows<oneColumn>(x) & ~evenRows);
        x = (x & upperHalf) | (rotateRows<8>(x) & ~upperHalf);
    }
}

// Row r of the result is row r + n of s.
Planes rowsBelow(const Planes& s, int n) noexcept {
    Planes moved;
    for (unsigned i = 0; i < 8; ++i)
        moved[i] = std::rotr(s[i], 16 * n);
    return moved;
}

Planes sum(const Planes& a, const Planes& b) noexcept {
    Planes result = a;
    addKey(result, b);
    return result;
}

// Times x, modulo x^8 + x^4 + x^3 + x + 1.
Planes twice(const Planes& s) noexcept {
    return {s[7], s[0] ^ s[7], s[1], s[2] ^ s[7], s[3] ^ s[7], s[4], s[5], s[6]};
}

// 2 a0 + 3 a1 + a2 + a3.
void mixColumns(Planes& s) noexcept {
    const Planes below = rowsBelow(s, 1);
    const Planes pair = sum(s, below);
    s = sum(sum(twice(pair), below), rowsBelow(pair, 2));
}

// The inverse: first 5 a0 + 4 a2, then mixColumns.
void mixColumnsBack(Planes& s) noexcept {
    s = sum(s, twice(twice(sum(s, rowsBelow(s, 2)))));
    mixColumns(s);
}

template <bool back>
void convert(Planes& words, const PlanesOfKeys& planes, unsigned rounds) noexcept {
    transpose(words);
    addKey(words, planes.keys[0]);
    for (unsigned round = 1; round <= rounds; ++round) {
        if (back) {
            substituteBack(words);
        } else {
            substitute(words);
        }
        shiftRows<back>(words);
        if (round != rounds) {
            if (back) {
                mixColumnsBack(words);
            } else {
                mixColumns(words);
            }
        }
        addKey(words, planes.keys[round]);
    }
    transpose(words);
}

void makePlanes(const AesRoundKeys& keys, PlanesOfKeys& planes) noexcept {
    for (unsigned round = 0; round <= keys.rounds; ++round) {
        Planes& key = planes.keys[round];
        key = {};
        for (std::size_t block = 0; block < together; ++block)
            addBlock(key, block, keys.bytes + round * aesBlockSize);
        transpose(key);
    }
}

// Applies the S-box to the first four bytes of a key.
void substituteWord(unsigned char* word) noexcept {
    Secret<Planes> planes;
    planes.value[0] = spread(word);
    transpose(planes.value);
    substitute(planes.value);
    transpose(planes.value);
    gather(planes.value[0], word);
}

}  // namespace

void expandKey(const unsigned char* key, std::size_t size, AesRoundKeys& encryption,
               AesRoundKeys& decryption) noexcept {
    constexpr std::size_t wordSize = 4;
    const auto rounds = static_cast<unsigned>(size / wordSize + 6);
    encryption.rounds = decryption.rounds = rounds;
    unsigned char* const bytes = encryption.bytes;
    std::copy_n(key, size, bytes);
    unsigned constant = 1;
    Secret<std::array<unsigned char, wordSize>> word;
    for (std::size_t i = size; i < (rounds + 1) * aesBlockSize; i += wordSize) {
        auto& w = word.value;
        std::copy_n(bytes + i - wordSize, wordSize, w.begin());
        if (i % size == 0) {
            std::rotate(w.begin(), w.begin() + 1, w.end());
            substituteWord(w.data());
            w[0] = static_cast<unsigned char>(w[0] ^ constant);
            // Doubling in the field of the cipher; values beyond 0x80 occur for shorter keys only.
            constant = constant << 1 ^ (constant >> 7) * 0x11B;
        } else if (size == 32 && i % size == aesBlockSize) {
            substituteWord(w.data());
        }
        for (std::size_t k = 0; k < wordSize; ++k)
            bytes[i + k] = static_cast<unsigned char>(bytes[i + k - size] ^ w[k]);
    }

    for (unsigned round = 0; round <= rounds; ++round) {
        const unsigned char* from = bytes + (rounds - round) * aesBlockSize;
        unsigned char* to = decryption.bytes + round * aesBlockSize;
        if (round == 0 || round == rounds) {
            std::copy_n(from, aesBlockSize, to);
            continue;
        }
        Secret<Planes> planes;
        addBlock(planes.value, 0, from);
        transpose(planes.value);
        mixColumnsBack(planes.value);
        transpose(planes.value);
        takeBlock(planes.value, 0, to);
    }
}

void encrypt(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
             std::size_t blocks, unsigned char* out) noexcept {
    Secret<PlanesOfKeys> planes;
    makePlanes(keys, planes.value);
    Secret<Planes> words;
    const unsigned char* previous = iv;
    for (; blocks != 0; --blocks, in += aesBlockSize, out += aesBlockSize) {
        words.value = {};
        addBlock(words.value, 0, previous);
        addBlock(words.value, 0, in);
        convert<false>(words.value, planes.value, keys.rounds);
        takeBlock(words.value, 0, out);
        previous = out;
    }
}

void decrypt(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
             std::size_t blocks, unsigned char* out) noexcept {
    Secret<PlanesOfKeys> planes;
    makePlanes(keys, planes.value);
    Secret<Planes> words;
    const unsigned char* previous = iv;
    while (blocks != 0) {
        const std::size_t count = std::min(blocks, together);
        words.value = {};
        for (std::size_t i = 0; i < count; ++i)
            addBlock(words.value, i, in + i * aesBlockSize);
        convert<true>(words.value, planes.value, keys.rounds);
        for (std::size_t i = 0; i < count; ++i) {
            addBlock(words.value, i, previous);
            takeBlock(words.value, i, out);
            previous = in;
            in += aesBlockSize;
            out += aesBlockSize;
        }
        blocks -= count;
    }
}

}  // namespace aes_portable

namespace {

constexpr AesForm allForms[] = {
#if defined(__x86_64__)
    {"VAES", aes_vector::runsHere, aes_ni::encrypt, aes_vector::decrypt},
    {"AES-NI", aes_ni::runsHere, aes_ni::encrypt, aes_ni::decrypt},
#endif
    {"portable", platform::runsEverywhere, aes_portable::encrypt, aes_portable::decrypt},
};

}  // namespace

std::span<const AesForm> aesForms() noexcept {
    return platform::formsOfThisMachine<allForms>();
}

void Rijndael::set(const unsigned char* key, std::size_t size, const unsigned char* iv) noexcept {
    State& state = state_.value;
    aes_portable::expandKey(key, size, state.encryption, state.decryption);
    std::copy_n(iv, aesBlockSize, state.iv);
    state.hasKey = true;
}

void Rijndael::encrypt(const unsigned char* in, std::size_t n, unsigned char* out) const noexcept {
    const State& state = state_.value;
    if (!state.hasKey || in == nullptr || out == nullptr) return;
    const std::size_t blocks = n / aesBlockSize, whole = blocks * aesBlockSize;
    if (blocks != 0) form_.encrypt(state.encryption, state.iv, in, blocks, out);
    if (n == whole) return;
    Secret<std::array<unsigned char, aesBlockSize>> last;
    std::copy_n(in + whole, n - whole, last.value.begin());
    const unsigned char* previous = blocks != 0 ? out + whole - aesBlockSize : state.iv;
    form_.encrypt(state.encryption, previous, last.value.data(), 1, out + whole);
}

void Rijndael::decrypt(const unsigned char* in, std::size_t n, unsigned char* out) const noexcept {
    const State& state = state_.value;
    if (!state.hasKey || in == nullptr || out == nullptr) return;
    if (n == 0 || n % aesBlockSize != 0) return;
    form_.decrypt(state.decryption, state.iv, in, n / aesBlockSize, out);
}

}  // namespace qor::util
