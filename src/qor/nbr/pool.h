#ifndef QOR_SRC_NBR_POOL_H
#define QOR_SRC_NBR_POOL_H

#include <cstddef>
#include <forward_list>
#include <new>

#include "base/arena.h"
#include "qor/nbr/lsd.h"

namespace qor::nbr {

// The memory of a tree: an arena, and the values that were added by ComplexValue::add. Values in
// the arena are not destroyed one by one.
class Pool : public Arena {
public:
    // A root, its pool, and the pool's first memory, in one block. Deleting the root frees all.
    static ComplexValue* newTree(std::size_t estimate);
    // A pool in its own block, for a root in another one.
    static Pool* create();
    // Destroys a pool and its adopted values, without recursion.
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
    bool embedded_;  // in the block of its root, which deleting the root frees
};

}  // namespace qor::nbr

#endif  // QOR_SRC_NBR_POOL_H
