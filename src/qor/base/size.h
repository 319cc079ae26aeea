#ifndef QOR_SRC_BASE_SIZE_H
#define QOR_SRC_BASE_SIZE_H

#include <cstddef>
#include <cstdint>
#include <new>

namespace qor {

// Compute sums and products of sizes in 64 bits, since std::size_t may have 32, and convert them by
// this function. Raises std::bad_alloc for a size that this machine cannot have.
constexpr std::size_t checkedSize(unsigned long long n) {
    if (n > PTRDIFF_MAX) throw std::bad_alloc();
    return static_cast<std::size_t>(n);
}

}  // namespace qor

#endif  // QOR_SRC_BASE_SIZE_H
