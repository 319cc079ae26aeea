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

// Threads with an apartment of their own, where the system has such a thing. This one has not.
class STAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;
};
class MTAThread : public SimpleThread {
public:
    using SimpleThread::SimpleThread;
};

// Keeps threads that nobody waits for: one that is put here lives until it ends by itself, or until
// close. Any thread may use it; close is not for one of the threads that are kept.
class QOR_API AsyncThreadManager : public ThreadOwner {
public:
    explicit AsyncThreadManager(const istr& name);
    // Closes.
    ~AsyncThreadManager() override;

    // Takes threads again after a close; a new manager takes them at once.
    void open() noexcept { closing_ = false; }
    // Takes a thread that is started. The manager becomes its owner, unless it has one: such a
    // thread, and one that somebody else stops, is kept until close. After close the thread is
    // refused, and the log is told.
    void put(Handle<SimpleThread> thread);
    // Stops what still lives, one after the other, each within 10 seconds; one that does not stop
    // in that time is given up.
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
