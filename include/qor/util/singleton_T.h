#ifndef QOR_UTIL_SINGLETON_T_H
#define QOR_UTIL_SINGLETON_T_H

#include <atomic>

#include "qor/api.h"
#include "qor/base/class_name.h"
#include "qor/base/mlcheck.h"
#include "qor/mt/mutex.h"

namespace qor {

// Internal: creates mutexes that are never destroyed, and that are free in a forked child.
class SingletonMutex {
    template <class T>
    friend class CreateByAllocate;

    QOR_API static const Mutex& make();
};

// A singleton: one T in the process, created by the first call of instance() on any thread. It
// exists until destroy(); a later instance() creates a new one. It can be used at any time, also
// before main and in destructors of static objects. The constructor of T may use other singletons,
// but not T itself, directly or indirectly, and must not fork. If another thread was creating T
// during a fork, the child creates a T of its own. CreateByAllocate<T> must be a friend of T.
//
// The owner of T instantiates the class once in the library: `extern template class QOR_API
// CreateByAllocate<T>` in T's header, and the same without `extern` and QOR_API in its source.
template <class T>
class CreateByAllocate {
public:
    CreateByAllocate() = delete;

    static void create() { instance(); }
    static T* instance() {
        T* object = instance_.load(std::memory_order_acquire);
        return object != nullptr ? object : prepareAndMake();
    }
    // The caller ensures that no thread uses the object any more. The lock is not held while the
    // object is destroyed, so its destructor may use any singleton.
    static void destroy() noexcept {
        T* const object = take();
        if (object == nullptr) return;
        objectReleased(object, __FILE__, __LINE__, destroyName());
        delete object;
    }

private:
    static T* take() noexcept {
        // Without an object the lock is not used: it may not exist yet, and creating it may fail.
        if (instance_.load(std::memory_order_acquire) == nullptr) return nullptr;
        const Guard guard(mutex());
        return instance_.exchange(nullptr, std::memory_order_acq_rel);
    }
    static T* prepareAndMake() {
        if (!preparedAtLoad_) prepare();
        return make();
    }
    // Called by prepare() for the static alone, it returns null.
    static T* make() {
        static const char* const func = memberName<T>("qor::CreateByAllocate", "create");
        if (!prepared_.load(std::memory_order_acquire)) return nullptr;
        T* object = nullptr;
        {
            const Guard guard(mutex());
            object = instance_.load(std::memory_order_relaxed);
            if (object != nullptr) return object;
            if constexpr (kNeedsAlignedNew<T>) {
                object = new T();
            } else {
                object = new (__FILE__, __LINE__, func) T();
            }
            instance_.store(object, std::memory_order_release);
        }
        // Without the lock: the leak table may show the entry on the console, which is a singleton
        // too.
        objectAllocated(object, __FILE__, __LINE__, func);
        return object;
    }

    static const char* destroyName() {
        static const char* const func = memberName<T>("qor::CreateByAllocate", "destroy");
        return func;
    }

    // Never destroyed: static destructors may still use the object.
    static const Mutex& mutex() {
        static const Mutex* const lock = &SingletonMutex::make();
        return *lock;
    }

    // Creates the statics of the functions above when the library is loaded: if a thread created
    // them during another thread's fork, the child would wait for them for ever. (Version 2.0.5
    // exports them, and programs that were compiled with it use them.) Code that runs before that
    // prepares by itself. Either way, destroying an object allocates nothing.
    static bool prepare() {
        if (prepared_.load(std::memory_order_acquire)) return true;
        make();
        destroyName();
        mutex();
        prepared_.store(true, std::memory_order_release);
        return true;
    }
    inline static constinit std::atomic<bool> prepared_{false};
    inline static bool preparedAtLoad_ = prepare();

    inline static std::atomic<T*> instance_{nullptr};
};

}  // namespace qor

#endif  // QOR_UTIL_SINGLETON_T_H
