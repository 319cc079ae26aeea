#ifndef QOR_SRC_NBR_POOL_H
#define QOR_SRC_NBR_POOL_H

#include <cstddef>
#include <forward_list>
#include <new>

#include "base/arena.h"
#include "qor/nbr/lsd.h"

namespace qor::nbr {

// Where a tree lives: an arena, and the values that were adopted from outside. Nothing in the arena
// is destroyed one by one.
class Pool : public Arena {
public:
    // A tree's root with its pool, and the pool's first memory, in one block. Deleting the root
    // frees all.
    static ComplexValue* newTree(std::size_t estimate);
    // A pool in its own block, for a root that is elsewhere.
    static Pool* create();
    // Ends a pool: the memory, and the adopted values, however deeply they are nested.
    static void destroy(Pool& pool) noexcept;

    // An inner node.
    ComplexValue* makeComplex() {
        return ::new (take(sizeof(ComplexValue))) ComplexValue(*this, false);
    }

    void adopt(ValueBase* value) { adopted_.push_front(value); }
    void disownLast() noexcept { adopted_.pop_front(); }

private:
    Pool(char* memory, char* end, bool embedded) noexcept;

    std::forward_list<ValueBase*> adopted_;
    bool embedded_;  // in its root's block, which the root's deletion frees
};

}  // namespace qor::nbr

#endif  // QOR_SRC_NBR_POOL_H
