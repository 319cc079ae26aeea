#ifndef QOR_TIMER_TIMERQUEUE_H
#define QOR_TIMER_TIMERQUEUE_H

#include <atomic>
#include <iosfwd>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/mt/monitor.h"
#include "qor/mt/quick_mutex.h"
#include "qor/mt/shared.h"
#include "qor/timer/timeoutQueue.h"
#include "qor/timer/timerObject.h"

namespace qor {

class dumper;

// The tick, in microseconds.
inline constexpr long QOR_TIMER_CHECK_TIME = 50000;
// How many timers a queue has that is not told a number: 5000 at first, then the number that the
// latest queue was told.
QOR_API unsigned long QOR_TIMER_MAX_NUM() noexcept;

// A slot of the queue: a timer, or none.
struct QOR_API TimerBlock {
    enum Status { IDLE = 0, BUSY = 1, PAUSED = 2 };

    // What the log says of it: "(generation, index)(name, interval, times)".
    String text() const;
    // Call the object, if there is one. What it raises is logged as a block.
    OnTimerResult onTimer() const;
    void onTimerRelease() const;
    dumper& dump(dumper& d) const;

    String name_;
    TimerId m_nTimerID;       // of the present timer, or the last one
    ulong32 m_statusPos = 0;  // where the slot stands among the busy or the idle ones
    Time m_expiredTime;       // the next firing
    Time m_nInterval;
    ulong32 m_unTimes = 1;  // firings left, 0 for without end
    ITimerObject* m_pCallBackTimerObject = nullptr;
    ulong32 m_nUserTimerID = 0;
    void* m_pParam = nullptr;
    Status m_status = IDLE;   // PAUSED while the last firing's callback runs
    bool releasing_ = false;  // its onTimerRelease is under way
    bool killed_ = false;     // to be released when its onTimer returns
};

// A timer that waits for its time, in the order of time, and of the packed id at the same time.
struct QOR_API TimeoutBlock {
    bool operator<(const TimeoutBlock& other) const noexcept {
        if (m_expiredTime != other.m_expiredTime) return m_expiredTime < other.m_expiredTime;
        return m_nTimerID < other.m_nTimerID;
    }
    dumper& dump(dumper& d) const;

    Time m_expiredTime;
    TimerId m_nTimerID;
    const TimerBlock* m_tb = nullptr;
};

// What guards timers: queues that follow one another may share one.
class QOR_API TimerMonitor : noncopyable {
public:
    // Holds the monitor for a scope. In a release callback the thread has it already.
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

    // For the thread that holds it.
    void wait() const;
    void wait(const Time& timeout) const;
    // Wakes all that wait.
    void wake() noexcept;

private:
    friend class TimerQueue;

    bool mayBeHeldHere() const noexcept {
        return releasingThread_.load(std::memory_order_relaxed) != nullptr;
    }
    bool isHeldHere() const noexcept;

    class Waiting;

    QuickMutex mutex_;
    Monitor waits_;  // of the threads that wait; taken for a moment, after the mutex
    // The thread whose onTimerRelease is under way: it alone finds itself here.
    std::atomic<const void*> releasingThread_{nullptr};
};

// The timers of a service that drives it, TimerManager: a fixed pool of slots, the ids, and the
// timers that wait, sorted by time. It has no thread of its own, and counts time in ticks: a timer
// fires in the first tick at or after its time.
//
// All operations are called with the monitor held, by TimerMonitor::Access. It is given up around
// each onTimer, and held around onTimerRelease. The queue itself is made and goes without it.
class QOR_API TimerQueue : public Shared, noncopyable {
public:
    // No more than an id has room for.
    static constexpr ulong32 kMostTimers = 131072;

    // Where the time comes from. The wall clock is asked once, and its time goes on by the
    // monotonic clock: timers take no notice when the clock is set.
    struct Clock {
        Time (*wall)();
        Time (*monotonic)();
    };
    static Clock systemClock() noexcept;

    // 0 stands for QOR_TIMER_MAX_NUM(), or for the key "numofTimers" of the configuration if it has
    // one; less than 5000 are 5000 then. Any other number becomes QOR_TIMER_MAX_NUM(). More than
    // kMostTimers are cut to that, which is logged. The monitor must outlive the queue. Timers that
    // are left when the queue goes are lost without a release.
    TimerQueue(unsigned long numberOfTimers, TimerMonitor& monitor,
               const Clock& clock = systemClock());
    ~TimerQueue() override;

    // As many timers as a queue that is told so many would have.
    static unsigned long limited(unsigned long numberOfTimers) noexcept;

    // A timer that first fires an interval after the latest tick, so up to one tick early; an
    // interval of 0 is for the next tick. It fires so many times, 0 for without end, and then is
    // released. False, and logged, if all slots are taken. Allocates nothing but room for a long
    // name.
    bool set(TimerId& id, const istr& name, unsigned long userTimerId, unsigned long intervalMs,
             ITimerObject* object, unsigned long times, void* param);
    // A new interval, from the latest tick on, and a new number of firings. A timer that is due in
    // the tick that is under way fires in it all the same. False, and logged, if the timer is gone.
    bool reset(TimerId id, unsigned long intervalMs, unsigned long times);
    // Ends a timer and releases it; nothing if it is gone. If its onTimer is under way on another
    // thread, it is gone at once all the same, and its release comes when that returns.
    void kill(TimerId id);

    // Takes the time, fires what is due, and computes the next wait.
    void tick();
    // Fires what is due at the time of the latest tick.
    void doCheck();
    // Fires one timer of the tick.
    void onTimer(TimerId id, const Time& now);
    // Frees a busy slot by its place among the slots.
    void freeIdAt(unsigned long position);
    // The tick that is under way fires nothing more, and wakes the monitor when it is over; no
    // later one fires anything.
    void abandon() noexcept { abandoned_ = true; }
    bool isTicking() const noexcept { return ticking_; }
    // For queues that follow one another: how many generations the slots have had at most, and the
    // one that the ids of a queue without timers begin at, 0 otherwise.
    ulong32 generations() const noexcept;
    void beginAt(ulong32 generation) noexcept;

    // How many timers there are.
    unsigned long numofBusy() const noexcept { return m_idleBeginPos; }
    // From now to the next tick.
    const Time& waitTime() const noexcept { return m_waitTime; }

    dumper& dump(dumper& d) const;
    void dump(std::ostream& os) const;

private:
    // On cache lines of its own.
    struct alignas(64) Slot : TimerBlock {};
    class Ticking;
    class Firing;
    class Releasing;

    Time now() const;
    TimerBlock* blockOf(const TimerId& id) noexcept;
    std::vector<TimeoutBlock> waiting() const;
    bool isFiringElsewhere(const TimerId& id) const noexcept;
    void arm(TimerBlock& block, const Time& interval, ulong32 times) noexcept;
    void put(TimerBlock& block, const Time& expired) noexcept;
    void release(TimerBlock& block);
    void afterFiring(TimerBlock& block, const OnTimerResult& result, const Time& now);

    TimerMonitor& monitor_;
    std::vector<Slot> m_timerBlocks;
    std::vector<ulong32> m_idStatus;  // the slots: the busy ones, then the idle ones
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
    // The timer whose onTimer is under way, and its thread.
    TimerId firing_;
    const void* firingThread_ = nullptr;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERQUEUE_H
