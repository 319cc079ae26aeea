#ifndef QOR_SRC_PLATFORM_FIRST_USE_H
#define QOR_SRC_PLATFORM_FIRST_USE_H

#include <atomic>
#include <type_traits>

namespace qor::platform {

// A variable that is static in a function has a guard while a thread initialises it. If another
// thread forks then, the guard stays taken in the child, which would wait for it for ever. So the
// library keeps words that are computed at their first use in a FirstUse, and initialises all other
// such variables when it is loaded, by a MadeAtLoad. (Constants need neither.)

// Stays the same from its first use on: if several threads compute it at the same time, the first
// result counts. A pointer must be from `new`; a result that comes too late is deleted. T() means
// that it is not computed: after this result, the next use computes it again.
template <class T>
class FirstUse {
public:
    template <class Compute>
    T get(Compute compute) {
        const T known = value_.load(std::memory_order_acquire);
        return known != T() ? known : keep(compute());
    }

private:
    // Other types may need a library for their atomic operations, as double does on i386.
    static_assert(std::is_integral_v<T> || std::is_pointer_v<T>);

    T keep(T computed) noexcept {
        T first{};
        if (value_.compare_exchange_strong(first, computed, std::memory_order_acq_rel,
                                           std::memory_order_acquire)) {
            return computed;
        }
        if constexpr (std::is_pointer_v<T>) delete computed;
        return first;
    }

    std::atomic<T> value_{T()};
};

// Calls a function when the library is loaded. Code that runs before that may call it too: the
// variables are still static in a function, and not in a file.
struct MadeAtLoad {
    explicit MadeAtLoad(void (*make)()) { make(); }
};

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FIRST_USE_H
