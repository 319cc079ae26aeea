#ifndef QOR_SRC_BASE_NODE_MEMORY_H
#define QOR_SRC_BASE_NODE_MEMORY_H

#include <new>

#include "qor/base/mlcheck.h"

namespace qor {

// The memory of the nodes that the trees of several formats have, known to the leak table.
inline void* newNode(std::size_t size, const char* file, unsigned line, const char* func) {
    void* const block = ::operator new(size);
    blockAllocated(block, file, line, func);
    return block;
}

inline void deleteNode(void* block, const char* file, unsigned line, const char* func) noexcept {
    if (block == nullptr) return;
    blockReleased(block, file, line, func);
    ::operator delete(block);
}

}  // namespace qor

#endif  // QOR_SRC_BASE_NODE_MEMORY_H
