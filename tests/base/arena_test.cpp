#include "base/arena.h"

#include "support/leak_table.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

constexpr const char* kTest = "arena_test";
constexpr Arena::Names kNames = {"maker", "ender"};

TEST(Block, IsKeptForReuseUnlessItIsSmallOrLarge) {
    const std::size_t kept[] = {2000, 30000, kLargestKeptBlock};
    for (const std::size_t size : {std::size_t(0), std::size_t(200), std::size_t(2000),
                                   std::size_t(30000), kLargestKeptBlock, kLargestKeptBlock + 1}) {
        SCOPED_TRACE(size);
        const bool isKept = std::ranges::count(kept, size) != 0;
        deleteBlock(newBlock(size, kTest), kTest);
        const AllocationCounter counter;
        void* const block = newBlock(size, kTest);
        EXPECT_EQ(counter.outstanding(), isKept ? 0 : 1);
        EXPECT_GE(blockSize(block), size);
        EXPECT_TRUE(isKept || blockSize(block) == size);
        std::memset(block, 1, blockSize(block));
        deleteBlock(block, kTest);
        EXPECT_EQ(counter.outstanding(), 0);
    }
    deleteBlock(nullptr, kTest);
}

TEST(Block, IsFreedFromTheSparesWhenMemoryEnds) {
    const AllocationCounter counter;
    void* const blocks[] = {newBlock(2000, kTest), newBlock(kLargestKeptBlock, kTest)};
    for (void* const block : blocks)
        deleteBlock(block, kTest);
    const long kept = counter.outstanding();
    {
        const FailAllocations failing(1);
        EXPECT_THROW(newBlock(kLargestKeptBlock + 1, kTest), std::bad_alloc);
    }
    EXPECT_LE(counter.outstanding(), kept - 2);
    deleteBlock(newBlock(2000, kTest), kTest);
}

TEST(Block, IsInTheLeakTableOnlyWhileItIsInUse) {
    const support::LeakTable table;
    for (int i = 0; i < 2; ++i) {
        void* const block = newBlock(kLargestKeptBlock, kTest);
        EXPECT_EQ(table.size(), 1U);
        deleteBlock(block, kTest);
        EXPECT_EQ(table.size(), 0U);
    }
    EXPECT_FALSE(contains(table.shown(), "[NOTICE]"));
}

// Each thread releases the blocks of the one before it. No two threads ever own one block.
TEST(Block, IsMadeAndReleasedByAnyThread) {
    constexpr int kThreads = 4, kRounds = 5000;
    std::array<std::atomic<unsigned char*>, kThreads> handed{};
    std::atomic<int> mixedUp{0};
    inThreads(kThreads, [&](int number) {
        const auto me = static_cast<unsigned>(number);
        const auto mark = static_cast<unsigned char>(me + 1);
        for (int i = 0; i < kRounds; ++i) {
            auto* block = static_cast<unsigned char*>(newBlock(4000, kTest));
            std::memset(block, mark, 64);
            block = handed[(me + 1) % kThreads].exchange(block);
            if (block != nullptr && block[63] != block[0]) ++mixedUp;
            deleteBlock(block, kTest);
        }
    });
    for (const auto& block : handed)
        deleteBlock(block, kTest);
    EXPECT_EQ(mixedUp, 0);
}

TEST(Arena, ReturnsMemoryThatDoesNotOverlap) {
    const support::LeakTable table;
    {
        Arena arena(kNames, nullptr, nullptr);
        EXPECT_EQ(table.size(), 0U);
        std::vector<std::pair<unsigned char*, std::size_t>> taken;
        for (std::size_t size = 1; size < 200000; size = size * 5 / 4 + 1) {
            taken.emplace_back(static_cast<unsigned char*>(arena.take(size)), size);
            std::memset(taken.back().first, static_cast<int>(taken.size()), size);
        }
        for (std::size_t i = 0; i < taken.size(); ++i) {
            const auto [at, size] = taken[i];
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(at) % alignof(void*), 0U);
            EXPECT_EQ(at[0], i + 1);
            EXPECT_EQ(at[size - 1], i + 1);
        }
        EXPECT_GT(table.size(), 2U);
        EXPECT_LT(table.size(), taken.size());
    }
    EXPECT_EQ(table.size(), 0U);
}

TEST(Arena, UsesTheGivenMemoryFirst) {
    alignas(8) char memory[64];
    Arena arena(kNames, memory, memory + sizeof(memory));
    const AllocationCounter counter;
    EXPECT_EQ(arena.take(40), memory);
    EXPECT_EQ(arena.takeArray<long long>(3), reinterpret_cast<long long*>(memory + 40));
    EXPECT_EQ(counter.allocations(), 0U);
    EXPECT_EQ(*arena.make<int>(7), 7);
}

TEST(Arena, IsUnchangedWhenMemoryEnds) {
    Arena arena(kNames, nullptr, nullptr);
    const int* const made = arena.make<int>(7);
    {
        const FailAllocations failing(1);
        EXPECT_THROW(arena.take(1 << 20), std::bad_alloc);
        arena.make<int>(8);
    }
    EXPECT_EQ(*made, 7);
}

}  // namespace
}  // namespace qor
