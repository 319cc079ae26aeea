#ifndef QOR_SRC_BASE_NODE_MEMORY_H
#define QOR_SRC_BASE_NODE_MEMORY_H

#include <new>

#include "qor/base/mlcheck.h"

namespace qor {

// Allocation of single nodes of trees, recorded in the leak table with the function `func` and the
// place of the call, as by newBlock of base/arena.h. (The place comes from builtins, since clang 14
// has no std::source_location.)
inline void* newNode(std::size_t size, const char* func, const char* file = __builtin_FILE(),
                     unsigned line = __builtin_LINE()) {
    void* const block = ::operator new(size);
    blockAllocated(block, file, line, func);
    return block;
}

inline void deleteNode(void* block, const char* func, const char* file = __builtin_FILE(),
                       unsigned line = __builtin_LINE()) noexcept {
    if (block == nullptr) return;
    blockReleased(block, file, line, func);
    ::operator delete(block);
}

}  // namespace qor

#endif  // QOR_SRC_BASE_NODE_MEMORY_H
