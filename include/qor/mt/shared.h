#ifndef QOR_MT_SHARED_H
#define QOR_MT_SHARED_H

#include <atomic>

#include "qor/api.h"
#include "qor/base/base_type.h"

namespace qor {

// The base of objects with a reference count: derive from it (virtually if several bases derive
// from it) and own the object through Handles. The count starts at 0: a new object has no owner
// until the first Handle refers to it. When the last Handle is destroyed, it deletes the object.
// Counting is atomic: Handles of several threads may share an object. The count is not part of the
// object's value, so an object may be shared as const.
//
// A constructor must not create a Handle to its own object: the end of that Handle would delete it.
//
// Create the object by makeHandle of handle.h, or by checkedNew of mlcheck.h: while the leak table
// is on, it reports the deletion of an object that it does not have.
class QOR_API Shared {
public:
    void __AddRef() const noexcept { refCount_.fetch_add(1, std::memory_order_relaxed); }
    // Deletes the object when the count becomes 0, unless __setNoDelete is on.
    void __SubRef() const noexcept {
        if (refCount_.fetch_sub(1, std::memory_order_acq_rel) == 1) lastRefGone();
    }
    long __GetRef() const noexcept { return refCount_.load(std::memory_order_relaxed); }
    // If on, the object is not deleted when the count becomes 0: for objects on the stack or in
    // static storage.
    void __setNoDelete(bool on) noexcept {
        if (on) {
            marks_.fetch_or(kNoDelete, std::memory_order_relaxed);
        } else {
            marks_.fetch_and(static_cast<Marks>(~kNoDelete), std::memory_order_relaxed);
        }
    }

protected:
    // For a class whose operator new and delete update the leak table themselves.
    struct OwnAllocation {};

    Shared() noexcept = default;
    explicit Shared(OwnAllocation) noexcept : marks_(kOwnAllocation) {}
    // The count is neither copied nor assigned: a copy starts without an owner.
    Shared(const Shared& other) noexcept
        : marks_(other.marks_.load(std::memory_order_relaxed) & kOwnAllocation) {}
    Shared& operator=(const Shared&) noexcept { return *this; }
    virtual ~Shared();

private:
    friend class SharedCount;
    using Marks = unsigned char;
    static constexpr Marks kNoDelete = 1;
    static constexpr Marks kOwnAllocation = 2;

    // True at the first call. A destructor that creates and destroys a Handle to its own object
    // must not delete it a second time.
    bool markGone() const noexcept {
        return (marks_.fetch_or(kNoDelete, std::memory_order_relaxed) & kNoDelete) == 0;
    }
    void lastRefGone() const noexcept;

    mutable std::atomic<long32> refCount_{0};
    mutable std::atomic<Marks> marks_{0};
};

}  // namespace qor

#endif  // QOR_MT_SHARED_H
