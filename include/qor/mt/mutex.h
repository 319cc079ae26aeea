#ifndef QOR_MT_MUTEX_H
#define QOR_MT_MUTEX_H

#include <ace/Thread_Mutex.h>

#include "qor/api.h"
#include "qor/base/interface.h"

namespace qor {

// A mutex that is not recursive: a thread that locks it twice deadlocks, and its tryLock fails.
// The operations are const so that const members can lock.
class QOR_API Mutex : noncopyable {
public:
    Mutex();
    ~Mutex();

    void lock() const;
    void unlock() const;
    // True if the calling thread has the lock now.
    bool tryLock() const;
    // Whether unlock really unlocks: always.
    bool willUnlock() const noexcept { return true; }
    ACE_Thread_Mutex& impl() const noexcept { return impl_; }

private:
    mutable ACE_Thread_Mutex impl_;
};

// Holds a Mutex for a scope.
class Guard : noncopyable {
public:
    explicit Guard(const Mutex& mutex) : mutex_(mutex) { mutex.lock(); }
    ~Guard() { mutex_.unlock(); }

private:
    const Mutex& mutex_;
};

}  // namespace qor

#endif  // QOR_MT_MUTEX_H
