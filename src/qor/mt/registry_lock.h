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
    // Around every use of the registry, so that it may go at any time, and around a fork. Never
    // destroyed, as nothing that threads may come back to. The registry's source asks for it when
    // the library is loaded: a thread that makes it while another one forks would leave the child
    // without it.
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

    // Counts up when the registry is no longer what the threads were entered in: when it is
    // destroyed, and in a forked child.
    inline static constinit std::atomic<unsigned> epoch{1};
};

}  // namespace qor

#endif  // QOR_SRC_MT_REGISTRY_LOCK_H
