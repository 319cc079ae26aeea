#ifndef QOR_SRC_MT_REGISTRY_LOCK_H
#define QOR_SRC_MT_REGISTRY_LOCK_H

#include <atomic>

#include "platform/thread.h"
#include "qor/mt/mutex.h"

namespace qor {

// What a registry of threads is guarded by, which the threads find their own entry in without. Each
// registry has its own one, named by a tag.
template <class Tag>
struct RegistryLock {
    // Held during every use of the registry, so that it may be destroyed at any time, and during a
    // fork. Never destroyed, since threads may use it at any time. The registry's source creates it
    // when the library is loaded: if a thread created it during another thread's fork, the child
    // would not have it.
    static const Mutex& get() {
        static const Mutex& lock = *new Mutex;
        static const bool watched = [] {
            platform::callAtFork([] { lock.lock(); }, [] { lock.unlock(); },
                                 [] {
                                     epoch.fetch_add(1, std::memory_order_relaxed);
                                     lock.unlock();
                                 });
            return true;
        }();
        static_cast<void>(watched);
        return lock;
    }

    // Incremented when the threads' entries are lost: when the registry is destroyed, and in a
    // forked child.
    inline static constinit std::atomic<unsigned> epoch{1};
};

}  // namespace qor

#endif  // QOR_SRC_MT_REGISTRY_LOCK_H
