#ifndef QOR_MT_QUICK_MUTEX_H
#define QOR_MT_QUICK_MUTEX_H

#include <atomic>

#include "qor/api.h"
#include "qor/base/interface.h"

namespace qor {

// A mutex for short sections that many calls go through. Taking a free one and releasing it cost
// one atomic exchange together, less than half of what a Mutex costs; a thread that has to wait for
// long sleeps, and pays the more for it. Not recursive, and not fair: a thread that comes may
// overtake those that wait.
//
// As with a Monitor, the caller of unlock makes sure that the mutex still exists when that returns.
class QOR_API QuickMutex : noncopyable {
public:
    void lock() const noexcept {
        if (taken_.exchange(1, std::memory_order_acquire) != 0) lockTaken();
    }
    void unlock() const noexcept {
        taken_.store(0, std::memory_order_release);
        // This keeps the compiler from reading first. lockTaken keeps the processor from it.
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (waiting_.load(std::memory_order_relaxed) != 0) wakeOne();
    }

private:
    void lockTaken() const noexcept;
    void wakeOne() const noexcept;

    mutable std::atomic<int> taken_{0};
    mutable std::atomic<int> waiting_{0};  // the threads that sleep, or are about to
};

}  // namespace qor

#endif  // QOR_MT_QUICK_MUTEX_H
