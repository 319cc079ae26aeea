#ifndef QOR_UTIL_SINGLETON_T_H
#define QOR_UTIL_SINGLETON_T_H

#include <atomic>

#include "qor/base/class_name.h"
#include "qor/base/mlcheck.h"
#include "qor/mt/mutex.h"

namespace qor {

// The policy of singletons: one T in the process, made at its first use by any thread and alive
// until destroy, after which a use makes a new one. It can be asked for at any time, before main
// and in the destructors of static objects too. The constructor of T may ask for other singletons,
// but not, on any way, for T itself. T befriends CreateByAllocate<T>.
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
    // The caller sees to it that nobody uses the object any more. The lock is not held while the
    // object goes, so its destructor may ask for any singleton.
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
        // The leak table may show what is entered on the console, a singleton too.
        objectAllocated(object, __FILE__, __LINE__, func);
        return object;
    }

    // First asked for when an object is made, so that destroying it allocates nothing.
    static const char* destroyName() {
        static const char* const func = memberName<T>("qor::CreateByAllocate", "destroy");
        return func;
    }

    // Never destroyed: static destructors may still ask for the object.
    static const Mutex& mutex() {
        static const Mutex* const lock = new Mutex;
        return *lock;
    }

    inline static std::atomic<T*> instance_{nullptr};
};

}  // namespace qor

#endif  // QOR_UTIL_SINGLETON_T_H
