#ifndef QOR_MT_THREADUTIL_H
#define QOR_MT_THREADUTIL_H

#include <atomic>
#include <cstddef>

#include "qor/mt/containers.h"
#include "qor/mt/thread.h"

namespace qor {

// A thread that does the work of its owner: run, onBirth, onWait, onWork, onLoop, onDeath and
// onStop are the owner's operations of these names, where it has them, and SimpleThread's where it
// does not. An owner with private operations befriends its OwnedThread.
//
//     class Service : public ThreadOwner {
//         bool onLoop();
//         ...
//         Handle<OwnedThread<Service>> thread_;
//     };
//
// A thread that is detached from its owner no longer calls it, and ends.
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

// A thread with an apartment of its own, on systems that have them. Here it is a SimpleThread.
class STAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;
};
class MTAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;
};

// Keeps threads that no other object waits for: a thread that is put here lives until it ends by
// itself or until close. Any thread may use it, but none of the kept threads may call close.
class QOR_API AsyncThreadManager : public ThreadOwner {
public:
    explicit AsyncThreadManager(const istr& name);
    // Closes.
    ~AsyncThreadManager() override;

    // Takes threads again after a close; a new manager takes them at once.
    void open() noexcept { closing_ = false; }
    // Takes a started thread. The manager becomes its owner unless it has one; a thread with
    // another owner, and one that is stopped by other code, is kept until close. After close the
    // thread is refused with a log entry.
    void put(Handle<SimpleThread> thread);
    // Stops the remaining threads one by one. A thread that does not stop within 10 seconds is
    // abandoned.
    void close();
    // The number of threads kept.
    std::size_t size() const { return threads_.size(); }

    void onThreadExit(Thread* thread) override;
    // The scope "qor::AsyncThreadManager". The threads are held meanwhile.
    dumper& dump(dumper& d) const;

private:
    mt::set<Handle<SimpleThread>> threads_;  // its lock guards the decision to take a thread too
    const String name_;
    std::atomic<bool> closing_{false};
};

}  // namespace qor

#endif  // QOR_MT_THREADUTIL_H
