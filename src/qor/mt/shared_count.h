#ifndef QOR_SRC_MT_SHARED_COUNT_H
#define QOR_SRC_MT_SHARED_COUNT_H

#include "qor/mt/shared.h"

namespace qor {

// The count of a Shared, for code that creates and deletes many objects at once.
class SharedCount {
public:
    SharedCount() = delete;

    // Takes the first share in a new object that no other thread knows yet, at less cost than
    // Shared::__AddRef.
    static void takeFirst(const Shared& object) noexcept {
        object.refCount_.store(1, std::memory_order_relaxed);
    }
    // Releases a share. True if it was the last one: the caller then deletes the object.
    static bool release(const Shared& object) noexcept {
        // No other thread can take a share in an object with one owner.
        const bool only = object.refCount_.load(std::memory_order_acquire) == 1;
        if (only && (object.marks_.load(std::memory_order_relaxed) & Shared::kNoDelete) == 0)
            return true;
        return object.refCount_.fetch_sub(1, std::memory_order_acq_rel) == 1 && object.markGone();
    }
};

}  // namespace qor

#endif  // QOR_SRC_MT_SHARED_COUNT_H
