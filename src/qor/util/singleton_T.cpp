#include "qor/util/singleton_T.h"

#include <new>

#include "platform/thread.h"

namespace qor {

namespace {

struct Lock {
    Mutex mutex;
    Lock* next = nullptr;
};

constinit std::atomic<Lock*> newest{nullptr};

// A thread that held a lock at the fork does not run in the child, since no constructor of a
// singleton may fork.
void enterChild() {
    for (Lock* lock = newest.load(std::memory_order_acquire); lock != nullptr; lock = lock->next)
        new (&lock->mutex) Mutex;
}

// Before all code that creates singletons.
[[gnu::constructor(101)]] void watchForks() {
    platform::callAtFork(nullptr, nullptr, enterChild);
}

}  // namespace

const Mutex& SingletonMutex::make() {
    Lock* const lock = new Lock;
    lock->next = newest.load(std::memory_order_relaxed);
    while (!newest.compare_exchange_weak(lock->next, lock, std::memory_order_release,
                                         std::memory_order_relaxed)) {
    }
    return lock->mutex;
}

}  // namespace qor
