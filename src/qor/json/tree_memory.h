#ifndef QOR_SRC_JSON_TREE_MEMORY_H
#define QOR_SRC_JSON_TREE_MEMORY_H

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "base/node_memory.h"
#include "qor/base/interface.h"

namespace qor::json {

// Blocks of memory known to the leak table.
inline void* newBlock(std::size_t size, const char* func) {
    return newNode(size, __FILE__, __LINE__, func);
}
inline void deleteBlock(void* block, const char* func) noexcept {
    deleteNode(block, __FILE__, __LINE__, func);
}

// Where the values of a tree that is read stand: one behind the other in large blocks. A block goes
// with the last value in it, whichever thread lets that go.
//
// The process keeps some blocks of the usual size for its next trees. The system's allocator gives
// the memory of a large tree back, and a program that reads one after the other would spend half of
// its time on getting it again, page by page.
class TreeMemory : noncopyable {
    struct Block {
        std::atomic<std::size_t> shares;
        std::size_t size;  // with this header
    };
    friend class SpareBlocks;

public:
    // In units behind the start of its block; never 0.
    using Place = unsigned short;
    struct Room {
        void* at;
        Place place;
    };

    // The blocks are made for a text of this size, the first one so that it is enough for most.
    explicit TreeMemory(std::size_t textSize) noexcept
        : blockSize_(sizeFor(textSize * 3)), nextSize_(sizeFor(textSize * 3 / 2)) {}
    ~TreeMemory() { leave(); }

    Room take(std::size_t size) {
        size = (size + kUnit - 1) / kUnit * kUnit;
        if (size > static_cast<std::size_t>(end_ - next_)) [[unlikely]]
            return takeElsewhere(size);
        char* const at = next_;
        next_ += size;
        ++taken_;
        return {at, placeOf(at)};
    }

    // Gives back the room of values. Those of one block that follow each other cost one count.
    class Return : noncopyable {
    public:
        Return() noexcept = default;
        ~Return() { flush(); }
        void add(void* at, Place place) noexcept {
            auto* const block = reinterpret_cast<Block*>(static_cast<char*>(at) - place * kUnit);
            if (block != block_) {
                flush();
                block_ = block;
            }
            ++count_;
        }

    private:
        void flush() noexcept {
            if (block_ != nullptr) giveUp(block_, count_);
            block_ = nullptr;
            count_ = 0;
        }
        Block* block_ = nullptr;
        std::size_t count_ = 0;
    };

private:
    static constexpr std::size_t kUnit = alignof(void*);
    static constexpr std::size_t kLeastBlock = 256;
    static constexpr std::size_t kMostBlock = 64 * 1024;
    static_assert(sizeof(Block) % kUnit == 0 && kMostBlock / kUnit <= 0xFFFF);
    // What a block counts while values are still put into it, so that it stays.
    static constexpr std::size_t kOpen = ~std::size_t(0) / 2;

    static std::size_t sizeFor(std::size_t estimate) noexcept {
        return std::clamp(estimate, kLeastBlock, kMostBlock);
    }
    Place placeOf(const char* at) const noexcept {
        const auto offset = static_cast<std::size_t>(at - reinterpret_cast<const char*>(block_));
        return static_cast<Place>(offset / kUnit);
    }
    Room takeElsewhere(std::size_t size);
    void leave() noexcept;
    // The size is that behind the header.
    static Block* newBlockWith(std::size_t shares, std::size_t size);
    static void giveUp(Block* block, std::size_t shares) noexcept;

    Block* block_ = nullptr;
    char* next_ = nullptr;
    char* end_ = nullptr;
    std::size_t taken_ = 0;  // from the block
    std::size_t blockSize_;  // of the next block
    std::size_t nextSize_;   // of those behind that
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_MEMORY_H
