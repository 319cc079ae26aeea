#include "qor/mt/quick_mutex.h"

#include "platform/wait.h"

namespace qor {

// A thread that unlocks writes taken_ and then reads toWake_; one that is about to sleep writes
// toWake_ and then reads taken_. At least one of them must see the other's write, or the sleeper is
// never woken. That needs a barrier between the write and the read on both sides. Sleeping is rare,
// so the sleeper executes the barrier for all threads (membarrier). If the system has no such call,
// it sleeps for a millisecond at most and checks again.
//
// One thread is woken at a time. It sets toWake_ again, so that the next unlock wakes another
// thread: before it sleeps again, and when it has the mutex.
void QuickMutex::lockTaken() const noexcept {
    constexpr int kTries = 100;
    for (int i = 0; i < kTries; ++i) {
        platform::pause();
        if (taken_.load(std::memory_order_relaxed) == 0 &&
            taken_.exchange(1, std::memory_order_acquire) == 0)
            return;
    }
    sleepers_.fetch_add(1);
    for (;;) {
        toWake_.store(1);
        const long milliseconds = platform::barrierOnAllThreads() ? platform::kForever : 1;
        if (taken_.exchange(1) == 0) break;
        platform::waitWhile(toWake_, 1, milliseconds);
    }
    if (sleepers_.fetch_sub(1) > 1) toWake_.store(1);
}

// Clears toWake_ first: until the woken thread runs, which may take long, no unlock wakes it again.
void QuickMutex::wakeOne() const noexcept {
    toWake_.store(0);
    platform::wakeOne(toWake_);
}

}  // namespace qor
