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
// needs, and hold it by Handle.

namespace qor {

class dumper;
class SimpleThread;

namespace platform {
struct SystemThread;
}

// The system's number of a thread. It compares as the number does.
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

// Lets other threads query a thread and wait for it. It may outlive both the thread and its object.
// Any thread may use it.
class QOR_API ThreadControl {
public:
    // Of the calling thread.
    ThreadControl();
    ThreadControl(const Handle<WinHandleWrapper>& handle, const ThreadId& id);
    ThreadControl(const ThreadControl& other);
    ThreadControl& operator=(const ThreadControl& other);

    static ThreadControl current() { return ThreadControl(); }

    // Compare the threads' ids. After a thread has ended, the system may reuse its id.
    bool operator==(const ThreadControl& other) const { return id() == other.id(); }
    bool operator<(const ThreadControl& other) const { return id() < other.id(); }
    ThreadId id() const;

    // Waits until the thread has ended; any number of threads may do so, also later. Raises
    // ThreadSyscallException for a thread that waits for itself, and for one that was not started
    // by Thread.
    void join() const;
    // Does nothing: a thread that is not joined releases its resources itself.
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
// An exception that leaves the body is dropped and the thread ends. If the environment variable
// QOR_RETHROW is exactly "on", the exception is not caught, which ends the process.
class QOR_API Thread : public virtual Shared {
public:
    // Starts the body with a stack of stackSize bytes: 0 is the system's default, and the system's
    // minimum is used if that is larger. Raises ThreadStartedException for a second start, and
    // ThreadSyscallException, with the object unchanged, if the system has no thread.
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

    // The two halves of start: the second raises for the result of the first. A caller can release
    // its locks in between.
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

// The data of a thread for the log. A record changes on its own thread only.
struct QOR_API ThreadInfo {
    // Sets the time from the wall clock, and the text if it has changed.
    void updateDateTime();
    // Writes the scope "qor::ThreadInfo".
    dumper& dump(dumper& d) const;

    SimpleThread* thread_ = nullptr;  // null for a thread that is no SimpleThread
    String sThreadId_;                // "{process.thread}", or "<process.thread>" if it is none
    Time currDateTime_;
    String sCurrDateTime_;  // in the form of Time::toDateTime
};

// For `d << THREAD_FACTORY()`: the records of all threads, in the scope "qor::ThreadFactory".
struct THREAD_FACTORY {};
QOR_API dumper& operator<<(dumper& d, THREAD_FACTORY);

// Is notified of the end of its threads. It must outlive them or detach from them first. stop waits
// for a thread; after detach, a call that has already begun may still arrive.
class QOR_API ThreadOwner {
public:
    explicit ThreadOwner(const char* name);
    ThreadOwner(const ThreadOwner&) = delete;
    ThreadOwner& operator=(const ThreadOwner&) = delete;
    virtual ~ThreadOwner();

    // Called on the thread after its work, unless stop waits for its end.
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
// The operations that begin with "on" run on the thread, except onStop, which runs on the thread
// that stops it. No lock is held during any of them. An exception in one ends the thread as an
// exception of its body does, and the owner is still notified.
//
// All other operations may be called by any thread that holds a Handle, also by the thread itself.
class QOR_API SimpleThread : public Thread {
public:
    // The owner may be null.
    SimpleThread(ThreadOwner* owner, const char* name);

    // Start, and wait until onBirth has run or notify is called.
    void startAndWait(unsigned stackSize = 0);
    // False on timeout; the thread runs all the same.
    bool startAndWait(Time timeout, unsigned stackSize = 0);
    void startUntilInitialized(unsigned stackSize) { startAndWait(stackSize); }

    // Asks the thread to end after its current pass, and waits until it has ended. Called on the
    // thread itself it does not wait. A thread that is not started is not waited for; started
    // later, it runs onBirth and onDeath only.
    void stop();
    // Returns false on timeout. The thread then loses its owner and keeps running until it next
    // checks living(). Polls every 20 ms.
    bool stop(Time timeout);
    // Does not wait; the owner is notified when the thread ends.
    void stopOnly();
    // Wait for the end as stop does, but do not request it. Raise ThreadNotStartedException before
    // the start.
    void join();
    bool join(Time timeout);
    // The owner is not notified any more.
    void detach() { owner(nullptr); }

    // activeStopping: whether a stop waits for the end. living: whether the work continues.
    bool activeStopping() const noexcept { return activeStopping_.load(); }
    bool living() const noexcept { return living_.load(); }
    // living(false) is livingEnd(); living(true) raises InvalidDataException.
    void living(bool on);
    // Asks the thread to end; all stops call it.
    void livingEnd();

    // Wait for notify, at most for the timeout, and not at all after a request to end. False on
    // timeout.
    void wait() const;
    bool wait(const Time& timeout) const;
    // Wakes one waiting thread; it has no effect on later waits.
    void notify();

    ThreadOwner* owner() const;
    void owner(ThreadOwner* owner);
    // Sets the owner of a thread that has none. False if the thread has already reported its end,
    // so that this owner will not be notified.
    bool adopt(ThreadOwner* owner);

    const String& name() const noexcept { return name_; }
    // The name, followed by threadIdString once the thread runs.
    String fullname() const;
    // These raise ThreadNotStartedException before the start. Calls on the thread itself renew its
    // time stamp; calls from other threads read the last one.
    String threadIdString() const { return info().sThreadId_; }
    String currDateTimeString() const { return info().sCurrDateTime_; }
    Time currDateTime() const { return info().currDateTime_; }
    ThreadInfo info() const;

    // The calling thread's record, created at the first use; each call renews its time stamp. It is
    // valid as long as the thread runs. It may be called at any time and never raises; without
    // memory for a record its texts are empty.
    static const ThreadInfo& current() noexcept;
    // Removes the records of all threads; threads that still run are added again at their next use.
    static void destroyThreadFactory() noexcept;

    // Writes the scope "qor::SimpleThread".
    virtual dumper& dump(dumper& d) const;

protected:
    ~SimpleThread() override;

    void run_i() override;
    // The loop. onDeath is called even if it raises.
    virtual void run();

    // Return false to skip the loop. startAndWait returns in both cases.
    virtual bool onBirth() { return true; }
    // Return false to skip the work of this pass.
    virtual bool onWait() { return true; }
    // One pass: calls onLoop, and ends the loop if it returns false.
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
    bool exitTold_ = false;
    mutable Monitor monitor_;
    const String name_;
    String fullname_;
    std::atomic<bool> living_{true};
    std::atomic<bool> activeStopping_{false};
};

}  // namespace qor

#endif  // QOR_MT_THREAD_H
