#ifndef QOR_SRC_NBR_BLOCK_H
#define QOR_SRC_NBR_BLOCK_H

#include <cstddef>

namespace qor::nbr {

// The memory of trees, known to the leak table under the name of a function. Each thread keeps the
// largest block of a usual size that it gave back, so that a thread that parses one message after
// the other allocates nothing for their trees.
void* newBlock(std::size_t size, const char* func);
void deleteBlock(void* block, const char* func) noexcept;

}  // namespace qor::nbr

#endif  // QOR_SRC_NBR_BLOCK_H
