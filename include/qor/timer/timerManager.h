#ifndef QOR_TIMER_TIMERMANAGER_H
#define QOR_TIMER_TIMERMANAGER_H

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <vector>

#include "qor/api.h"
#include "qor/mt/threadUtil.h"
#include "qor/timer/timerQueue.h"
#include "qor/util/singleton_T.h"

namespace qor {

class TimeoutThread;
class TimerManager;
extern template class QOR_API CreateByAllocate<TimerManager>;

// The timer service of the process. startup starts it and shutdown ends it. Between the two,
//
//     class Heartbeat : public ITimerObject { ... };
//
//     TimerId id;
//     TimerManager::instance()->setTimer(id, "heartbeat", 0, 5000, &heartbeat, 0, nullptr);
//
// calls heartbeat.onTimer every five seconds, on the service's thread, until
//
//     TimerManager::instance()->killTimer(id);
//
// Any thread may use it, and so may onTimer callbacks, which run without a lock. A slow onTimer
// delays all other timers of the process: do slow work on another thread, or use a TimerUserThread.
// onTimerRelease runs with the timers locked, on the thread that kills the timer or on the
// service's thread: it may set, reset and kill timers, but must not wait for another thread that
// uses timers, and must not stop, close or reopen the service.
//
// Timers that are set before start wait until the service has started.
class QOR_API TimerManager : public ThreadOwner {
public:
    static TimerManager* instance() { return CreateByAllocate<TimerManager>::instance(); }
    // Calls close first. A callback must not call it.
    static void destroy() noexcept { CreateByAllocate<TimerManager>::destroy(); }

    // Creates the queue, with the configured number of timers, if there is none.
    void open();
    // Calls start(). If the number is neither 0 nor QOR_TIMER_MAX_NUM(), first replaces the queue
    // by a new one of that size: the timers of the old queue are dropped without onTimerRelease,
    // with a warning in the log.
    void reopen(unsigned long numberOfTimers);
    // Calls stop(), then drops the queue and all timers without onTimerRelease. After that no
    // callback is called or running, except one that called close itself, and the onTimerRelease of
    // a timer that was killed during its onTimer.
    void close();
    // Calls open(), then starts the thread if it does not run. Raises ThreadSyscallException if the
    // system cannot start a thread.
    void start();
    // Ends the thread and waits for the current tick; does not wait if called by a callback.
    // Several threads may call it at the same time, and each waits. The timers are kept and
    // continue at the next start.
    void stop();

    // As set, reset and kill of TimerQueue, with intervals of at most 32 bits. Without a queue the
    // first two return false and log an error.
    bool setTimer(TimerId& id, const istr& name, unsigned long userTimerId,
                  unsigned long intervalMs, ITimerObject* object, unsigned long times, void* param);
    bool resetTimer(TimerId id, unsigned long intervalMs, unsigned long times);
    void killTimer(TimerId id);

    // The number of timers.
    unsigned long numofTimers() const;
    // Waits until no onTimerRelease is running. If onTimerRelease lets another thread delete the
    // object, that thread must call this first, since the callback may not have returned yet. Does
    // not wait for later releases, such as that of a timer that was killed during its onTimer, and,
    // if called by an onTimerRelease, not for that one.
    void waitForReleases() const;

    void onThreadExit(Thread* thread) override;
    // Locks the timers meanwhile.
    dumper& dump(dumper& d) const;
    void dump(std::ostream& os) const;

private:
    friend CreateByAllocate<TimerManager>;
    friend OwnedThread<TimerManager>;

    TimerManager();
    ~TimerManager() override;

    void onWork();
    bool onWait();
    void onStop();

    void prefetch(const TimerId& id) const noexcept;
    Handle<TimerQueue> queue() const;
    void replaceQueue(Handle<TimerQueue> queue);
    void exchangeQueue(Handle<TimerQueue>& queue);
    Handle<TimeoutThread> dismissThread();
    Handle<TimeoutThread> leavingThread();
    void forget(const TimeoutThread* thread);

    TimerMonitor& monitor_;
    // Guarded by the monitor: the queue, and the number of generations of ids that earlier queues
    // have had.
    Handle<TimerQueue> m_timerQueue;
    ulong32 m_generations = 0;
    // The address of the queue's slots, for prefetching before the monitor is locked. It may be
    // that of an earlier queue.
    std::atomic<std::uintptr_t> m_slots{0};
    Mutex mutex_;  // guards all following members; held shortly
    Handle<TimeoutThread> m_timeoutThread;
    // Threads that were requested to end and are not joined yet. The capacity always has room for
    // one more.
    std::vector<Handle<TimeoutThread>> m_leaving;
};

// The thread of the service: each pass waits for the next tick and fires the due timers.
class QOR_API TimeoutThread : public OwnedThread<TimerManager> {
public:
    explicit TimeoutThread(TimerManager* owner);

    dumper& dump(dumper& d) const override;
};

// A timer with its own thread, for callbacks that are slow or must keep their rate: a firing is due
// one interval after the previous one was due, so that delays do not add up.
//
//     const auto poll = makeHandle<TimerUserThread>("open", &poller, "poll", 100, 0, 0, nullptr);
//     poll->startAndWait();
//     ...
//     poll->stop();
//
// onTimer runs on the thread `times` times (0: no end), and its result is ignored. Then, or when
// the thread is stopped, onTimerRelease runs. After a stop between two firings one more firing may
// happen. The object must exist until its onTimerRelease; it may be null.
class QOR_API TimerUserThread : public SimpleThread {
public:
    TimerUserThread(ITimerObject* object, const istr& name, unsigned long intervalMs,
                    unsigned long times, unsigned long userTimerId, void* param);

protected:
    bool onBirth() override;
    bool onLoop() override;
    void onDeath() override;

private:
    void waitForNext() const;

    // The object and the arguments of its calls. The id is the thread's id as a packed TimerId.
    TimerBlock block_;
    Time next_;  // of the monotonic clock
    ulong32 count_ = 0;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERMANAGER_H
