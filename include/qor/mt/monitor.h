#ifndef QOR_MT_MONITOR_H
#define QOR_MT_MONITOR_H

#include <ace/Condition_Thread_Mutex.h>

#include "qor/api.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/mt/mutex.h"

namespace qor {

// A mutex with a condition variable. Notifications are sent when the mutex is released, by unlock
// or by a wait, so that no thread wakes up only to block on the mutex.
//
//     {
//         const Monitor::Lock lock(monitor);
//         lines.push_back(line);
//         monitor.notify();
//     }
//
// Each notification wakes one thread that is waiting when it is sent, usually the one that has
// waited longest. If no thread is waiting, it is lost. There are no spurious wake-ups. Still, test
// the condition in a loop: another thread may take the mutex before the woken thread has it.
//
// Any thread may use a monitor; it is not recursive. unlock sends the signals after it has released
// the mutex: the caller must ensure that no other thread destroys the monitor before unlock
// returns. In a forked child it has no waiting threads; the lock must not have been held by another
// thread at the fork.
class QOR_API Monitor : noncopyable {
public:
    // Holds a Monitor for a scope.
    class [[nodiscard]] Lock : noncopyable {
    public:
        explicit Lock(const Monitor& monitor) : monitor_(monitor) { monitor.lock(); }
        ~Lock() { monitor_.unlock(); }

    private:
        const Monitor& monitor_;
    };

    Monitor();
    ~Monitor();

    void lock() const;
    void unlock() const;
    // Takes the lock if it is free; returns whether it did.
    bool tryLock() const;

    // Call these only with the lock held.

    // Wake one waiting thread, or all of them.
    void notify() noexcept;
    void notifyAll() noexcept;
    // Releases the lock, waits for a notification, and takes the lock again.
    void wait() const;
    // False on timeout, measured on the monotonic clock.
    bool wait(const Time& timeout) const;

private:
    class Waiter;

    static constexpr long long kAll = -1;

    bool waitUntil(const ACE_Time_Value* deadline) const;
    long long grant() const noexcept;
    void send(long long signals) const noexcept;
    void forgetOtherProcess() const noexcept;

    Mutex mutex_;
    mutable ACE_Condition_Thread_Mutex condition_;
    // The mutex guards the following members. pending_ is always 0 when the mutex is taken.
    mutable long long pending_ = 0;
    // The threads that wait and have no notification yet: a ring, from the one that has waited
    // longest.
    mutable Waiter* first_ = nullptr;
    // The threads that have a notification for one thread and have not returned yet: a ring.
    mutable Waiter* owed_ = nullptr;
    // Whether a signal for one of these may have woken another thread.
    mutable bool mayBeLost_ = false;
    // The number of waits that have begun.
    mutable unsigned long long turns_ = 0;
    // A child does not have the threads of the ring: the forks before the last use of the ring.
    mutable unsigned short forks_;
};

}  // namespace qor

#endif  // QOR_MT_MONITOR_H
