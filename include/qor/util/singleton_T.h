#ifndef QOR_UTIL_SINGLETON_T_H
#define QOR_UTIL_SINGLETON_T_H

#include <atomic>

#include "qor/base/class_name.h"
#include "qor/base/mlcheck.h"
#include "qor/mt/mutex.h"

namespace qor {

// The policy of singletons: one T in the process, created at its first use by any thread. It lives
// until destroy; a later use creates a new one. It can be used at any time, also before main and in
// destructors of static objects. The constructor of T may use other singletons, but not T itself,
// directly or indirectly. T befriends CreateByAllocate<T>.
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
        return object != nullptr ? object : make();
    }
    // The caller ensures that the object is not used any more. The lock is not held while the
    // object is destroyed, so its destructor may use any singleton.
    static void destroy() noexcept {
        T* const object = take();
        if (object == nullptr) return;
        objectReleased(object, __FILE__, __LINE__, destroyName());
        delete object;
    }

private:
    static T* take() noexcept {
        // Before the first object there is no lock either, and making one may fail.
        if (instance_.load(std::memory_order_acquire) == nullptr) return nullptr;
        const Guard guard(mutex());
        return instance_.exchange(nullptr, std::memory_order_acq_rel);
    }
    static T* make() {
        static const char* const func = memberName<T>("qor::CreateByAllocate", "create");
        destroyName();
        T* object = nullptr;
        {
            const Guard guard(mutex());
            object = instance_.load(std::memory_order_relaxed);
            if (object != nullptr) return object;
            object = new (__FILE__, __LINE__, func) T();
            instance_.store(object, std::memory_order_release);
        }
        // The leak table may show a new entry on the console, which is a singleton too.
        objectAllocated(object, __FILE__, __LINE__, func);
        return object;
    }

    // Computed when an object is created, so that destroying it allocates nothing.
    static const char* destroyName() {
        static const char* const func = memberName<T>("qor::CreateByAllocate", "destroy");
        return func;
    }

    // Never destroyed: static destructors may still use the object.
    static const Mutex& mutex() {
        static const Mutex* const lock = new Mutex;
        return *lock;
    }

    inline static std::atomic<T*> instance_{nullptr};
};

}  // namespace qor

#endif  // QOR_UTIL_SINGLETON_T_H
