#include "qor/mt/quick_mutex.h"

#include "platform/wait.h"

namespace qor {

// A thread that unlocks writes taken_ and then reads waiting_; one that waits writes waiting_ and
// then reads taken_. At least one of them has to see what the other one wrote, or the sleeper is
// never woken. That takes a barrier between the write and the read on both sides: the thread that
// waits, which is rare, makes all others pass theirs. Without the system's help it sleeps for a
// millisecond at most and looks again.
void QuickMutex::lockTaken() const noexcept {
    constexpr int kTries = 100;
    for (int i = 0; i < kTries; ++i) {
        platform::pause();
        if (taken_.load(std::memory_order_relaxed) == 0 &&
            taken_.exchange(1, std::memory_order_acquire) == 0)
            return;
    }
    waiting_.fetch_add(1);
    const long milliseconds = platform::barrierOnAllThreads() ? platform::kForever : 1;
    while (taken_.exchange(1) != 0)
        platform::waitWhile(taken_, 1, milliseconds);
    waiting_.fetch_sub(1);
}

void QuickMutex::wakeOne() const noexcept {
    platform::wakeOne(taken_);
}

}  // namespace qor
