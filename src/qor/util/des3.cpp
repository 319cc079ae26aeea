#include "qor/util/des3.h"

#include <algorithm>

#include "base/size.h"
#include "util/des3_tables.h"
#include "util/output.h"
#include "util/wipe.h"

namespace qor {

namespace {

using namespace util::des;
using Half = std::uint32_t;

constexpr std::size_t blockSize = 8;
// The number of blocks that are converted together, so that the processor can overlap their rounds.
constexpr std::size_t together = 4;

constexpr BoxTables tables = combinedBoxes();
constexpr auto bitSchedules = schedulesOfBits();

enum class Direction { encode, decode };

// The first 8 bytes of the key as a number, padded with zeros; the first byte is the highest.
std::uint64_t keyValue(istr key) noexcept {
    std::uint64_t value = 0;
    const util::ByteSpan bytes = util::bytesOf(key.leftstr(blockSize));
    for (std::size_t i = 0; i < blockSize; ++i)
        value = value << 8 | (i < bytes.size() ? bytes[i] : 0);
    return value;
}

// Joins the schedules of all bits of the key, so that no memory access depends on the key.
void makeSchedule(std::uint64_t key, Direction direction, Schedule& schedule) noexcept {
    schedule = {};
    for (const Schedule& ofBit : bitSchedules) {
        const Half mask = -static_cast<Half>(key & 1);
        key >>= 1;
        for (unsigned round = 0; round < rounds; ++round) {
            schedule[round].even |= ofBit[round].even & mask;
            schedule[round].odd |= ofBit[round].odd & mask;
        }
    }
    if (direction == Direction::decode) std::reverse(schedule.begin(), schedule.end());
}

Half loadHalf(const unsigned char* in) noexcept {
    return Half{in[0]} << 24 | Half{in[1]} << 16 | Half{in[2]} << 8 | in[3];
}

void storeHalf(Half half, unsigned char* out) noexcept {
    for (unsigned i = 0; i < 4; ++i)
        out[i] = static_cast<unsigned char>(half >> (24 - 8 * i));
}

// Exchanges the bits `mask` of `low` with the bits of `high` that are `distance` places higher.
void exchange(Half& high, Half& low, int distance, Half mask) noexcept {
    const Half differ = (high >> distance ^ low) & mask;
    low ^= differ;
    high ^= differ << distance;
}

// The initial permutation transposes a block as a matrix of bits, which five exchanges do.
void permute(Half& left, Half& right) noexcept {
    exchange(left, right, 4, 0x0F0F0F0F);
    exchange(left, right, 16, 0x0000FFFF);
    exchange(right, left, 2, 0x33333333);
    exchange(right, left, 8, 0x00FF00FF);
    exchange(left, right, 1, 0x55555555);
}

void permuteBack(Half& left, Half& right) noexcept {
    exchange(left, right, 1, 0x55555555);
    exchange(right, left, 8, 0x00FF00FF);
    exchange(right, left, 2, 0x33333333);
    exchange(left, right, 16, 0x0000FFFF);
    exchange(left, right, 4, 0x0F0F0F0F);
}

Half roundOf(Half half, const RoundKey& key) noexcept {
    const Half even = std::rotr(half, 4) ^ key.even, odd = half ^ key.odd;
    return tables[0][even >> 24 & 63] ^ tables[1][odd >> 24 & 63] ^  //
           tables[2][even >> 16 & 63] ^ tables[3][odd >> 16 & 63] ^  //
           tables[4][even >> 8 & 63] ^ tables[5][odd >> 8 & 63] ^    //
           tables[6][even & 63] ^ tables[7][odd & 63];
}

template <std::size_t count>
void convertBlocks(const Schedule& schedule, const unsigned char* in, unsigned char* out) noexcept {
    Half left[count], right[count];
    for (std::size_t i = 0; i < count; ++i) {
        left[i] = loadHalf(in + blockSize * i);
        right[i] = loadHalf(in + blockSize * i + 4);
        permute(left[i], right[i]);
        left[i] = std::rotl(left[i], 1);
        right[i] = std::rotl(right[i], 1);
    }
    for (std::size_t round = 0; round < rounds; round += 2) {
        for (std::size_t i = 0; i < count; ++i)
            left[i] ^= roundOf(right[i], schedule[round]);
        for (std::size_t i = 0; i < count; ++i)
            right[i] ^= roundOf(left[i], schedule[round + 1]);
    }
    // The halves are not exchanged after the last round.
    for (std::size_t i = 0; i < count; ++i) {
        Half first = std::rotr(right[i], 1), second = std::rotr(left[i], 1);
        permuteBack(first, second);
        storeHalf(first, out + blockSize * i);
        storeHalf(second, out + blockSize * i + 4);
    }
}

void convertWhole(const Schedule& schedule, const unsigned char* in, std::size_t blocks,
                  unsigned char* out) noexcept {
    for (; blocks >= together; blocks -= together) {
        convertBlocks<together>(schedule, in, out);
        in += together * blockSize;
        out += together * blockSize;
    }
    for (; blocks != 0; --blocks, in += blockSize, out += blockSize)
        convertBlocks<1>(schedule, in, out);
}

void convert(istr data, Bytes& out, istr key, Direction direction) {
    util::Secret<Schedule> schedule;
    makeSchedule(keyValue(key), direction, schedule.value);
    const util::ByteSpan source = util::bytesOf(data);
    const std::size_t whole = source.size() / blockSize * blockSize;
    const std::size_t size = whole == source.size() ? whole : checkedSize(0ULL + whole + blockSize);
    util::replaceContent(out, source, size, [&](Bytes& target) {
        convertWhole(schedule.value, source.data(), whole / blockSize, target.data());
        if (size != whole) {
            util::Secret<std::array<unsigned char, blockSize>> last;
            std::copy(source.begin() + static_cast<std::ptrdiff_t>(whole), source.end(),
                      last.value.begin());
            convertBlocks<1>(schedule.value, last.value.data(), target.data() + whole);
        }
        target.size(size);
    });
}

}  // namespace

bool des3::encode(const istr& data, Bytes& out, const istr& key) {
    convert(data, out, key, Direction::encode);
    return true;
}

bool des3::decode(const istr& data, Bytes& out, const istr& key) {
    convert(data, out, key, Direction::decode);
    return true;
}

}  // namespace qor
