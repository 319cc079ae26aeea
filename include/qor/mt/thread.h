#ifndef QOR_MT_THREAD_H
#define QOR_MT_THREAD_H

#include <atomic>
#include <iosfwd>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/mt/monitor.h"
#include "qor/mt/mutex.h"
#include "qor/mt/shared.h"

// Threads. A worker derives from SimpleThread, overrides what its work needs, and is held by
// Handle.

namespace qor {

class dumper;
class SimpleThread;

namespace platform {
struct SystemThread;
}

// The system's number of a thread. It orders and compares as the number does.
class ThreadId {
public:
    constexpr ThreadId(unsigned id) noexcept : id_(id) {}
    constexpr operator unsigned() const noexcept { return id_; }

private:
    unsigned id_;
};

QOR_API std::ostream& operator<<(std::ostream& os, const ThreadId& id);
QOR_API dumper& operator<<(dumper& d, const ThreadId& id);

// The system's handle of one thread, or of none. The thread's object and all of its controls share
// it; the last one closes it.
class QOR_API WinHandleWrapper : public Shared, noncopyable {
public:
    WinHandleWrapper() noexcept = default;
    ~WinHandleWrapper() override;

private:
    friend class Thread;
    friend class ThreadControl;

    platform::SystemThread* thread_ = nullptr;
};

// What other threads may ask of a thread. It may outlive both the thread and its object. Any thread
// may use it.
class QOR_API ThreadControl {
public:
    // Of the calling thread.
    ThreadControl();
    ThreadControl(const Handle<WinHandleWrapper>& handle, const ThreadId& id);
    ThreadControl(const ThreadControl& other);
    ThreadControl& operator=(const ThreadControl& other);

    static ThreadControl current() { return ThreadControl(); }

    // By the thread's id. Once a thread has ended the system may give its id to another one.
    bool operator==(const ThreadControl& other) const { return id() == other.id(); }
    bool operator<(const ThreadControl& other) const { return id() < other.id(); }
    ThreadId id() const;

    // Waits until the thread has ended; any number of threads may do so, also later. Raises
    // ThreadSyscallException for a thread that waits for itself, and for one that was not started
    // by Thread.
    void join() const;
    // Nothing: a thread that nobody joins cleans up behind itself.
    void detach() const noexcept {}
    // False as soon as the thread's body has ended.
    bool isAlive() const;

    // In whole milliseconds.
    static void sleep(const Time& time);
    static void yield();

private:
    Handle<WinHandleWrapper> handle() const;

    Mutex mutex_;
    Handle<WinHandleWrapper> handle_;
    ThreadId id_;
};

// For whole milliseconds.
QOR_API void sleep(unsigned long milliseconds);

// A thread that is started once. While its body runs it holds a share in its own object.
//
// An exception that leaves the body is dropped and the thread ends, unless the environment variable
// QOR_RETHROW is exactly "on": then the exception goes on, which ends the process.
class QOR_API Thread : public virtual Shared {
public:
    // Starts the body in a stack of so many bytes: 0 is the system's default, and what is too small
    // is raised. Raises ThreadStartedException for a second start, ThreadSyscallException when
    // there is no thread to be had; the object is then as it was.
    ThreadControl start(unsigned stackSize = 0);
    // These raise ThreadNotStartedException before the start.
    ThreadControl getThreadControl() const;
    ThreadId id() const;
    // By id().
    bool operator==(const Thread& other) const { return id() == other.id(); }
    bool operator<(const Thread& other) const { return id() < other.id(); }

    bool started() const;

protected:
    Thread();
    ~Thread() override;

    // The body.
    virtual void run_i() = 0;

    // The two halves of start: the second raises for what the first returns. So a caller can let
    // its locks go in between.
    int launch(unsigned stackSize);
    static void checkLaunch(int result);

    bool finished() const noexcept { return finished_.load(std::memory_order_acquire); }
    void finish() noexcept { finished_.store(true, std::memory_order_release); }

private:
    static void enter(void* share);
    Handle<WinHandleWrapper> handle() const;

    bool started_ = false;
    Mutex mutex_;
    const Handle<WinHandleWrapper> handle_;
    std::atomic<bool> finished_{false};
};

// What the log says of a thread. A record changes on its own thread only.
struct QOR_API ThreadInfo {
    // The wall clock's time; the text is made anew when it would read differently.
    void updateDateTime();
    // The scope "qor::ThreadInfo".
    dumper& dump(dumper& d) const;

    SimpleThread* thread_ = nullptr;  // null for a thread that is no SimpleThread
    String sThreadId_;                // "{process.thread}", or "<process.thread>" if it is none
    Time currDateTime_;
    String sCurrDateTime_;  // in the form of Time::toDateTime
};

// For `d << THREAD_FACTORY()`: the records of all threads, in the scope "qor::ThreadFactory".
struct THREAD_FACTORY {};
QOR_API dumper& operator<<(dumper& d, THREAD_FACTORY);

// Who is told of the end of its threads. It is to outlive them or to leave them first: stop waits
// for a thread, and after detach a call that is under way may still come.
class QOR_API ThreadOwner {
public:
    explicit ThreadOwner(const char* name);
    ThreadOwner(const ThreadOwner&) = delete;
    ThreadOwner& operator=(const ThreadOwner&) = delete;
    virtual ~ThreadOwner();

    // On the thread, when its work is over, unless its end was waited for by stop.
    virtual void onThreadExit(Thread* thread) = 0;

    const String& ownername() const noexcept { return ownername_; }

private:
    String ownername_;
};

// A worker. Its life is birth, a loop of waiting and working, and death:
//
//     class Pump : public SimpleThread {
//     public:
//         Pump() : SimpleThread(nullptr, "pump") {}
//     protected:
//         void onWork() override { pumpOnce(); }
//         bool onWait() override { return wait(Time::milliSeconds(100)), true; }
//     };
//
//     const Handle<Pump> pump(new Pump);
//     pump->startAndWait();
//     pump->stop();
//
// The operations that begin with "on" run on the thread, but onStop, which runs on the one that
// stops it. No lock is held around any of them. What raises ends the thread as an exception of its
// body does, and its death is told all the same.
//
// All other operations may be called by any thread that holds a Handle, also by the thread itself.
class QOR_API SimpleThread : public Thread {
public:
    // A null owner is told nothing.
    SimpleThread(ThreadOwner* owner, const char* name);

    // Start and wait until the thread has told of its birth, or until somebody calls notify.
    void startAndWait(unsigned stackSize = 0);
    // False if the time passed first. The thread runs then too.
    bool startAndWait(Time timeout, unsigned stackSize = 0);
    void startUntilInitialized(unsigned stackSize) { startAndWait(stackSize); }

    // Tells the thread to end after its current pass and waits until it has. On the thread itself
    // it does not wait. A thread that is not started stays so; started later, it is born and dies.
    void stop();
    // Returns false on timeout. The thread then loses its owner and keeps running until it next
    // checks living(). Polls every 20 ms.
    bool stop(Time timeout);
    // Does not wait, and the owner is told of the end.
    void stopOnly();
    // Wait for the end alone, as stop does. Raise ThreadNotStartedException before the start.
    void join();
    bool join(Time timeout);
    // The owner is told nothing from now on.
    void detach() { owner(nullptr); }

    // Whether a stop waits for the end, and whether the work goes on.
    bool activeStopping() const noexcept { return activeStopping_.load(); }
    bool living() const noexcept { return living_.load(); }
    // False is livingEnd(); true raises InvalidDataException.
    void living(bool on);
    // Tells the thread to end, on the way that all stops share.
    void livingEnd();

    // Wait for notify, for the time given at most, or not at all when the work is over. False if
    // the time passed first.
    void wait() const;
    bool wait(const Time& timeout) const;
    // Wakes one that waits. It is not kept for one that comes to wait later.
    void notify();

    ThreadOwner* owner() const;
    void owner(ThreadOwner* owner);
    // Gives a thread that has no owner to this one. False if the end of the thread has been told
    // already: this owner will not hear of it.
    bool adopt(ThreadOwner* owner);

    const String& name() const noexcept { return name_; }
    // The name, and behind it, once the thread runs, its threadIdString.
    String fullname() const;
    // These raise ThreadNotStartedException before the start. On the thread itself they renew its
    // time stamp; elsewhere they tell what it was last.
    String threadIdString() const { return info().sThreadId_; }
    String currDateTimeString() const { return info().sCurrDateTime_; }
    Time currDateTime() const { return info().currDateTime_; }
    ThreadInfo info() const;

    // The calling thread's record, made at the first use and with its time stamp renewed. It is
    // good for as long as the thread runs. Can be asked for at any time, and never raises; without
    // memory for a record its texts are empty.
    static const ThreadInfo& current() noexcept;
    // Forgets the records of all threads; those that go on are entered again by their next use.
    static void destroyThreadFactory() noexcept;

    // The scope "qor::SimpleThread".
    virtual dumper& dump(dumper& d) const;

protected:
    ~SimpleThread() override;

    void run_i() override;
    // The loop. What it raises does not keep onDeath from being called.
    virtual void run();

    // False: no loop. In both cases startAndWait returns.
    virtual bool onBirth() { return true; }
    // False: no work in this pass.
    virtual bool onWait() { return true; }
    // A pass: calls onLoop, and ends the loop if that is false.
    virtual void onWork();
    virtual bool onLoop() { return true; }
    virtual void onDeath() {}
    // The place to wake the thread out of a blocking call. May run more than once.
    virtual void onStop() {}

private:
    bool onBirth_i();
    bool onWait_i();
    void onStop_i();
    void loop();
    void begin();
    void end();
    void on_thread_exit();
    void endLiving();
    void tellAll();
    bool isCurrent() const;

    Mutex mutex_;  // guards the owner, the full name, and whether the end has been told
    ThreadOwner* owner_;
    bool exitTold_ = false;
    mutable Monitor monitor_;
    const String name_;
    String fullname_;
    std::atomic<bool> living_{true};
    std::atomic<bool> activeStopping_{false};
};

}  // namespace qor

#endif  // QOR_MT_THREAD_H
