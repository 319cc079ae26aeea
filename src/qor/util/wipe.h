#ifndef QOR_SRC_UTIL_WIPE_H
#define QOR_SRC_UTIL_WIPE_H

#include <cstddef>
#include <cstring>

namespace qor::util {

// Writes zeros that the compiler cannot optimise away although they are not read.
inline void wipe(void* memory, std::size_t size) noexcept {
    if (size == 0) return;
    std::memset(memory, 0, size);
    asm volatile("" : : "r"(memory) : "memory");
}

// What holds a secret while it lives.
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
