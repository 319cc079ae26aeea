#ifndef QOR_SRC_JSON_SCAN_H
#define QOR_SRC_JSON_SCAN_H

#include <cstdint>

// Finds bytes in a word of text. The first byte of the text is the lowest byte.

namespace qor::json::scan {

using Word = std::uint64_t;

constexpr Word kOnes = 0x0101010101010101;
constexpr Word kHighs = kOnes << 7;

// Sets the top bit of the lowest byte that is c, and none below it. Higher bits may be wrong.
constexpr Word equal(Word word, char c) noexcept {
    const Word other = word ^ kOnes * static_cast<unsigned char>(c);
    return (other - kOnes) & ~other & kHighs;
}
// The same for bytes that are less than a space.
constexpr Word control(Word word) noexcept {
    return (word - kOnes * 0x20) & ~word & kHighs;
}

}  // namespace qor::json::scan

#endif  // QOR_SRC_JSON_SCAN_H
