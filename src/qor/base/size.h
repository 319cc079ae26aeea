#ifndef QOR_SRC_BASE_SIZE_H
#define QOR_SRC_BASE_SIZE_H

#include <cstddef>
#include <cstdint>
#include <new>

namespace qor {

// Sums and products of sizes are computed in 64 bits, since a machine's own sizes may have 32.
// Raises std::bad_alloc for one that this machine cannot have.
constexpr std::size_t checkedSize(unsigned long long n) {
    if (n > PTRDIFF_MAX) throw std::bad_alloc();
    return static_cast<std::size_t>(n);
}

}  // namespace qor

#endif  // QOR_SRC_BASE_SIZE_H
