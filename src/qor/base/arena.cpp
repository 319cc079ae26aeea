#include "base/arena.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>

#include "qor/base/mlcheck.h"

namespace qor {

namespace {

// At the start of each block; of the same size with every compiler.
struct alignas(16) Header {
    std::size_t size;  // with the header
    Header* next;      // the next kept block of the same size
};

// Kept blocks of one size. No thread waits for the list: if another thread uses it, even one that
// does not exist after a fork, the block is taken from the allocator or returned to it.
class alignas(64) Spares {
public:
    Header* take() noexcept {
        if (first_.load(std::memory_order_relaxed) == nullptr) return nullptr;
        if (busy_.test_and_set(std::memory_order_acquire)) return nullptr;
        Header* const taken = first_.load(std::memory_order_relaxed);
        if (taken != nullptr) {
            first_.store(taken->next, std::memory_order_relaxed);
            --count_;
        }
        busy_.clear(std::memory_order_release);
        return taken;
    }
    // False if the list already has `most` blocks, or is in use.
    bool keep(Header* block, unsigned most) noexcept {
        if (busy_.test_and_set(std::memory_order_acquire)) return false;
        const bool kept = count_ < most;
        if (kept) {
            block->next = first_.load(std::memory_order_relaxed);
            first_.store(block, std::memory_order_relaxed);
            ++count_;
        }
        busy_.clear(std::memory_order_release);
        return kept;
    }

    // Removes all blocks and returns the first; null if the list is in use.
    Header* takeAll() noexcept {
        if (busy_.test_and_set(std::memory_order_acquire)) return nullptr;
        Header* const all = first_.load(std::memory_order_relaxed);
        first_.store(nullptr, std::memory_order_relaxed);
        count_ = 0;
        busy_.clear(std::memory_order_release);
        return all;
    }

private:
    std::atomic_flag busy_;
    std::atomic<Header*> first_{nullptr};
    unsigned count_ = 0;
};

// Kept blocks have sizes that are powers of two.
constexpr unsigned kLeastBits = 9;
constexpr unsigned kMostBits = 16;
constexpr unsigned kSizes = kMostBits - kLeastBits + 1;
static_assert(kLargestKeptBlock == (std::size_t(1) << kMostBits) - sizeof(Header));

// Small trees are created so often that threads would disturb each other, so there are several
// lists of their blocks. All threads share the list of the largest blocks.
constexpr unsigned kLists = 16;
constexpr unsigned kMostSmall = 4, kMostLarge = 128;
constinit std::array<std::array<Spares, kLists>, kSizes> spares;

// Its address identifies the thread.
constinit thread_local char ofThread = 0;

unsigned listOfThread() noexcept {
    const auto page = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&ofThread) >> 12);
    return (page * 0x9E3779B1U) >> (32 - std::bit_width(kLists - 1));
}

// The index of a size; kSizes or more if blocks of this size are not kept.
unsigned classOf(std::size_t size) noexcept {
    return static_cast<unsigned>(std::bit_width(size - 1)) - kLeastBits;
}

Spares& sparesOf(unsigned sizeClass) noexcept {
    return spares[sizeClass][sizeClass + 1 == kSizes ? 0 : listOfThread()];
}

// Returns whether there were any.
bool freeKeptBlocks() noexcept {
    bool found = false;
    for (auto& lists : spares) {
        for (Spares& list : lists) {
            for (Header* block = list.takeAll(); block != nullptr; found = true)
                ::operator delete(std::exchange(block, block->next));
        }
    }
    return found;
}

// If memory runs out, frees the kept blocks and tries again.
void* allocateNew(std::size_t size) try {
    return ::operator new(size);
} catch (const std::bad_alloc&) {
    if (!freeKeptBlocks()) throw;
    return ::operator new(size);
}

Header* allocate(std::size_t size) {
    const unsigned sizeClass = classOf(size);
    if (sizeClass < kSizes) {
        if (Header* const block = sparesOf(sizeClass).take()) return block;
        size = std::size_t(1) << (sizeClass + kLeastBits);
    }
    auto* const block = static_cast<Header*>(allocateNew(size));
    block->size = size;
    return block;
}

void release(Header* block) noexcept {
    const unsigned sizeClass = classOf(block->size);
    if (sizeClass < kSizes) {
        const unsigned most = sizeClass + 1 == kSizes ? kMostLarge : kMostSmall;
        if (sparesOf(sizeClass).keep(block, most)) return;
    }
    ::operator delete(block);
}

}  // namespace

void* newBlock(std::size_t size, const char* func, const char* file, unsigned line) {
    Header* const header = allocate(sizeof(Header) + size);
    void* const block = header + 1;
    blockAllocated(block, file, line, func);
    return block;
}

void deleteBlock(void* block, const char* func, const char* file, unsigned line) noexcept {
    if (block == nullptr) return;
    blockReleased(block, file, line, func);
    release(static_cast<Header*>(block) - 1);
}

std::size_t blockSize(const void* block) noexcept {
    return (static_cast<const Header*>(block) - 1)->size - sizeof(Header);
}

void* Arena::takeInNewPage(std::size_t size) {
    void* const block = newBlock(std::max(size + sizeof(Page), pageSize_), names_->maker);
    const std::size_t made = blockSize(block);
    pages_ = ::new (block) Page{pages_};
    next_ = reinterpret_cast<char*>(pages_ + 1);
    end_ = static_cast<char*>(block) + made;
    pageSize_ = std::min(2 * made, kLargestKeptBlock);
    return std::exchange(next_, next_ + size);
}

}  // namespace qor
