#include "nbr/block.h"

#include <new>
#include <utility>

#include "qor/base/mlcheck.h"

namespace qor::nbr {

namespace {

// In front of each block.
struct alignas(std::max_align_t) Header {
    std::size_t size;  // of the block without its header
};

// What a thread keeps: from the size of a small tree's block to this much.
constexpr std::size_t kLeastKept = 512;
constexpr std::size_t kMostKept = 64 * 1024;

constinit thread_local Header* spare = nullptr;

// Frees what a thread has kept when the thread ends, after which nothing is kept.
class SpareOwner {
public:
    SpareOwner() noexcept { active_ = true; }
    ~SpareOwner() {
        active_ = false;
        ::operator delete(std::exchange(spare, nullptr));
    }
    static bool active() noexcept { return active_; }

private:
    static constinit thread_local bool active_;
};

constinit thread_local bool SpareOwner::active_ = false;
constinit thread_local bool spareWasOwned = false;

bool mayKeep() noexcept {
    if (SpareOwner::active()) return true;
    if (spareWasOwned) return false;
    spareWasOwned = true;
    static thread_local SpareOwner owner;
    return SpareOwner::active();
}

Header* allocate(std::size_t size) {
    if (spare != nullptr && size <= spare->size && size >= kLeastKept) {
        return std::exchange(spare, nullptr);
    }
    auto* const header = static_cast<Header*>(::operator new(sizeof(Header) + size));
    header->size = size;
    return header;
}

void release(Header* header) noexcept {
    const bool keep = header->size >= kLeastKept && header->size <= kMostKept &&
                      (spare == nullptr || spare->size < header->size) && mayKeep();
    if (keep) std::swap(header, spare);
    ::operator delete(header);
}

}  // namespace

void* newBlock(std::size_t size, const char* func) {
    Header* const header = allocate(size);
    try {
        blockAllocated(header + 1, __FILE__, __LINE__, func);
    } catch (...) {
        release(header);
        throw;
    }
    return header + 1;
}

void deleteBlock(void* block, const char* func) noexcept {
    if (block == nullptr) return;
    blockReleased(block, __FILE__, __LINE__, func);
    release(static_cast<Header*>(block) - 1);
}

}  // namespace qor::nbr
