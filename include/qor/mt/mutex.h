#ifndef QOR_MT_MUTEX_H
#define QOR_MT_MUTEX_H

#include <ace/Thread_Mutex.h>

#include "qor/api.h"
#include "qor/base/interface.h"

namespace qor {

// A mutex that is not recursive: a thread that locks it twice deadlocks, and a thread that has it
// gets false from tryLock. The operations are const, so that const members can lock.
class QOR_API Mutex : noncopyable {
public:
    Mutex();
    ~Mutex();

    void lock() const;
    void unlock() const;
    // Takes the lock if it is free; returns whether it did.
    bool tryLock() const;
    // Always true, since the mutex is not recursive: unlock releases it.
    bool willUnlock() const noexcept { return true; }
    ACE_Thread_Mutex& impl() const noexcept { return impl_; }

private:
    mutable ACE_Thread_Mutex impl_;
};

// Holds a Mutex for a scope.
class [[nodiscard]] Guard : noncopyable {
public:
    explicit Guard(const Mutex& mutex) : mutex_(mutex) { mutex.lock(); }
    ~Guard() { mutex_.unlock(); }

private:
    const Mutex& mutex_;
};

}  // namespace qor

#endif  // QOR_MT_MUTEX_H
