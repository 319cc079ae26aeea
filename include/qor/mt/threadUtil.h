#ifndef QOR_MT_THREADUTIL_H
#define QOR_MT_THREADUTIL_H

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

}  // namespace qor

#endif  // QOR_MT_THREADUTIL_H
