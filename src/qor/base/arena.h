#ifndef QOR_SRC_BASE_ARENA_H
#define QOR_SRC_BASE_ARENA_H

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "qor/base/interface.h"

namespace qor {

// Memory for parsed trees: blocks, and an arena that consists of them.
//
// newBlock records the block in the leak table, with the place of the call and the function's name
// `func`; deleteBlock removes it. (The place comes from builtins, since clang 14 has no
// std::source_location.) A block is aligned for any scalar type. It may be larger than `size`;
// blockSize returns its usable size.
//
// The process keeps some deleted blocks and reuses them for later trees. The allocator would return
// the memory of a large tree to the system, and a program that parses many texts would spend much
// of its time getting it again, page by page. Kept blocks are not in the leak table. They are freed
// when the system has no memory left.
//
// newBlock raises std::bad_alloc. Any thread may call these functions, also in static destructors
// and after a fork. Any thread may delete a block.
void* newBlock(std::size_t size, const char* func, const char* file = __builtin_FILE(),
               unsigned line = __builtin_LINE());
// A null pointer is ignored.
void deleteBlock(void* block, const char* func, const char* file = __builtin_FILE(),
                 unsigned line = __builtin_LINE()) noexcept;
std::size_t blockSize(const void* block) noexcept;

// A block of at most this size may be kept after it is deleted.
inline constexpr std::size_t kLargestKeptBlock = 64 * 1024 - 16;

// Memory that is taken in pieces and released as a whole, by the destructor. The arena does not
// call the destructors of the objects in it. Only one thread at a time may use an arena.
class Arena : noncopyable {
public:
    // The names of functions with which the leak table shows the allocation and the release of the
    // arena's blocks.
    struct Names {
        const char* maker;
        const char* ender;
    };

    // The arena first uses the memory from `memory` to `end`, which the caller owns and which may
    // be empty. `names` must outlive the arena.
    Arena(const Names& names, char* memory, char* end) noexcept
        : names_(&names), next_(memory), end_(end) {}
    ~Arena() {
        while (pages_ != nullptr)
            deleteBlock(std::exchange(pages_, pages_->previous), names_->ender);
    }

    // Returns uninitialised memory, aligned for pointers. If std::bad_alloc is raised, the arena is
    // unchanged.
    void* take(std::size_t size) {
        size = (size + kUnit - 1) / kUnit * kUnit;
        if (static_cast<std::size_t>(end_ - next_) < size) [[unlikely]]
            return takeInNewPage(size);
        return std::exchange(next_, next_ + size);
    }
    template <class T>
    T* takeArray(std::size_t count) {
        static_assert(alignof(T) <= kUnit && sizeof(T) % kUnit == 0);
        return static_cast<T*>(take(count * sizeof(T)));
    }
    template <class T, class... Args>
    T* make(Args&&... args) {
        static_assert(alignof(T) <= kUnit);
        return ::new (take(sizeof(T))) T{std::forward<Args>(args)...};
    }

private:
    struct alignas(std::max_align_t) Page {
        Page* previous;
    };

    void* takeInNewPage(std::size_t size);

    static constexpr std::size_t kUnit = alignof(void*);
    static constexpr std::size_t kFirstPage = 4000;

    const Names* names_;
    char* next_;  // the start of the free memory
    char* end_;
    Page* pages_ = nullptr;              // the last one first
    std::size_t pageSize_ = kFirstPage;  // the size of the next page
};

}  // namespace qor

#endif  // QOR_SRC_BASE_ARENA_H
