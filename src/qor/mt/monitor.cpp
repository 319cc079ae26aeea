#include "qor/mt/monitor.h"

#include <ace/Condition_Attributes.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "platform/thread.h"

namespace qor {

namespace {

using MonotonicClock = ACE_Condition_Attributes_T<ACE_Monotonic_Time_Policy>;

ACE_Time_Value deadlineAfter(const Time& timeout) {
    const Time now = Time::now(Time::Monotonic);
    // With a time before 0 the system would refuse to wait, and keep the mutex.
    const Time deadline =
        timeout < Time::forever() - now ? std::max(now + timeout, Time()) : Time::forever();
    const auto seconds =
        std::min<long long>(deadline.toSeconds(), std::numeric_limits<time_t>::max());
    return ACE_Time_Value(static_cast<time_t>(seconds),
                          static_cast<suseconds_t>(deadline.toMicroSeconds() % 1000000));
}

}  // namespace

// A waiting thread: lives on its stack, and is in the first ring until it has a notification. Used
// with the mutex held; so is the destructor, even if the thread is cancelled.
class Monitor::Waiter : noncopyable {
public:
    explicit Waiter(const Monitor& monitor) : monitor_(monitor), turn_(monitor.turns_++) {
        enter(monitor.first_, false);
    }
    ~Waiter() {
        if (!granted_) {
            leave(monitor_.first_);
        } else if (isOwed_) {
            // A thread that is cancelled passes its notification on.
            leave(monitor_.owed_);
            if (monitor_.pending_ != kAll) ++monitor_.pending_;
        }
    }

    bool isGranted() const noexcept { return granted_; }
    Waiter& last() noexcept { return *before_; }
    void grant(bool toAll) noexcept {
        leave(monitor_.first_);
        granted_ = true;
        isOwed_ = !toAll;
        sent_ = monitor_.turns_;
        if (isOwed_) enter(monitor_.owed_, false);
    }
    void take() noexcept {
        if (std::exchange(isOwed_, false)) leave(monitor_.owed_);
    }
    // For a thread that was woken by the signal for another one. If it was already waiting when
    // that was sent, it takes the notification, and the other one waits for the next.
    bool takeFrom(Waiter& other) noexcept {
        if (turn_ >= other.sent_) return false;
        other.take();
        other.granted_ = false;
        other.enter(monitor_.first_, true);
        leave(monitor_.first_);
        granted_ = true;
        return true;
    }

private:
    void enter(Waiter*& first, bool atFront) noexcept {
        next_ = before_ = this;
        if (first != nullptr) {
            next_ = first;
            before_ = first->before_;
            before_->next_ = next_->before_ = this;
        }
        if (first == nullptr || atFront) first = this;
    }
    void leave(Waiter*& first) noexcept {
        if (first == this) first = next_ == this ? nullptr : next_;
        before_->next_ = next_;
        next_->before_ = before_;
    }

    const Monitor& monitor_;
    const unsigned long long turn_;  // when the thread began to wait
    unsigned long long sent_ = 0;    // when its notification was sent
    Waiter* next_ = this;
    Waiter* before_ = this;
    bool granted_ = false;
    bool isOwed_ = false;  // the notification is for one thread, and this one has not returned yet
};

Monitor::Monitor() : condition_(mutex_.impl(), MonotonicClock()), forks_(platform::forkCount()) {}

Monitor::~Monitor() {
    forgetOtherProcess();
}

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

bool Monitor::waitUntil(const ACE_Time_Value* deadline) const {
    send(grant());
    Waiter self(*this);
    for (;;) {
        const bool failed = condition_.wait(deadline) != 0;
        if (self.isGranted()) {
            self.take();
            return true;
        }
        // The system may wake another thread than the one that has the notification.
        if (owed_ != nullptr) {
            if (self.takeFrom(owed_->last())) return true;
            if (std::exchange(mayBeLost_, false)) condition_.broadcast();
        }
        if (failed) return false;
    }
}

// Gives the pending notifications to the threads that have waited longest, and returns the number
// of signals to send.
long long Monitor::grant() const noexcept {
    forgetOtherProcess();
    const long long pending = std::exchange(pending_, 0);
    long long count = 0;
    while (first_ != nullptr && count != pending) {
        first_->grant(pending == kAll);
        ++count;
    }
    if (count == 0) return 0;
    mayBeLost_ = pending != kAll;
    return mayBeLost_ ? count : kAll;
}

// A child does not have the threads that waited, and may use their stacks for its own. The
// condition would give signals to them, and its destructor would wait for them: it is made again.
void Monitor::forgetOtherProcess() const noexcept {
    if (forks_ == platform::forkCount()) return;
    forks_ = platform::forkCount();
    first_ = owed_ = nullptr;
    mayBeLost_ = false;
    new (&condition_) ACE_Condition_Thread_Mutex(mutex_.impl(), MonotonicClock());
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
