#ifndef QOR_SRC_BASE_ARENA_H
#define QOR_SRC_BASE_ARENA_H

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "qor/base/interface.h"

namespace qor {

// The memory of parsed trees.
//
// A block is known to the leak table under the place of the call and the name of the function. The
// process keeps some of the released blocks for its next trees: the system's allocator returns the
// memory of a large tree to the system, and a program that parses one text after the other would
// spend much of its time on getting it again, page by page. Kept blocks are not in the leak table,
// and are freed only when the system has no memory left. Any thread may make and release blocks,
// also in static destructors and after a fork. (The place comes from builtins, since clang 14 has
// no std::source_location.)
//
// A block is aligned for any scalar, and may be larger than what was asked for: see blockSize.
void* newBlock(std::size_t size, const char* func, const char* file = __builtin_FILE(),
               unsigned line = __builtin_LINE());
// A null pointer is ignored.
void deleteBlock(void* block, const char* func, const char* file = __builtin_FILE(),
                 unsigned line = __builtin_LINE()) noexcept;
std::size_t blockSize(const void* block) noexcept;

// The largest size of a block that is kept after its release.
inline constexpr std::size_t kLargestKeptBlock = 64 * 1024 - alignof(std::max_align_t);

// Memory that is taken bit by bit and released all at once. What is made in it is not destroyed.
class Arena : noncopyable {
public:
    // Under which names the leak table knows the pages.
    struct Names {
        const char* maker;
        const char* ender;
    };

    // The first page has room for so many bytes. It is made when memory is first taken.
    Arena(const Names& names, std::size_t firstPage) noexcept
        : names_(&names), pageSize_(firstPage) {}
    // The memory that is taken first belongs to the caller.
    Arena(const Names& names, char* memory, char* end) noexcept
        : names_(&names), next_(memory), end_(end), pageSize_(kSecondPage) {}
    ~Arena() {
        while (pages_ != nullptr)
            deleteBlock(std::exchange(pages_, pages_->previous), names_->ender);
    }

    // Uninitialised, and aligned as pointers are.
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
    // Makes what was taken last, and ends there, longer where it is. False if there is no room, or
    // something else was taken after it.
    bool extend(const void* end, std::size_t size) noexcept {
        if (end != next_ || static_cast<std::size_t>(end_ - next_) < size) return false;
        next_ += size;
        return true;
    }
    // Takes over the other one's pages, with what is in them.
    void absorb(Arena& other) noexcept;

private:
    struct alignas(std::max_align_t) Page {
        Page* previous;
    };

    void* takeInNewPage(std::size_t size);

    static constexpr std::size_t kUnit = alignof(void*);
    static constexpr std::size_t kSecondPage = 4000;

    const Names* names_;
    char* next_ = nullptr;
    char* end_ = nullptr;
    Page* pages_ = nullptr;
    std::size_t pageSize_;  // of the next page
};

}  // namespace qor

#endif  // QOR_SRC_BASE_ARENA_H
