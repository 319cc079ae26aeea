#ifndef QOR_SRC_UTIL_WIPE_H
#define QOR_SRC_UTIL_WIPE_H

#include <cstddef>
#include <cstring>

namespace qor::util {

// Overwrites memory with zeros. The compiler cannot optimise this away.
inline void wipe(void* memory, std::size_t size) noexcept {
    if (size == 0) return;
    std::memset(memory, 0, size);
    asm volatile("" : : "r"(memory) : "memory");
}

// A value that the destructor overwrites with zeros.
template <class T>
class Secret {
public:
    Secret() noexcept = default;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() { wipe(&value, sizeof value); }
    T value{};
};

}  // namespace qor::util

#endif  // QOR_SRC_UTIL_WIPE_H
