#ifndef QOR_SRC_MT_REGISTRY_LOCK_H
#define QOR_SRC_MT_REGISTRY_LOCK_H

#include <atomic>

#include "platform/thread.h"
#include "qor/mt/mutex.h"

namespace qor {

// The lock of a registry of threads; a thread finds its own entry without it. Each registry has its
// own lock, identified by Tag.
template <class Tag>
struct RegistryLock {
    // Lock it for each use of the registry, so that the registry may be destroyed at any time; it
    // is also locked during a fork. It is never destroyed, since threads may use it at any time.
    // The registry's source calls it when the library is loaded, as platform/first_use.h says.
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

    // Incremented when the registry loses the threads' entries: when it is destroyed, and in a
    // forked child.
    inline static constinit std::atomic<unsigned> epoch{1};
};

}  // namespace qor

#endif  // QOR_SRC_MT_REGISTRY_LOCK_H
