#include "json/tree_memory.h"

#include <mutex>
#include <utility>

namespace qor::json {

// The blocks that the process keeps. They are never freed, not even at its end, when trees may
// still go. Nobody waits for them: with the lock in use, also by a thread that a fork has left
// behind, a block comes from the allocator and goes back there.
class SpareBlocks {
public:
    static void* take() noexcept {
        const std::unique_lock lock(mutex, std::try_to_lock);
        if (!lock || first == nullptr) return nullptr;
        --count;
        return std::exchange(first, first->next);
    }
    // False when there are enough.
    static bool keep(void* block) noexcept {
        const std::unique_lock lock(mutex, std::try_to_lock);
        if (!lock || count == kMost) return false;
        ++count;
        first = ::new (block) Spare{first};
        return true;
    }
    static constexpr std::size_t kSize = TreeMemory::kMostBlock;

private:
    struct Spare {
        Spare* next;
    };
    static constexpr std::size_t kMost = (8U << 20) / kSize;

    static constinit inline std::mutex mutex;
    static constinit inline Spare* first = nullptr;
    static constinit inline std::size_t count = 0;
};

namespace {

constexpr const char* kMaker = "qor::json::JsonParser::from";
constexpr const char* kEnder = "qor::json::JsonValue::~JsonValue";

void* takeSpare() noexcept {
    void* const block = SpareBlocks::take();
    if (block != nullptr) blockAllocated(block, __FILE__, __LINE__, kMaker);
    return block;
}

}  // namespace

TreeMemory::Block* TreeMemory::newBlockWith(std::size_t shares, std::size_t size) {
    size += sizeof(Block);
    void* memory = size == SpareBlocks::kSize ? takeSpare() : nullptr;
    if (memory == nullptr) memory = newBlock(size, kMaker);
    return ::new (memory) Block{shares, size};
}

void TreeMemory::giveUp(Block* block, std::size_t shares) noexcept {
    if (block->shares.fetch_sub(shares, std::memory_order_acq_rel) != shares) return;
    if (block->size != SpareBlocks::kSize) return deleteBlock(block, kEnder);
    blockReleased(block, __FILE__, __LINE__, kEnder);
    if (!SpareBlocks::keep(block)) ::operator delete(block);
}

TreeMemory::Room TreeMemory::takeElsewhere(std::size_t size) {
    // A large value would waste the rest of the block, and has one for itself.
    if (size > kMostBlock / 4) {
        Block* const own = newBlockWith(1, size);
        return {own + 1, sizeof(Block) / kUnit};
    }
    const std::size_t room = std::max(blockSize_ - sizeof(Block), size);
    Block* const block = newBlockWith(kOpen, room);
    leave();
    block_ = block;
    next_ = reinterpret_cast<char*>(block + 1);
    end_ = next_ + room;
    blockSize_ = nextSize_;
    return take(size);
}

void TreeMemory::leave() noexcept {
    if (block_ != nullptr) giveUp(block_, kOpen - taken_);
    block_ = nullptr;
    taken_ = 0;
}

}  // namespace qor::json
