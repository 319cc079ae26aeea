#ifndef QOR_SRC_NBR_POOL_H
#define QOR_SRC_NBR_POOL_H

#include <cstddef>
#include <forward_list>
#include <new>
#include <utility>

#include "nbr/block.h"
#include "qor/base/interface.h"
#include "qor/nbr/lsd.h"

namespace qor::nbr {

// Where a tree lives: memory that only grows and goes at once, and the values that were adopted
// from outside. Nothing in it is destroyed one by one.
class Pool : noncopyable {
public:
    // A tree's root with its pool, and the pool's first memory, in one block. Deleting the root
    // frees all.
    static ComplexValue* newTree(std::size_t estimate);
    // A pool of its own block, for a root that stands elsewhere.
    static Pool* create();
    // Ends a pool: the memory, and the adopted values, however deeply they are nested.
    static void destroy(Pool& pool) noexcept;

    template <class T, class... Args>
    T* make(Args&&... args) {
        static_assert(alignof(T) <= kUnit);
        return ::new (take(sizeof(T))) T{std::forward<Args>(args)...};
    }
    // An inner node.
    ComplexValue* makeComplex() {
        return ::new (take(sizeof(ComplexValue))) ComplexValue(*this, false);
    }
    // Uninitialised.
    template <class T>
    T* makeArray(std::size_t count) {
        static_assert(alignof(T) <= kUnit);
        return static_cast<T*>(take(count * sizeof(T)));
    }

    void adopt(ValueBase* value) { adopted_.push_front(value); }
    void disownLast() noexcept { adopted_.pop_front(); }

private:
    struct Chunk {
        Chunk* previous;
    };

    Pool(char* memory, char* end, bool embedded) noexcept
        : next_(memory), end_(end), embedded_(embedded) {}
    ~Pool();

    void* take(std::size_t size) {
        size = (size + kUnit - 1) / kUnit * kUnit;
        if (static_cast<std::size_t>(end_ - next_) < size) grow(size);
        return std::exchange(next_, next_ + size);
    }
    void grow(std::size_t size);

    static constexpr std::size_t kUnit = alignof(void*);
    static constexpr std::size_t kFirstChunk = 4096;
    static constexpr std::size_t kLargestChunk = 1U << 20;

    char* next_;
    char* end_;
    Chunk* chunks_ = nullptr;
    std::size_t chunkSize_ = kFirstChunk;
    std::forward_list<ValueBase*> adopted_;
    bool embedded_;  // in its root's block, which the root's deletion frees
};

}  // namespace qor::nbr

#endif  // QOR_SRC_NBR_POOL_H
