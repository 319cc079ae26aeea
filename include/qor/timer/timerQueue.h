#ifndef QOR_TIMER_TIMERQUEUE_H
#define QOR_TIMER_TIMERQUEUE_H

#include <atomic>
#include <iosfwd>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/mt/monitor.h"
#include "qor/mt/quick_mutex.h"
#include "qor/mt/shared.h"
#include "qor/timer/timeoutQueue.h"
#include "qor/timer/timerBlock.h"

namespace qor {

class dumper;

// The tick, in microseconds.
inline constexpr long QOR_TIMER_CHECK_TIME = 50000;
// The default number of timers of a queue: 5000 at first, then the number that was given to the
// latest queue.
QOR_API unsigned long QOR_TIMER_MAX_NUM() noexcept;

// The lock of timers. Queues that replace each other share one.
class QOR_API TimerMonitor : noncopyable {
public:
    // Holds the monitor for a scope. Does nothing on a thread that already has it: in an
    // onTimerRelease, and in the handlers of a fork.
    class Access : noncopyable {
    public:
        explicit Access(const TimerMonitor& monitor)
            : monitor_(monitor), held_(monitor.mayBeHeldHere() && monitor.isHeldHere()) {
            if (!held_) monitor.mutex_.lock();
        }
        ~Access() {
            if (!held_) monitor_.mutex_.unlock();
        }

    private:
        const TimerMonitor& monitor_;
        const bool held_;
    };

    // Marks the calling thread, which has the monitor, as its holder: an Access on it does nothing.
    class Holding : noncopyable {
    public:
        explicit Holding(TimerMonitor& monitor);
        ~Holding() { holder_.store(before_, std::memory_order_relaxed); }

    private:
        std::atomic<const void*>& holder_;
        const void* const before_;
    };

    // Holds the monitor and the lock of its waits: no other thread has any of them.
    class Whole : noncopyable {
    public:
        explicit Whole(TimerMonitor& monitor)
            : access_(monitor), holding_(monitor), waits_(monitor.waits_) {}

    private:
        const Access access_;
        const Holding holding_;
        const Monitor::Lock waits_;
    };

    // Call these with the monitor held; they release it while they wait.
    void wait() const;
    // By value, since the argument may be data that the monitor guards.
    void wait(Time timeout) const;
    // Wakes all waiting threads.
    void wake() noexcept;

private:
    friend class TimerQueue;

    bool mayBeHeldHere() const noexcept {
        return holder_.load(std::memory_order_relaxed) != nullptr;
    }
    bool isHeldHere() const noexcept;

    class Waiting;

    QuickMutex mutex_;
    Monitor waits_;  // waiting threads sleep here; locked shortly, after mutex_
    // The thread that runs an onTimerRelease; null if none does.
    std::atomic<const void*> holder_{nullptr};
};

// The timers of a TimerManager: a fixed number of slots, the ids, and the waiting timers. It has no
// thread; the TimerManager calls tick(). A timer fires in the first tick at or after its time.
// Programs use TimerManager.
//
// Call all operations with the monitor held, by TimerMonitor::Access. It is released during each
// onTimer, and held during onTimerRelease. Construct and destroy the queue without the monitor.
class QOR_API TimerQueue : public Shared, noncopyable {
public:
    // The number of slots that a packed id can have.
    static constexpr ulong32 kMostTimers = 131072;

    // The sources of time. The wall clock is read once, by the constructor; after that, time
    // advances by the monotonic clock, so setting the clock does not affect timers.
    struct Clock {
        Time (*wall)();
        Time (*monotonic)();
    };
    static Clock systemClock() noexcept;

    // 0 means the key "numofTimers" of the configuration, or QOR_TIMER_MAX_NUM() if the key is
    // missing, and at least 5000. Any other number becomes QOR_TIMER_MAX_NUM(). Numbers above
    // kMostTimers are cut to it and logged. The monitor must outlive the queue. The destructor
    // drops the remaining timers without onTimerRelease.
    TimerQueue(unsigned long numberOfTimers, TimerMonitor& monitor,
               const Clock& clock = systemClock());
    ~TimerQueue() override;

    // The argument, cut to kMostTimers.
    static unsigned long limited(unsigned long numberOfTimers) noexcept;

    // Starts a timer. It first fires one interval after the latest tick, so up to one tick early;
    // with an interval of 0, in the next tick. It fires `times` times (0: no end) and is then
    // released. Returns false and logs an error if all slots are in use. Allocates only for a long
    // name. Numbers and intervals are cut to 32 bits. If `object` is null, an error is logged at
    // the first firing, and the timer keeps its slot until it is killed.
    bool set(TimerId& id, const istr& name, unsigned long userTimerId, unsigned long intervalMs,
             ITimerObject* object, unsigned long times, void* param);
    // Sets a new interval, counted from the latest tick, and a new number of firings. A timer that
    // is due in the current tick still fires in it. Returns false and logs an error if the timer
    // has ended.
    bool reset(TimerId id, unsigned long intervalMs, unsigned long times);
    // Ends a timer and releases it; does nothing if it has ended. If its onTimer is running on
    // another thread, the timer ends at once, and onTimerRelease is called after that onTimer
    // returns.
    void kill(TimerId id);

    // Reads the time, fires the due timers, and computes the next wait.
    void tick();
    // Fires the timers that are due at the time of the latest tick.
    void doCheck();
    void resume();
    // Fires one timer of the tick.
    void onTimer(TimerId id, const Time& now);
    // Frees a busy slot by its position in the list of slots.
    void freeIdAt(unsigned long position);
    // From now on no timer fires. A current tick wakes the monitor when it has ended.
    void abandon() noexcept { abandoned_ = true; }
    // Whether a tick is running. A tick of the parent does not run in a forked child.
    bool isTicking() const noexcept { return ticking_ && isOfThisProcess(); }
    // For queues that replace each other: generations() is the largest number of generations of any
    // slot. beginAt sets the first generation of the slots of a queue without timers; by default it
    // is 0.
    ulong32 generations() const noexcept;
    void beginAt(ulong32 generation) noexcept;

    // The number of timers.
    unsigned long numofBusy() const noexcept { return m_idleBeginPos; }
    // The first of all slots, busy and idle ones.
    const TimerSlot* slots() const noexcept { return m_timerBlocks.data(); }
    // The time from now to the next tick.
    const Time& waitTime() const noexcept { return m_waitTime; }

    dumper& dump(dumper& d) const;
    void dump(std::ostream& os) const;

private:
    class Leaving;
    class Ticking;
    class Firing;

    Time now() const;
    TimerBlock* blockOf(const TimerId& id) noexcept;
    ulong32 indexOf(const TimerBlock& block) const noexcept;
    bool isOfThisProcess() const noexcept;
    bool isFiringElsewhere(const TimerId& id) const noexcept;
    void arm(TimerBlock& block, const Time& interval, ulong32 times) noexcept;
    void put(TimerBlock& block, const Time& expired) noexcept;
    void release(TimerBlock& block);
    void freeBusy(ulong32 position) noexcept;
    void afterFiring(TimerBlock& block, const OnTimerResult& result, const Time& now);

    TimerMonitor& monitor_;
    std::vector<TimerSlot> m_timerBlocks;
    std::vector<ulong32> m_idStatus;  // indexes of the slots: the busy ones, then the idle ones
    ulong32 m_idleBeginPos = 0;
    const Clock clock_;
    const Time wallMinusMonotonic_;
    Time m_currTime;  // of the latest tick
    Time m_lastTime;  // of the construction
    Time m_waitTime;
    Time m_maxWaitTime;
    TimeoutQueue m_timeoutQueue;

    bool ticking_ = false;
    bool abandoned_ = false;
    // Of the process, and the thread, when the tick began.
    unsigned short forks_ = 0;
    const void* tickingThread_ = nullptr;
    // The timer whose onTimer is running, and its thread.
    TimerId firing_;
    const void* firingThread_ = nullptr;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERQUEUE_H
