#include "json/structure_index.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "platform/forms.h"

namespace qor::json {

namespace {

// The class of a byte, as a bit; in the order of the members of ByteMasks.
enum Class : unsigned char { kBackslash = 1, kQuote = 2, kStructural = 4, kBlank = 8, kHigh = 16 };

constexpr auto kClasses = [] {
    std::array<unsigned char, 256> classes{};
    classes['\\'] = kBackslash;
    classes['"'] = kQuote;
    for (const char c : {'{', '}', '[', ']', ':', ','})
        classes[static_cast<unsigned char>(c)] = kStructural;
    for (const char c : {' ', '\t', '\n', '\v', '\f', '\r'})
        classes[static_cast<unsigned char>(c)] = kBlank;
    for (std::size_t c = 0x80; c < classes.size(); ++c)
        classes[c] = kHigh;
    return classes;
}();

// The lowest bits of the eight bytes; the lowest byte gives the lowest bit.
constexpr ByteMask gather(std::uint64_t bytes) noexcept {
    return (bytes & 0x0101010101010101) * 0x0102040810204080 >> 56;
}

ByteMasks masksOf(const char* block) noexcept {
    ByteMasks masks{};
    for (unsigned i = 0; i < 64; i += 8) {
        std::uint64_t classes = 0;
        for (unsigned k = 0; k < 8; ++k) {
            const auto byte = static_cast<unsigned char>(block[i + k]);
            classes |= std::uint64_t(kClasses[byte]) << 8 * k;
        }
        masks.backslash |= gather(classes) << i;
        masks.quote |= gather(classes >> 1) << i;
        masks.structural |= gather(classes >> 2) << i;
        masks.blank |= gather(classes >> 3) << i;
        masks.high |= gather(classes >> 4) << i;
    }
    return masks;
}

// Each bit becomes the XOR of all bits up to it.
constexpr ByteMask prefixXor(ByteMask bits) noexcept {
    for (unsigned shift = 1; shift < 64; shift *= 2)
        bits ^= bits << shift;
    return bits;
}

}  // namespace

// The locale decides which bytes outside ASCII are blanks.
ByteMask StructureState::highBlanks(const char* block, ByteMask high) noexcept {
    ByteMask blanks = 0;
    for (; high != 0; high &= high - 1) {
        if (CharIsSpace(block[std::countr_zero(high)])) blanks |= high & (0 - high);
    }
    return blanks;
}

ByteMask StructureState::endAtEscapedQuote(ByteMask found, ByteMask quotes) noexcept {
    ended_ = true;
    const ByteMask first = quotes & (0 - quotes);
    return (found & (first - 1)) | first;
}

ulong32* structure_portable::find(StructureState& state, const char* text, std::size_t blocks,
                                  ulong32 first, ulong32* out, char* copy) noexcept {
    for (; blocks != 0 && !state.ended(); --blocks, text += 64, first += 64) {
        if (copy != nullptr) {
            std::memcpy(copy, text, 64);
            copy += 64;
        }
        const ByteMasks masks = masksOf(text);
        const ByteMask quotes = state.quotes(masks);
        ByteMask found = state.positions(text, masks, quotes, prefixXor(quotes));
        for (; found != 0; found &= found - 1)
            *out++ = first + static_cast<ulong32>(std::countr_zero(found));
    }
    return out;
}

namespace {

constexpr StructureForm allForms[] = {
#if defined(__x86_64__)
    {"AVX-512", structure_avx512::runsHere, structure_avx512::find},
    {"AVX2", structure_avx2::runsHere, structure_avx2::find},
#endif
    {"portable", platform::runsEverywhere, structure_portable::find},
};

}  // namespace

std::span<const StructureForm> structureForms() noexcept {
    return platform::formsOfThisMachine<allForms>();
}

ulong32* StructureIndex::findNext(ulong32* out) noexcept {
    const ulong32 left = size_ - done_;
    const auto whole = std::min<std::size_t>(left / kBlock, kBlocks);
    char* const copy = copy_ != nullptr ? copy_ + done_ : nullptr;
    if (whole != 0) {
        out = form_.find(state_, text_ + done_, whole, done_, out, copy);
        done_ += static_cast<ulong32>(whole * kBlock);
    } else {
        char last[kBlock];
        std::memset(last, ' ', sizeof last);
        std::memcpy(last, text_ + done_, left);
        if (copy != nullptr) std::memcpy(copy, last, left);
        out = form_.find(state_, last, 1, done_, out, nullptr);
        done_ = size_;
    }
    if (state_.takeBackslash()) backslashEnd_ = done_;
    if (state_.ended()) done_ = size_;
    return out;
}

void StructureIndex::fill() noexcept {
    const auto left = static_cast<std::size_t>(end_ - at_);
    std::memmove(positions_, at_, left * sizeof *positions_);
    ulong32* end = positions_ + left;
    while (static_cast<std::size_t>(end - positions_) < kAhead && done_ != size_)
        end = findNext(end);
    at_ = positions_;
    end_ = end;
    if (done_ != size_) return;
    // After the last position, the text's size is repeated, so that kAhead positions can be read.
    std::fill_n(end, kAhead, size_);
    end_ = std::max(end_, positions_ + kAhead);
}

}  // namespace qor::json
