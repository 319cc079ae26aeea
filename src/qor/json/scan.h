#ifndef QOR_SRC_JSON_SCAN_H
#define QOR_SRC_JSON_SCAN_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Looks for bytes a word at a time. Nothing is read outside of [at, end).

namespace qor::json::scan {

using Word = std::uint64_t;

static_assert(std::endian::native == std::endian::little);

constexpr Word kOnes = 0x0101010101010101;
constexpr Word kHighs = kOnes << 7;

// A high bit in the lowest byte that is c, and none below it.
constexpr Word equal(Word word, char c) noexcept {
    const Word other = word ^ kOnes * static_cast<unsigned char>(c);
    return (other - kOnes) & ~other & kHighs;
}
// The same for bytes that are less than a space.
constexpr Word control(Word word) noexcept {
    return (word - kOnes * 0x20) & ~word & kHighs;
}

// The first byte with a mark, or the first of the last bytes, less than a word.
template <class Marks>
inline const char* findMarked(const char* at, const char* end, Marks marks) noexcept {
    for (; end - at >= static_cast<std::ptrdiff_t>(sizeof(Word)); at += sizeof(Word)) {
        Word word = 0;
        std::memcpy(&word, at, sizeof word);
        if (const Word found = marks(word)) return at + std::countr_zero(found) / 8;
    }
    return at;
}

}  // namespace qor::json::scan

#endif  // QOR_SRC_JSON_SCAN_H
