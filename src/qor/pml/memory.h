#ifndef QOR_SRC_PML_MEMORY_H
#define QOR_SRC_PML_MEMORY_H

#include <new>

#include "qor/base/mlcheck.h"

namespace qor::pml::ntv {

// The memory of a node, known to the leak table.
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

}  // namespace qor::pml::ntv

#endif  // QOR_SRC_PML_MEMORY_H
