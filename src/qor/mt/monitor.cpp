#include "qor/mt/monitor.h"

#include <ace/Condition_Attributes.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace qor {

namespace {

using MonotonicClock = ACE_Condition_Attributes_T<ACE_Monotonic_Time_Policy>;

ACE_Time_Value deadlineAfter(const Time& timeout) {
    const Time now = Time::now(Time::Monotonic);
    const Time deadline = timeout < Time::forever() - now ? now + timeout : Time::forever();
    const auto seconds =
        std::min<long long>(deadline.toSeconds(), std::numeric_limits<time_t>::max());
    return ACE_Time_Value(static_cast<time_t>(seconds),
                          static_cast<suseconds_t>(deadline.toMicroSeconds() % 1000000));
}

}  // namespace

Monitor::Monitor() : condition_(mutex_.impl(), MonotonicClock()) {}

Monitor::~Monitor() = default;

void Monitor::lock() const {
    mutex_.lock();
}

void Monitor::unlock() const {
    const long long signals = grant();
    mutex_.unlock();
    send(signals);
}

bool Monitor::tryLock() const {
    return mutex_.tryLock();
}

void Monitor::notify() noexcept {
    if (pending_ != kAll) ++pending_;
}

void Monitor::notifyAll() noexcept {
    pending_ = kAll;
}

void Monitor::wait() const {
    waitUntil(nullptr);
}

bool Monitor::wait(const Time& timeout) const {
    const ACE_Time_Value deadline = deadlineAfter(timeout);
    return waitUntil(&deadline);
}

// A thread that wakes up takes one of the granted notifications, whichever signal woke it. There is
// one for each thread that may continue.
bool Monitor::waitUntil(const ACE_Time_Value* deadline) const {
    send(grant());
    const unsigned long long before = broadcasts_;
    ++waiting_;
    for (;;) {
        const bool failed = condition_.wait(deadline) != 0;
        if (broadcasts_ != before) return true;
        if (granted_ != 0) {
            --granted_;
            return true;
        }
        if (failed) {
            --waiting_;
            return false;
        }
    }
}

// Decides how many waiting threads may continue, and returns the number of signals to send.
long long Monitor::grant() const noexcept {
    const long long pending = std::exchange(pending_, 0);
    if (pending == kAll) {
        if (waiting_ == 0) return 0;
        ++broadcasts_;
        waiting_ = granted_ = 0;
        return kAll;
    }
    const auto granted = static_cast<unsigned>(std::min<long long>(pending, waiting_));
    waiting_ -= granted;
    granted_ += granted;
    return granted;
}

void Monitor::send(long long signals) const noexcept {
    if (signals == kAll) {
        condition_.broadcast();
        return;
    }
    for (; signals > 0; --signals)
        condition_.signal();
}

}  // namespace qor
