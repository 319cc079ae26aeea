#ifndef QOR_SRC_MT_SHARED_COUNT_H
#define QOR_SRC_MT_SHARED_COUNT_H

#include "qor/mt/shared.h"

namespace qor {

// Access to the count of a Shared, for code that creates and deletes many objects at once.
class SharedCount {
public:
    SharedCount() = delete;

    // Adds the first owner of a new object that no other thread can use yet; cheaper than
    // Shared::__AddRef.
    static void takeFirst(const Shared& object) noexcept {
        object.refCount_.store(1, std::memory_order_relaxed);
    }
    // Removes an owner. Returns true if it was the last one: the caller must then delete the
    // object.
    static bool release(const Shared& object) noexcept {
        // If there is one owner, no other thread can add one.
        const bool only = object.refCount_.load(std::memory_order_acquire) == 1;
        if (only && (object.marks_.load(std::memory_order_relaxed) & Shared::kNoDelete) == 0)
            return true;
        return object.refCount_.fetch_sub(1, std::memory_order_acq_rel) == 1 && object.markGone();
    }
};

}  // namespace qor

#endif  // QOR_SRC_MT_SHARED_COUNT_H
