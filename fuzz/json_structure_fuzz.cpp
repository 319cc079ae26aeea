// The structure index of JSON: for any bytes, every form that this machine can run finds the same
// structure and copies the bytes, and the index gives this structure wherever the text ends.

#include <algorithm>
#include <string>
#include <vector>

#include "json/structure_index.h"
#include "require.h"

namespace {

using namespace qor;
using namespace qor::json;

constexpr std::size_t kBlock = 64;

struct Found {
    std::vector<ulong32> positions;
    bool anyBackslash;
    bool ended;

    bool operator==(const Found&) const = default;
};

// Checks the copy up to the end of the outermost value. The parser ignores the text after it.
void requireCopied(const char* text, std::size_t size, const std::vector<char>& copy,
                   const Found& found) {
    require(std::equal(text, text + (found.ended ? found.positions.back() : size), copy.begin()));
}

// The size of `text` is a multiple of the block size.
Found foundIn(const StructureForm& form, const std::vector<char>& text, std::size_t blocksAtOnce) {
    std::vector<ulong32> room(text.size() + kBlock);
    std::vector<char> copy(text.size());
    StructureState state;
    ulong32* out = room.data();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t blocks = std::min(blocksAtOnce, (text.size() - at) / kBlock);
        out = form.find(state, text.data() + at, blocks, static_cast<ulong32>(at), out,
                        copy.data() + at);
        at += blocks * kBlock;
    }
    const Found found = {{room.data(), out}, state.takeBackslash(), state.ended()};
    requireCopied(text.data(), text.size(), copy, found);
    return found;
}

void requireIndexed(const StructureForm& form, const char* text, ulong32 size, const Found& found) {
    std::vector<char> copy(size);
    StructureIndex index(form, text, size, copy.data());
    for (std::size_t i = 0; i < found.positions.size();) {
        const std::size_t step =
            std::min(i % StructureIndex::kAhead + 1, found.positions.size() - i);
        require(std::equal(index.current(), index.current() + step, found.positions.data() + i));
        index.moveTo(index.current() + step);
        i += step;
    }
    const auto isEnd = [&](ulong32 position) { return position == size; };
    require(std::all_of(index.current(), index.current() + StructureIndex::kAhead, isEnd));
    require(index.anyBackslashFrom(0) == found.anyBackslash);
    requireCopied(text, size, copy, found);
}

// The text ends where its heap block ends, so that a sanitizer detects reading beyond it.
void check(const char* text, std::size_t size) {
    std::vector<char> blocks(text, text + size);
    blocks.resize((size + kBlock - 1) / kBlock * kBlock, ' ');
    const Found wanted = foundIn(structureForms().back(), blocks, 1);
    require(std::is_sorted(wanted.positions.begin(), wanted.positions.end()));
    for (const StructureForm& form : structureForms()) {
        require(foundIn(form, blocks, 1) == wanted);
        require(foundIn(form, blocks, blocks.size()) == wanted);
        requireIndexed(form, text, static_cast<ulong32>(size), wanted);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto* const text = reinterpret_cast<const char*>(data);
    check(text, size);
    // Also at other positions: after a part of a block, and where the index reads the next text.
    for (const std::size_t before : {size % kBlock, 4096 - size % kBlock}) {
        std::vector<char> longer(before, ' ');
        longer.insert(longer.end(), text, text + size);
        check(longer.data(), longer.size());
    }
    return 0;
}
