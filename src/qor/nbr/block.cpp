#include "nbr/block.h"

#include <cstddef>
#include <new>
#include <utility>

#include "qor/base/mlcheck.h"

namespace qor::nbr {

namespace {

// In front of each block.
struct alignas(std::max_align_t) Header {
    std::size_t size;  // of the block without its header
};

// The sizes of the blocks that a thread keeps, from that of a small tree.
constexpr std::size_t kLeastKept = 512;
constexpr std::size_t kMostKept = 64 * 1024;

// What the calling thread keeps. One object, since each look at a thread's variables costs a call.
struct Spare {
    Header* block = nullptr;
    bool keeps = false;
    bool threadEnds = false;  // trees that go later are not kept
};

constinit thread_local Spare spare;

struct SpareOwner {
    ~SpareOwner() {
        spare.threadEnds = true;
        ::operator delete(std::exchange(spare.block, nullptr));
    }
};

void freeAtThreadEnd() noexcept {
    static thread_local const SpareOwner owner;
}

Header* allocate(std::size_t size) {
    if (size >= kLeastKept) {
        Spare& mine = spare;
        if (mine.block != nullptr && size <= mine.block->size) {
            return std::exchange(mine.block, nullptr);
        }
    }
    auto* const header = static_cast<Header*>(::operator new(sizeof(Header) + size));
    header->size = size;
    return header;
}

void release(Header* header) noexcept {
    if (header->size >= kLeastKept && header->size <= kMostKept) {
        Spare& mine = spare;
        const bool larger = mine.block == nullptr || mine.block->size < header->size;
        if (larger && !mine.threadEnds) {
            if (!std::exchange(mine.keeps, true)) freeAtThreadEnd();
            std::swap(header, mine.block);
        }
    }
    ::operator delete(header);
}

}  // namespace

void* newBlock(std::size_t size, const char* func) {
    Header* const header = allocate(size);
    blockAllocated(header + 1, __FILE__, __LINE__, func);
    return header + 1;
}

void deleteBlock(void* block, const char* func) noexcept {
    if (block == nullptr) return;
    blockReleased(block, __FILE__, __LINE__, func);
    release(static_cast<Header*>(block) - 1);
}

}  // namespace qor::nbr
