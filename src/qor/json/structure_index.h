#ifndef QOR_SRC_JSON_STRUCTURE_INDEX_H
#define QOR_SRC_JSON_STRUCTURE_INDEX_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "qor/base/base_type_char.h"
#include "qor/base/interface.h"

// The structure of a JSON text, found 64 bytes at a time: the positions that a parser needs. These
// are the brackets, colons and commas outside strings, both quotes of each string, and the first
// byte of each token. After blanks inside a token, another token begins.

namespace qor::json {

// For bytes that are not ASCII, the locale decides.
inline bool isBlank(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= ' ') return c == ' ' || (c >= '\t' && c <= '\r');
    return byte >= 0x80 && CharIsSpace(c);
}

// A bit for each of 64 bytes; the lowest bit is for the first byte.
using ByteMask = std::uint64_t;

struct ByteMasks {
    ByteMask backslash;
    ByteMask quote;
    ByteMask structural;  // { } [ ] : ,
    ByteMask blank;       // in ASCII
    ByteMask high;        // not in ASCII
};

// The state at the start of a block of 64 bytes, which depends on the bytes before it.
class StructureState {
public:
    // The unescaped quotes of the block.
    ByteMask quotes(const ByteMasks& masks) noexcept {
        if (masks.backslash == 0) {
            const ByteMask escaped = std::exchange(escapedFirst_, 0);
            escapedQuotes_ = masks.quote & escaped;
            return masks.quote & ~escaped;
        }
        anyBackslash_ = true;
        const ByteMask escaped = escapedBytes(masks.backslash);
        escapedQuotes_ = masks.quote & escaped;
        return masks.quote & ~escaped;
    }
    // The positions of the block. `inside` has the bits from each opening quote up to, but not
    // including, the closing one, as if the block began outside a string.
    ByteMask positions(const char* block, const ByteMasks& masks, ByteMask quotes,
                       ByteMask inside) noexcept {
        inside ^= insideFirst_;
        insideFirst_ = 0 - (inside >> 63);
        ByteMask blank = masks.blank;
        const ByteMask outside = ~(inside | quotes);
        if ((masks.high & outside) != 0) [[unlikely]]
            blank |= highBlanks(block, masks.high & outside);
        const ByteMask structural = masks.structural & outside;
        const ByteMask token = outside & ~(structural | blank);
        const ByteMask starts = token & ~(token << 1 | tokenLast_);
        tokenLast_ = token >> 63;
        const ByteMask found = structural | quotes | starts;
        if ((escapedQuotes_ & ~inside) != 0) [[unlikely]]
            return endAtEscapedQuote(found, escapedQuotes_ & ~inside);
        return found;
    }

    // Whether a backslash was found since the last call.
    bool takeBackslash() noexcept { return std::exchange(anyBackslash_, false); }
    // Whether an escaped quote was found outside a string. It ends the token before it, which is an
    // error everywhere, and is the last position.
    bool ended() const noexcept { return ended_; }

private:
    // The bytes after an odd number of backslashes.
    ByteMask escapedBytes(ByteMask backslash) noexcept {
        constexpr ByteMask kEven = 0x5555555555555555;
        backslash &= ~escapedFirst_;
        const ByteMask followed = backslash << 1 | escapedFirst_;
        const ByteMask oddStarts = backslash & ~kEven & ~followed;
        const ByteMask evenEnds = oddStarts + backslash;
        escapedFirst_ = evenEnds < oddStarts ? 1 : 0;
        return (kEven ^ evenEnds << 1) & followed;
    }
    static ByteMask highBlanks(const char* block, ByteMask high) noexcept;
    ByteMask endAtEscapedQuote(ByteMask found, ByteMask quotes) noexcept;

    ByteMask escapedFirst_ = 0;   // 1 if the first byte of the next block is escaped
    ByteMask insideFirst_ = 0;    // all bits if the next block begins inside a string
    ByteMask tokenLast_ = 0;      // 1 if the last byte of the previous block was part of a token
    ByteMask escapedQuotes_ = 0;  // in the present block
    bool anyBackslash_ = false;
    bool ended_ = false;
};

// An implementation of the search for positions. All implementations give the same results.
struct StructureForm {
    const char* name;
    bool (*runsHere)() noexcept;  // whether this machine can run it
    // Writes the positions of the blocks in ascending order and returns the end of the output.
    // `out` must have room for 64 entries for each block and 64 more, all of which may be
    // overwritten. Also copies the blocks to `copy`, unless that is null.
    ulong32* (*find)(StructureState& state, const char* text, std::size_t blocks, ulong32 first,
                     ulong32* out, char* copy) noexcept;
};

// The forms that this machine can run, the fastest first.
std::span<const StructureForm> structureForms() noexcept;

namespace structure_portable {
ulong32* find(StructureState& state, const char* text, std::size_t blocks, ulong32 first,
              ulong32* out, char* copy) noexcept;
}  // namespace structure_portable

#if defined(__x86_64__)
namespace structure_avx2 {
bool runsHere() noexcept;
ulong32* find(StructureState& state, const char* text, std::size_t blocks, ulong32 first,
              ulong32* out, char* copy) noexcept;
}  // namespace structure_avx2

namespace structure_avx512 {
bool runsHere() noexcept;
ulong32* find(StructureState& state, const char* text, std::size_t blocks, ulong32 first,
              ulong32* out, char* copy) noexcept;
}  // namespace structure_avx512
#endif

// The positions of a text, found for a few kilobytes at a time; after the last one, the text's size
// is repeated. The text is copied at the same time, if `copy` is not null.
class StructureIndex : noncopyable {
public:
    // The number of positions that can be read from current() on.
    static constexpr std::size_t kAhead = 8;

    StructureIndex(const StructureForm& form, const char* text, ulong32 size,
                   char* copy = nullptr) noexcept
        : form_(form), text_(text), size_(size), copy_(copy) {
        fill();
    }

    // The current position and kAhead - 1 more.
    const ulong32* current() const noexcept { return at_; }
    void moveTo(const ulong32* position) noexcept {
        at_ = position;
        if (end_ - at_ < static_cast<std::ptrdiff_t>(kAhead)) [[unlikely]]
            fill();
    }
    // Whether there may be a backslash between `position` and the positions that can be read.
    bool anyBackslashFrom(ulong32 position) const noexcept { return position < backslashEnd_; }

private:
    static constexpr std::size_t kBlock = 64;
    static constexpr std::size_t kBlocks = 64;

    void fill() noexcept;
    ulong32* findNext(ulong32* out) noexcept;

    const StructureForm& form_;
    const char* text_;
    ulong32 size_;
    char* copy_;
    ulong32 done_ = 0;          // bytes that were processed
    ulong32 backslashEnd_ = 0;  // the end of the last part of them that has a backslash
    StructureState state_;
    const ulong32* at_ = positions_;
    ulong32* end_ = positions_;
    ulong32 positions_[kAhead + kBlock * (kBlocks + 1)];
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_STRUCTURE_INDEX_H
