#ifndef QOR_MT_THREADUTIL_H
#define QOR_MT_THREADUTIL_H

#include <atomic>
#include <cstddef>

#include "qor/mt/containers.h"
#include "qor/mt/thread.h"

namespace qor {

// A thread that does the work of its owner: run, onBirth, onWait, onWork, onLoop, onDeath and
// onStop call the owner's operation of the same name, or SimpleThread's if the owner has none. If
// the owner's operations are private, OwnedThread must be its friend.
//
//     class Service : public ThreadOwner {
//         bool onLoop();
//         ...
//         Handle<OwnedThread<Service>> thread_;
//     };
//
// A thread that is detached from its owner does not call it again, and ends.
template <class T>
class OwnedThread : public SimpleThread {
public:
    OwnedThread(T* owner, const char* name) : SimpleThread(owner, name) {}

protected:
    T* ownerObject() const { return dynamic_cast<T*>(owner()); }

    void run() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->run(); }) {
            if (owner != nullptr) return owner->run();
        }
        SimpleThread::run();
    }
    bool onBirth() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->onBirth(); }) {
            if (owner != nullptr) return owner->onBirth();
        }
        return owner != nullptr;
    }
    bool onWait() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->onWait(); }) {
            if (owner != nullptr) return owner->onWait();
        }
        return true;
    }
    void onWork() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->onWork(); }) {
            if (owner != nullptr) return owner->onWork();
        }
        SimpleThread::onWork();
    }
    bool onLoop() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->onLoop(); }) {
            if (owner != nullptr) return owner->onLoop();
        }
        return owner != nullptr;
    }
    void onDeath() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->onDeath(); }) {
            if (owner != nullptr) owner->onDeath();
        }
    }
    void onStop() override {
        T* const owner = ownerObject();
        if constexpr (requires { owner->onStop(); }) {
            if (owner != nullptr) owner->onStop();
        }
    }
};

// STAThread and MTAThread are for systems whose threads have apartments. On POSIX they are plain
// SimpleThreads.
class STAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;
};
class MTAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;
};

// Owns threads that no other object waits for: a thread that was put here is kept until it ends by
// itself or until close. Any thread may use a manager, but none of the kept threads may call close.
class QOR_API AsyncThreadManager : public ThreadOwner {
public:
    explicit AsyncThreadManager(const istr& name);
    // Calls close.
    ~AsyncThreadManager() override;

    // Accepts threads again after close. A new manager is open.
    void open() noexcept { closing_ = false; }
    // Adds a started thread; a null handle raises NullHandleException. The manager becomes the
    // thread's owner if it has none. A thread that has another owner, or that other code stops, is
    // kept until close. After close the thread is not added, and an error is logged.
    void put(Handle<SimpleThread> thread);
    // Stops the remaining threads one after the other. A thread that has not ended after 10
    // seconds, or whose stop raises, is detached and keeps running.
    void close();
    // The number of threads kept.
    std::size_t size() const { return threads_.size(); }

    void onThreadExit(Thread* thread) override;
    // The threads are kept alive while they are dumped.
    dumper& dump(dumper& d) const;

private:
    mt::set<Handle<SimpleThread>> threads_;  // its lock also guards the decision to accept a thread
    const String name_;
    std::atomic<bool> closing_{false};
};

}  // namespace qor

#endif  // QOR_MT_THREADUTIL_H
