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

// The timer service of the process. startup starts it and shutdown ends it; in between
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
// Any thread may use it, and so may onTimer callbacks, which run with no lock held. One that is
// slow holds up all other timers of the process: such work belongs elsewhere, or to a
// TimerUserThread. A release callback runs with the timers held, on the thread that kills or on the
// service's: it may set, reset and kill timers itself, but may not wait for another thread that
// does, and may not stop, close or reopen the service.
//
// Timers that are set before start fire once it has started.
class QOR_API TimerManager : public ThreadOwner {
public:
    static TimerManager* instance() { return CreateByAllocate<TimerManager>::instance(); }
    // Closes first. Not for a callback.
    static void destroy() noexcept { CreateByAllocate<TimerManager>::destroy(); }

    // Creates the queue, if there is none, with the configured number of timers.
    void open();
    // Starts, with a new queue of another size unless the number is 0 or QOR_TIMER_MAX_NUM(). The
    // timers of the old queue are dropped without onTimerRelease, with a warning in the log.
    void reopen(unsigned long numberOfTimers);
    // Stops, and drops the queue and all timers without onTimerRelease. After it no callback is
    // called, and none is running except one that called close.
    void close();
    // Starts the thread, unless it runs, and opens if needed. Raises ThreadSyscallException if the
    // system has no thread.
    void start();
    // Ends the thread, and waits for the current tick, also if another thread calls it too; called
    // by a callback it does not wait. The timers are kept, and continue at the next start.
    void stop();

    // As set, reset and kill of TimerQueue. Without a queue the first two are false and logged.
    bool setTimer(TimerId& id, const istr& name, unsigned long userTimerId,
                  unsigned long intervalMs, ITimerObject* object, unsigned long times, void* param);
    bool resetTimer(TimerId id, unsigned long intervalMs, unsigned long times);
    void killTimer(TimerId id);

    // The number of timers.
    unsigned long numofTimers() const;
    // Waits for every onTimerRelease that is running. If another thread learns of a release from
    // the callback itself, it must call this before it deletes the object, since the callback may
    // not have returned yet. It does not wait for later releases, such as that of a timer that was
    // killed during its onTimer. Called by a release callback it does not wait for that one.
    void waitForReleases() const;

    void onThreadExit(Thread* thread) override;
    // Writes the scope "qor::TimerManager". Locks the timers meanwhile.
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

    mutable TimerMonitor monitor_;
    // Guarded by the monitor: the queue, and how many generations of ids the earlier ones have had.
    Handle<TimerQueue> m_timerQueue;
    ulong32 m_generations = 0;
    // The address of the queue's slots, which are fetched before the monitor is taken. It may be
    // that of an earlier queue.
    std::atomic<std::uintptr_t> m_slots{0};
    Mutex mutex_;  // guards all following members; held shortly
    Handle<TimeoutThread> m_timeoutThread;
    // Threads that were asked to end and are not joined yet. Has room for one more.
    std::vector<Handle<TimeoutThread>> m_leaving;
};

// The thread of the service: each pass waits for the next tick and fires the due timers.
class QOR_API TimeoutThread : public OwnedThread<TimerManager> {
public:
    explicit TimeoutThread(TimerManager* owner);

    // The scope "qor::TimeoutThread".
    dumper& dump(dumper& d) const override;
};

// A timer with its own thread, for callbacks that are slow or must keep their rate: the next firing
// is due one interval after the last one was due, so that delays do not add up.
//
//     const auto poll = makeHandle<TimerUserThread>("open", &poller, "poll", 100, 0, 0, nullptr);
//     poll->startAndWait();
//     ...
//     poll->stop();
//
// onTimer runs on the thread `times` times, 0 for no end, and its result is ignored. Then, or when
// the thread is stopped, onTimerRelease runs. After a stop between two firings one more firing may
// happen. The object must live until its release; it may be null.
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

    TimerBlock block_;  // the object and the arguments of its calls; the id is the thread's, packed
    Time next_;         // of the monotonic clock
    ulong32 count_ = 0;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERMANAGER_H
