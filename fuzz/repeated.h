#ifndef QOR_FUZZ_REPEATED_H
#define QOR_FUZZ_REPEATED_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace fuzz {

// Makes a large input of a small one, for containers with more elements than a fuzzer writes one by
// one. The input "\xFE", three bytes and a text is the text with one piece of it repeated: the
// first byte is the length of the text before the piece, the second is the length of the piece, and
// the third is the exponent of a power of two, the number of times: less 0xEE if that is not less
// than 0, otherwise modulo 8. So large inputs, which take long, are rare. Each '#' in the piece is
// replaced by the number of the repetition. Any other input is returned unchanged.
inline std::string repeated(const unsigned char* data, std::size_t size) {
    constexpr std::size_t kMostBytes = 1U << 18;
    const std::string input(data, data + size);
    if (size < 4 || input[0] != '\xFE') return input;
    const std::string_view text = std::string_view(input).substr(4);
    const std::size_t before = std::min<std::size_t>(data[1], text.size());
    const std::string_view piece = text.substr(before, data[2]);
    constexpr unsigned kLarge = 0xEE;
    const unsigned exponent = data[3] < kLarge ? data[3] % 8U : data[3] - kLarge;
    const std::size_t times = std::size_t{1} << exponent;
    std::string whole(text.substr(0, before));
    for (std::size_t i = 0; i < times && whole.size() < kMostBytes; ++i) {
        for (const char c : piece)
            c == '#' ? whole += std::to_string(i) : whole += c;
    }
    return whole.append(text.substr(before + piece.size()));
}

}  // namespace fuzz

#endif  // QOR_FUZZ_REPEATED_H
