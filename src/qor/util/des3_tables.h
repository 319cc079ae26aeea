#ifndef QOR_SRC_UTIL_DES3_TABLES_H
#define QOR_SRC_UTIL_DES3_TABLES_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// The tables of FIPS 46-3. Bits and places are counted from 0, from the left.

namespace qor::util::des {

inline constexpr unsigned rounds = 16;

// The bits of the key that are used, first the 28 of the left half, then those of the right half.
inline constexpr std::array<unsigned char, 56> keyBits = {
    56, 48, 40, 32, 24, 16, 8,  0,  57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42,
    34, 26, 18, 10, 2,  59, 51, 43, 35, 62, 54, 46, 38, 30, 22, 14, 6,  61, 53,
    45, 37, 29, 21, 13, 5,  60, 52, 44, 36, 28, 20, 12, 4,  27, 19, 11, 3};

// The number of places by which both halves are rotated to the left before each round.
inline constexpr std::array<unsigned char, rounds> keyRotations = {1, 1, 2, 2, 2, 2, 2, 2,
                                                                   1, 2, 2, 2, 2, 2, 2, 1};

// The bits of both halves that form a round's key, six for each S-box.
inline constexpr std::array<unsigned char, 48> roundKeyBits = {
    13, 16, 10, 23, 0,  4,  2,  27, 14, 5,  20, 9,  22, 18, 11, 3,  25, 7,  15, 6,  26, 19, 12, 1,
    40, 51, 30, 36, 46, 54, 29, 39, 50, 44, 32, 47, 43, 48, 38, 55, 33, 52, 45, 41, 49, 35, 28, 31};

using Box = std::array<unsigned char, 64>;
inline constexpr std::array<Box, 8> boxes = {
    Box{14, 4,  13, 1, 2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0, 7,  //
        0,  15, 7,  4, 14, 2,  13, 1,  10, 6,  12, 11, 9,  5,  3, 8,  //
        4,  1,  14, 8, 13, 6,  2,  11, 15, 12, 9,  7,  3,  10, 5, 0,  //
        15, 12, 8,  2, 4,  9,  1,  7,  5,  11, 3,  14, 10, 0,  6, 13},
    Box{15, 1,  8,  14, 6,  11, 3,  4,  9,  7, 2,  13, 12, 0, 5,  10,  //
        3,  13, 4,  7,  15, 2,  8,  14, 12, 0, 1,  10, 6,  9, 11, 5,   //
        0,  14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,  9,  3, 2,  15,  //
        13, 8,  10, 1,  3,  15, 4,  2,  11, 6, 7,  12, 0,  5, 14, 9},
    Box{10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,  //
        13, 7,  0,  9,  3, 4,  6,  10, 2,  8,  5,  14, 12, 11, 15, 1,  //
        13, 6,  4,  9,  8, 15, 3,  0,  11, 1,  2,  12, 5,  10, 14, 7,  //
        1,  10, 13, 0,  6, 9,  8,  7,  4,  15, 14, 3,  11, 5,  2,  12},
    Box{7,  13, 14, 3, 0,  6,  9,  10, 1,  2, 8, 5,  11, 12, 4,  15,  //
        13, 8,  11, 5, 6,  15, 0,  3,  4,  7, 2, 12, 1,  10, 14, 9,   //
        10, 6,  9,  0, 12, 11, 7,  13, 15, 1, 3, 14, 5,  2,  8,  4,   //
        3,  15, 0,  6, 10, 1,  13, 8,  9,  4, 5, 11, 12, 7,  2,  14},
    Box{2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0, 14, 9,   //
        14, 11, 2,  12, 4,  7,  13, 1,  5,  0,  15, 10, 3,  9, 8,  6,   //
        4,  2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,  6,  3, 0,  14,  //
        11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4, 5,  3},
    Box{12, 1,  10, 15, 9, 2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11,  //
        10, 15, 4,  2,  7, 12, 9,  5,  6,  1,  13, 14, 0,  11, 3,  8,   //
        9,  14, 15, 5,  2, 8,  12, 3,  7,  0,  4,  10, 1,  13, 11, 6,   //
        4,  3,  2,  12, 9, 5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13},
    Box{4,  11, 2,  14, 15, 0, 8,  13, 3,  12, 9, 7,  5,  10, 6, 1,  //
        13, 0,  11, 7,  4,  9, 1,  10, 14, 3,  5, 12, 2,  15, 8, 6,  //
        1,  4,  11, 13, 12, 3, 7,  14, 10, 15, 6, 8,  0,  5,  9, 2,  //
        6,  11, 13, 8,  1,  4, 10, 7,  9,  5,  0, 15, 14, 2,  3, 12},
    Box{13, 2,  8,  4, 6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,  //
        1,  15, 13, 8, 10, 3,  7,  4,  12, 5,  6,  11, 0,  14, 9,  2,  //
        7,  11, 4,  1, 9,  12, 14, 2,  0,  6,  10, 13, 15, 3,  5,  8,  //
        2,  1,  14, 7, 4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11}};

// For each place of a round's result, the bit of the S-boxes' output.
inline constexpr std::array<unsigned char, 32> boxPermutation = {
    15, 6, 19, 20, 28, 11, 27, 16, 0,  14, 22, 25, 4,  17, 30, 9,
    1,  7, 23, 13, 31, 26, 2,  8,  18, 12, 29, 5,  21, 10, 3,  24};

// Each S-box combined with the permutation after it: the part of the result that depends on the six
// input bits of the box. The result is rotated to the left by one, like the halves between the
// rounds: so the input bits of each box are six adjacent bits of a byte, either in the half itself
// or in the half rotated by four.
using BoxTables = std::array<std::array<std::uint32_t, 64>, 8>;
constexpr BoxTables combinedBoxes() noexcept {
    BoxTables tables{};
    for (unsigned box = 0; box < 8; ++box) {
        for (unsigned in = 0; in < 64; ++in) {
            const unsigned row = (in >> 4 & 2) | (in & 1), column = in >> 1 & 15;
            const unsigned out = boxes[box][row * 16 + column];
            std::uint32_t result = 0;
            for (unsigned place = 0; place < 32; ++place) {
                const unsigned bit = boxPermutation[place];
                if (bit / 4 == box && (out >> (3 - bit % 4) & 1) != 0)
                    result |= std::uint32_t{1} << (31 - place);
            }
            tables[box][in] = std::rotl(result, 1);
        }
    }
    return tables;
}

// Six bits in each byte: `even` for the boxes 0, 2, 4 and 6, `odd` for 1, 3, 5 and 7.
struct RoundKey {
    std::uint32_t even, odd;
};
using Schedule = std::array<RoundKey, rounds>;

// The listed bits of a value of `width` bits; the first one becomes the highest.
template <std::size_t count>
constexpr std::uint64_t choose(std::uint64_t value, unsigned width,
                               const std::array<unsigned char, count>& bits) noexcept {
    std::uint64_t chosen = 0;
    for (const unsigned char bit : bits)
        chosen = chosen << 1 | (value >> (width - 1 - bit) & 1);
    return chosen;
}

// The keys of all rounds, as the standard defines them.
constexpr Schedule scheduleOf(std::uint64_t key) noexcept {
    constexpr unsigned width = 28;
    constexpr std::uint64_t mask = (1U << width) - 1;
    const std::uint64_t both = choose(key, 64, keyBits);
    std::uint64_t left = both >> width, right = both & mask;
    Schedule schedule{};
    for (unsigned round = 0; round < rounds; ++round) {
        const unsigned by = keyRotations[round];
        left = (left << by | left >> (width - by)) & mask;
        right = (right << by | right >> (width - by)) & mask;
        const std::uint64_t bits = choose(left << width | right, 2 * width, roundKeyBits);
        for (unsigned box = 0; box < 8; ++box) {
            std::uint32_t& half = box % 2 == 0 ? schedule[round].even : schedule[round].odd;
            half = half << 8 | (static_cast<std::uint32_t>(bits >> (42 - 6 * box)) & 63);
        }
    }
    return schedule;
}

// The schedule of each single bit of a key, the lowest first. The schedule of a key joins those of
// its bits by |.
constexpr std::array<Schedule, 64> schedulesOfBits() noexcept {
    std::array<Schedule, 64> schedules{};
    for (unsigned bit = 0; bit < schedules.size(); ++bit)
        schedules[bit] = scheduleOf(std::uint64_t{1} << bit);
    return schedules;
}

}  // namespace qor::util::des

#endif  // QOR_SRC_UTIL_DES3_TABLES_H
