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

// Threads. To write a worker, derive from SimpleThread, override the operations that its work
// needs, and own it by a Handle.

namespace qor {

class dumper;
class SimpleThread;

namespace platform {
struct SystemThread;
}

// The system's number of a thread.
class ThreadId {
public:
    constexpr ThreadId(unsigned id) noexcept : id_(id) {}
    constexpr operator unsigned() const noexcept { return id_; }

private:
    unsigned id_;
};

QOR_API std::ostream& operator<<(std::ostream& os, const ThreadId& id);
QOR_API dumper& operator<<(dumper& d, const ThreadId& id);

// The system's handle of a thread, or none. The Thread object and all of its ThreadControls share
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

// Lets other threads query a thread and wait for its end. It may outlive both the thread and the
// Thread object. Any thread may use it.
class QOR_API ThreadControl {
public:
    // For the calling thread.
    ThreadControl();
    ThreadControl(const Handle<WinHandleWrapper>& handle, const ThreadId& id);
    ThreadControl(const ThreadControl& other);
    ThreadControl& operator=(const ThreadControl& other);

    static ThreadControl current() { return ThreadControl(); }

    // Compare the threads' ids. After a thread has ended, the system may reuse its id.
    bool operator==(const ThreadControl& other) const { return id() == other.id(); }
    bool operator<(const ThreadControl& other) const { return id() < other.id(); }
    ThreadId id() const;

    // Waits until the thread has ended, or returns at once if it has. Any number of threads may
    // join a thread. Raises ThreadSyscallException if a thread joins itself, and if the thread was
    // not started by Thread.
    void join() const;
    // Does nothing: a thread that is not joined releases its resources itself.
    void detach() const noexcept {}
    // Whether the thread's body is still running.
    bool isAlive() const;

    // Sleeps for the time in whole milliseconds.
    static void sleep(const Time& time);
    static void yield();

private:
    Handle<WinHandleWrapper> handle() const;

    Mutex mutex_;
    Handle<WinHandleWrapper> handle_;
    ThreadId id_;
};

// The calling thread sleeps.
QOR_API void sleep(unsigned long milliseconds);

// A thread, which can be started once. While its body runs, the thread keeps its object alive.
//
// If an exception leaves the body, it is dropped and the thread ends. If the environment variable
// QOR_RETHROW is exactly "on", the exception is not caught, and the process ends.
class QOR_API Thread : public virtual Shared {
public:
    // Starts the body with a stack of stackSize bytes, at least the system's minimum; 0 means the
    // system's default. Raises ThreadStartedException for a second start. If the system cannot
    // start a thread, raises ThreadSyscallException and leaves the object unchanged.
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

    // The two halves of start: checkLaunch raises the exceptions for the result of launch. The
    // caller can release its locks in between.
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

// The data of a thread for the log. Only the thread itself changes its record.
struct QOR_API ThreadInfo {
    // Sets the time from the wall clock, and the text if it has changed.
    void updateDateTime();
    // Writes the scope "qor::ThreadInfo".
    dumper& dump(dumper& d) const;

    SimpleThread* thread_ = nullptr;  // null if the thread is not a SimpleThread
    String sThreadId_;                // "{process.thread}", or "<process.thread>" if it is none
    Time currDateTime_;
    String sCurrDateTime_;  // in the form of Time::toDateTime
};

// `d << THREAD_FACTORY()` writes the records of all threads.
struct THREAD_FACTORY {};
QOR_API dumper& operator<<(dumper& d, THREAD_FACTORY);

// An object that is notified when its threads end. It must outlive its threads, or call stop or
// detach for each of them first. stop waits for the thread; detach does not wait for a notification
// that has already begun.
class QOR_API ThreadOwner {
public:
    explicit ThreadOwner(const char* name);
    ThreadOwner(const ThreadOwner&) = delete;
    ThreadOwner& operator=(const ThreadOwner&) = delete;
    virtual ~ThreadOwner();

    // Called on the thread after its work, unless stop() was called for it.
    virtual void onThreadExit(Thread* thread) = 0;

    const String& ownername() const noexcept { return ownername_; }

private:
    String ownername_;
};

// A worker thread. It runs onBirth, then a loop of onWait and onWork until it is stopped, then
// onDeath:
//
//     class Pump : public SimpleThread {
//     public:
//         Pump() : SimpleThread(nullptr, "pump") {}
//     protected:
//         void onWork() override { pumpOnce(); }
//         bool onWait() override { return wait(Time::milliSeconds(100)), true; }
//     };
//
//     const Handle<Pump> pump = makeHandle<Pump>("main");
//     pump->startAndWait();
//     pump->stop();
//
// The operations that begin with "on" run on the thread itself, except onStop, which runs on the
// thread that requests the end. No lock is held while they run. If one of them raises on the
// thread, the thread ends as described at Thread, and the owner is still notified.
//
// Any thread that has a Handle, and the thread itself, may call all other operations.
class QOR_API SimpleThread : public Thread {
public:
    // The owner may be null.
    SimpleThread(ThreadOwner* owner, const char* name);

    // Starts the thread and waits until onBirth has run or notify is called. Raises as
    // Thread::start.
    void startAndWait(unsigned stackSize = 0);
    // Returns false on timeout; the thread keeps running.
    bool startAndWait(Time timeout, unsigned stackSize = 0);
    void startUntilInitialized(unsigned stackSize) { startAndWait(stackSize); }

    // Requests the end of the thread after its current pass, and waits until it has ended. Does not
    // wait if called on the thread itself. If the thread is not started, does not wait either; the
    // thread, started later, runs onBirth and onDeath only. The owner is not notified.
    void stop();
    // Returns false on timeout. The thread then loses its owner and keeps running until it next
    // checks living(). Polls every 20 ms. The timeout does not include the destructors of the
    // thread's thread_local objects, which run after its body.
    bool stop(Time timeout);
    // Requests the end and does not wait. The owner is notified when the thread ends.
    void stopOnly();
    // Wait for the end as the two stops do, but do not request it. Raise ThreadNotStartedException
    // before the start.
    void join();
    bool join(Time timeout);
    // The owner will not be notified of the thread's end.
    void detach() { owner(nullptr); }

    // activeStopping: whether stop() was called. living: false once the end was requested.
    bool activeStopping() const noexcept { return activeStopping_.load(); }
    bool living() const noexcept { return living_.load(); }
    // living(false) calls livingEnd(); living(true) raises InvalidDataException.
    void living(bool on);
    // Requests the end of the thread and calls onStop. All stops call it.
    void livingEnd();

    // Wait for notify, at most for the timeout. After the end was requested they return at once.
    // Return false on timeout.
    void wait() const;
    bool wait(const Time& timeout) const;
    // Wakes one thread that is in wait(). If there is none, the notification is lost.
    void notify();

    ThreadOwner* owner() const;
    void owner(ThreadOwner* owner);
    // Sets the owner if the thread has none. Returns false if the thread has already reported its
    // end, so that the owner will not be notified.
    bool adopt(ThreadOwner* owner);

    const String& name() const noexcept { return name_; }
    // The name; once the thread runs, threadIdString is appended.
    String fullname() const;
    // These raise ThreadNotStartedException before the start. A call on the thread itself updates
    // its time stamp; a call on another thread reads the last time stamp.
    String threadIdString() const { return info().sThreadId_; }
    String currDateTimeString() const { return info().sCurrDateTime_; }
    Time currDateTime() const { return info().currDateTime_; }
    ThreadInfo info() const;

    // The calling thread's record, created at the first call; each call updates its time stamp. The
    // reference is valid as long as the thread runs. It may be called at any time, even before
    // init. If there is no memory for a record, the texts are empty.
    static const ThreadInfo& current() noexcept;
    // Removes the records of all threads from the registry. A thread that still runs is added again
    // at its next call of current().
    static void destroyThreadFactory() noexcept;

    // Writes the scope "qor::SimpleThread".
    virtual dumper& dump(dumper& d) const;

protected:
    ~SimpleThread() override;

    void run_i() override;
    // onBirth, the loop, and onDeath. onDeath is called even if the others raise.
    virtual void run();

    // Called first. Return false to skip the loop. startAndWait returns in both cases.
    virtual bool onBirth() { return true; }
    // Called before each onWork. Return false to skip onWork in this pass.
    virtual bool onWait() { return true; }
    // The work of one pass: calls onLoop, and ends the loop if that returns false.
    virtual void onWork();
    virtual bool onLoop() { return true; }
    virtual void onDeath() {}
    // Override it to wake the thread from a blocking call. It may run more than once.
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

    Mutex mutex_;  // guards the owner, the full name, and whether the end was reported
    ThreadOwner* owner_;
    bool exitReported_ = false;
    mutable Monitor monitor_;
    const String name_;
    String fullname_;
    std::atomic<bool> living_{true};
    std::atomic<bool> activeStopping_{false};
};

}  // namespace qor

#endif  // QOR_MT_THREAD_H
