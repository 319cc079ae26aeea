#include "qor/timer/timerQueue.h"

#include <algorithm>
#include <ostream>

#include "log/own_log.h"
#include "platform/thread.h"
#include "qor/cfg/config_file.h"
#include "qor/log/log_dumper.h"

namespace qor {

namespace {

constexpr ulong32 kLeastByDefault = 5000;

std::atomic<ulong32>& mostTimers() noexcept {
    static std::atomic<ulong32> number{kLeastByDefault};
    return number;
}

ulong32 configuredNumber() {
    ulong32 number = mostTimers();
    ConfigFile::instance().mps()["numofTimers"] >> number;
    return std::max(number, kLeastByDefault);
}

// At most Time::forever(): a callback may set the longest interval.
Time saturatedSum(const Time& time, const Time& interval) noexcept {
    const bool fits = time < Time() || interval < Time::forever() - time;
    return fits ? time + interval : Time::forever();
}

// The number of slots for the constructor's argument.
ulong32 slotsFor(unsigned long numberOfTimers) {
    const auto given = static_cast<ulong32>(numberOfTimers);
    const ulong32 wanted = given != 0 ? given : configuredNumber();
    const ulong32 slots = std::min(wanted, TimerQueue::kMostTimers);
    if (slots != wanted) {
        own_log::error("qor::TimerQueue::TimerQueue", [&] {
            return own_log::text(wanted, " timers are too many, cut to ", slots);
        });
    }
    return slots;
}

String textOf(const TimerId& id) {
    dumper d;
    id.dump(d);
    return d.str();
}

const char* nameOf(TimerBlock::Status status) noexcept {
    switch (status) {
        case TimerBlock::IDLE:
            return "IDLE";
        case TimerBlock::BUSY:
            return "BUSY";
        case TimerBlock::PAUSED:
            return "PAUSED";
    }
    return "UNKNOWN";
}

template <class T>
dumper& memberOrNull(dumper& d, istr name, const T* object) {
    return object == nullptr ? d.member(name, rawstring("null")) : d.member(name, *object);
}

}  // namespace

unsigned long QOR_TIMER_MAX_NUM() noexcept {
    return mostTimers();
}

dumper& TimerId::dump(dumper& d) const {
    return d.raw("(").write(generation_).raw(", ").write(index_).raw(")");
}

ITimerObject::~ITimerObject() = default;

dumper& ITimerObject::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::ITimerObject");
    return d;
}

// TimerBlock, TimeoutBlock

String TimerBlock::text() const {
    return String(
        own_log::text(textOf(m_nTimerID), "(", name_, ", ", m_nInterval, ", ", m_unTimes, ")"));
}

OnTimerResult TimerBlock::onTimer() const {
    if (m_pCallBackTimerObject == nullptr) return {};
    return own_log::guarded(own_log::toolkit, "qor::TimerBlock::onTimer", OnTimerResult(), [this] {
        return m_pCallBackTimerObject->onTimer(m_nTimerID, m_nUserTimerID, m_pParam);
    });
}

void TimerBlock::onTimerRelease() const {
    if (m_pCallBackTimerObject == nullptr) return;
    own_log::guarded(own_log::toolkit, "qor::TimerBlock::onTimerRelease", true, [this] {
        m_pCallBackTimerObject->onTimerRelease(m_nTimerID, m_nUserTimerID, m_pParam);
        return true;
    });
}

dumper& TimerBlock::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::TimerBlock");
    d.member("name_", name_)
        .member("m_nTimerID", m_nTimerID)
        .member("m_statusPos", m_statusPos)
        .member("m_expiredTime", m_expiredTime)
        .member("m_unTimes", m_unTimes)
        .member("m_nInterval", rawstring(m_nInterval.toDuration()));
    memberOrNull(d, "m_pCallBackTimerObject", m_pCallBackTimerObject);
    return d.member("m_nUserTimerID", m_nUserTimerID)
        .member("m_pParam", m_pParam)
        .member("m_status", rawstring(nameOf(m_status)));
}

dumper& TimeoutBlock::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::TimeoutBlock");
    d.member("m_expiredTime", m_expiredTime).member("m_nTimerID", m_nTimerID);
    return memberOrNull(d, "m_tb", m_tb);
}

// TimerMonitor

// Releases the mutex for a wait. wake() is called with the mutex held, so no wake-up is lost.
class TimerMonitor::Waiting : noncopyable {
public:
    explicit Waiting(const TimerMonitor& monitor) : monitor_(monitor) {
        monitor.waits_.lock();
        monitor.mutex_.unlock();
    }
    ~Waiting() {
        monitor_.waits_.unlock();
        monitor_.mutex_.lock();
    }

private:
    const TimerMonitor& monitor_;
};

void TimerMonitor::wait() const {
    const Waiting scope(*this);
    waits_.wait();
}

void TimerMonitor::wait(Time timeout) const {
    const Waiting scope(*this);
    waits_.wait(timeout);
}

void TimerMonitor::wake() noexcept {
    const Monitor::Lock lock(waits_);
    waits_.notifyAll();
}

bool TimerMonitor::isHeldHere() const noexcept {
    return holder_.load(std::memory_order_relaxed) == platform::self();
}

TimerMonitor::Holding::Holding(TimerMonitor& monitor)
    : holder_(monitor.holder_), before_(holder_.load(std::memory_order_relaxed)) {
    holder_.store(platform::self(), std::memory_order_relaxed);
}

// TimerQueue

// Marks a running tick. At its end, wakes the threads that wait for it.
class TimerQueue::Ticking : noncopyable {
public:
    explicit Ticking(TimerQueue& queue) : queue_(queue) {
        queue.ticking_ = true;
        queue.forks_ = platform::forkCount();
        queue.tickingThread_ = platform::self();
        queue.firing_.reset();
    }
    ~Ticking() {
        queue_.ticking_ = false;
        if (queue_.abandoned_) queue_.monitor_.wake();
    }

private:
    TimerQueue& queue_;
};

// Releases the monitor while a timer's onTimer runs on the calling thread.
class TimerQueue::Firing : noncopyable {
public:
    Firing(TimerQueue& queue, const TimerId& id) : queue_(queue) {
        queue.firing_ = id;
        queue.firingThread_ = platform::self();
        queue.monitor_.mutex_.unlock();
    }
    ~Firing() {
        queue_.monitor_.mutex_.lock();
        queue_.firing_.reset();
    }

private:
    TimerQueue& queue_;
};

// Frees the slot of a timer after its onTimerRelease, also if that ends the thread.
class TimerQueue::Leaving : noncopyable {
public:
    Leaving(TimerQueue& queue, TimerBlock& block) : queue_(queue), block_(block) {
        block.releasing_ = true;
    }
    ~Leaving() {
        block_.m_pCallBackTimerObject = nullptr;
        queue_.m_timeoutQueue.erase(queue_.indexOf(block_));
        queue_.freeBusy(block_.m_statusPos);
        block_.m_status = TimerBlock::IDLE;
        block_.m_unTimes = 1;
        block_.releasing_ = block_.killed_ = false;
    }

private:
    TimerQueue& queue_;
    TimerBlock& block_;
};

TimerQueue::Clock TimerQueue::systemClock() noexcept {
    return {[] { return Time::now(Time::Realtime); }, [] { return Time::now(Time::Monotonic); }};
}

TimerQueue::TimerQueue(unsigned long numberOfTimers, TimerMonitor& monitor, const Clock& clock)
    : monitor_(monitor),
      m_timerBlocks(slotsFor(numberOfTimers)),
      m_idStatus(m_timerBlocks.size()),
      clock_(clock),
      wallMinusMonotonic_(clock.wall() - clock.monotonic()),
      m_currTime(now()),
      m_lastTime(m_currTime),
      m_waitTime(Time::microSeconds(QOR_TIMER_CHECK_TIME)),
      m_maxWaitTime(m_waitTime),
      m_timeoutQueue(m_timerBlocks, m_currTime) {
    for (ulong32 i = 0; i < m_timerBlocks.size(); ++i) {
        m_idStatus[i] = i;
        m_timerBlocks[i].m_statusPos = i;
        m_timerBlocks[i].m_nTimerID = TimerId(TimerId::INVALID, i);
    }
    // Last, so that a constructor that raises leaves it unchanged.
    if (static_cast<ulong32>(numberOfTimers) != 0)
        mostTimers() = static_cast<ulong32>(m_timerBlocks.size());
}

TimerQueue::~TimerQueue() = default;

unsigned long TimerQueue::limited(unsigned long numberOfTimers) noexcept {
    return std::min(static_cast<ulong32>(numberOfTimers), kMostTimers);
}

Time TimerQueue::now() const {
    return clock_.monotonic() + wallMinusMonotonic_;
}

// The slot of the id, whose timer may have ended; null if the slot has had a later timer, or never
// this one.
TimerBlock* TimerQueue::blockOf(const TimerId& id) noexcept {
    if (id.index() >= m_timerBlocks.size()) return nullptr;
    TimerBlock& block = m_timerBlocks[id.index()];
    return block.m_nTimerID.generation() == id.generation() ? &block : nullptr;
}

ulong32 TimerQueue::indexOf(const TimerBlock& block) const noexcept {
    return static_cast<ulong32>(static_cast<const TimerSlot*>(&block) - m_timerBlocks.data());
}

// A callback may fork: the tick then continues in the child too.
bool TimerQueue::isOfThisProcess() const noexcept {
    return forks_ == platform::forkCount() || tickingThread_ == platform::forkingThread();
}

bool TimerQueue::isFiringElsewhere(const TimerId& id) const noexcept {
    return firing_.generation() == id.generation() && firing_.index() == id.index() &&
           firingThread_ != platform::self() && isOfThisProcess();
}

// The name is set first, since that may raise.
bool TimerQueue::set(TimerId& id, const istr& name, unsigned long userTimerId,
                     unsigned long intervalMs, ITimerObject* object, unsigned long times,
                     void* param) {
    constexpr const char* func = "qor::TimerQueue::set";
    if (m_idleBeginPos == m_idStatus.size()) {
        own_log::error(func, [] { return "setTimer: timer queue full, no available timer"; });
        return false;
    }
    TimerBlock& block = m_timerBlocks[m_idStatus[m_idleBeginPos]];
    block.name_ = name;
    ++m_idleBeginPos;
    id = TimerId(block.m_nTimerID.generation() + 1UL, block.m_nTimerID.index());
    block.m_nTimerID = id;
    block.m_nUserTimerID = static_cast<ulong32>(userTimerId);
    block.m_pCallBackTimerObject = object;
    block.m_pParam = param;
    arm(block, Time::milliSeconds(static_cast<ulong32>(intervalMs)), static_cast<ulong32>(times));
    own_log::debug("TIMER.DEBUG", func, [&] { return block.text(); });
    return true;
}

bool TimerQueue::reset(TimerId id, unsigned long intervalMs, unsigned long times) {
    constexpr const char* func = "qor::TimerQueue::reset";
    TimerBlock* const block = blockOf(id);
    if (block == nullptr) {
        own_log::error(func, [&] { return "resetTimer: invalid timer " + textOf(id); });
        return false;
    }
    if (block->m_status == TimerBlock::IDLE || block->releasing_) {
        own_log::error(func, [&] { return "resetTimer: idle timer " + block->text(); });
        return false;
    }
    arm(*block, Time::milliSeconds(static_cast<ulong32>(intervalMs)), static_cast<ulong32>(times));
    own_log::debug("TIMER.DEBUG", func, [&] { return block->text(); });
    return true;
}

void TimerQueue::kill(TimerId id) {
    TimerBlock* const block = blockOf(id);
    if (block == nullptr || block->m_status == TimerBlock::IDLE || block->releasing_) return;
    own_log::debug("TIMER.DEBUG", "qor::TimerQueue::kill", [&] { return block->text(); });
    if (!isFiringElsewhere(id)) return release(*block);
    m_timeoutQueue.erase(id.index());
    block->m_status = TimerBlock::IDLE;
    block->killed_ = true;
}

void TimerQueue::arm(TimerBlock& block, const Time& interval, ulong32 times) noexcept {
    block.m_unTimes = times;
    block.m_nInterval = interval;
    block.m_status = TimerBlock::BUSY;
    put(block, saturatedSum(m_currTime, interval));
}

void TimerQueue::put(TimerBlock& block, const Time& expired) noexcept {
    block.m_expiredTime = expired;
    m_timeoutQueue.put(indexOf(block));
}

// Keeps the busy and the idle slots as two ranges without gaps.
inline void TimerQueue::freeBusy(ulong32 position) noexcept {
    --m_idleBeginPos;
    if (position == m_idleBeginPos) return;
    ulong32& freed = m_idStatus[position];
    ulong32& last = m_idStatus[m_idleBeginPos];
    std::swap(m_timerBlocks[freed].m_statusPos, m_timerBlocks[last].m_statusPos);
    std::swap(freed, last);
}

// The object may delete itself in its callback, so it is not used after that.
void TimerQueue::release(TimerBlock& block) {
    const Leaving leaving(*this, block);
    const TimerMonitor::Holding scope(monitor_);
    block.onTimerRelease();
}

void TimerQueue::freeIdAt(unsigned long position) {
    if (position < m_idleBeginPos) return freeBusy(static_cast<ulong32>(position));
    own_log::error("qor::TimerQueue::freeIdAt",
                   [&] { return own_log::text("killTimer: already free pos ", position); });
}

ulong32 TimerQueue::generations() const noexcept {
    ulong32 most = 0;
    for (const TimerBlock& block : m_timerBlocks)
        most = std::max(most, block.m_nTimerID.generation() + 1);
    return most;
}

void TimerQueue::beginAt(ulong32 generation) noexcept {
    for (TimerBlock& block : m_timerBlocks)
        block.m_nTimerID = TimerId(generation - 1, block.m_nTimerID.index());
}

void TimerQueue::tick() {
    if (ticking_ && !isOfThisProcess()) resume();
    m_waitTime = m_maxWaitTime;
    if (isTicking() || abandoned_) return;
    m_currTime = now();
    const bool works = m_timeoutQueue.hasWork(m_currTime) || own_log::debugOn();
    doCheck();
    // A tick without work takes no measurable time.
    if (works) m_waitTime = m_maxWaitTime - std::min(now() - m_currTime, m_maxWaitTime);
}

// In a forked child, the tick of the parent's thread is over: the timers that it had taken out are
// put back, and those at their end are released.
void TimerQueue::resume() {
    ticking_ = false;
    firing_.reset();
    for (ulong32 position = m_idleBeginPos; position-- > 0;) {
        TimerBlock& block = m_timerBlocks[m_idStatus[position]];
        if (block.m_status == TimerBlock::BUSY) {
            put(block, block.m_expiredTime);
        } else {
            release(block);
        }
        position = std::min(position, m_idleBeginPos);
    }
}

// A callback may stop the service and start it again: the running tick is then left to the old
// thread.
void TimerQueue::doCheck() {
    constexpr const char* tag = "TIMER.DIAG";
    constexpr const char* func = "qor::TimerQueue::doCheck";
    if (isTicking()) return;
    if (m_timeoutQueue.empty()) return;
    own_log::debug(tag, func, [&] {
        return own_log::text("before check, timeoutQueue size = ", m_timeoutQueue.size());
    });
    const auto& expired = m_timeoutQueue.takeDue(m_currTime);
    own_log::debug(tag, func, [&] {
        return own_log::text("after check, timeoutQueue size = ", m_timeoutQueue.size());
    });
    if (!expired.empty()) {
        own_log::debug(tag, func,
                       [&] { return own_log::text("expired timers = ", expired.size()); });
    }
    const Ticking scope(*this);
    auto next = expired.begin();
    try {
        while (next != expired.end()) {
            if (abandoned_) return;
            onTimer((next++)->id, m_currTime);
        }
    } catch (...) {
        // A callback has ended the thread. The other timers fire when the service goes on.
        for (; next != expired.end(); ++next) {
            TimerBlock* const block = blockOf(next->id);
            if (block != nullptr && block->m_status == TimerBlock::BUSY)
                put(*block, block->m_expiredTime);
        }
        throw;
    }
    own_log::debug(tag, func, [&] {
        return own_log::text("after check, m_timeoutQueue size = ", m_timeoutQueue.size());
    });
}

void TimerQueue::onTimer(TimerId id, const Time& now) {
    constexpr const char* func = "qor::TimerQueue::onTimer";
    TimerBlock* const block = blockOf(id);
    const auto text = [&] { return block != nullptr ? block->text() : textOf(id); };
    own_log::debug("TIMER.TRACE", func, [&] { return "onTimer: " + text(); });
    if (block == nullptr || block->m_status != TimerBlock::BUSY) {
        own_log::error(func, [&] { return "onTimer: already free timer " + text(); });
        return;
    }
    if (block->m_pCallBackTimerObject == nullptr) {
        own_log::error(func, [&] { return "onTimer: null callback object for timer " + text(); });
        return;
    }
    if (block->m_unTimes != 0 && --block->m_unTimes == 0) {
        block->m_status = TimerBlock::PAUSED;
        own_log::debug("TIMER.DEBUG", func, [&] { return "set to paused " + text(); });
    }
    OnTimerResult result;
    // If its own callback has killed the timer, the slot may already have another timer.
    const auto goOn = [&] {
        if (blockOf(id) == block) afterFiring(*block, result, now);
    };
    try {
        const Firing scope(*this, id);
        result = block->onTimer();
    } catch (...) {
        // The callback has ended the thread.
        goOn();
        throw;
    }
    goOn();
}

void TimerQueue::afterFiring(TimerBlock& block, const OnTimerResult& result, const Time& now) {
    constexpr const char* tag = "TIMER.DEBUG";
    constexpr const char* func = "qor::TimerQueue::onTimer";
    if (block.killed_) return release(block);
    if (abandoned_ || block.m_status == TimerBlock::IDLE) return;
    if (result.interval != Time()) return arm(block, result.interval, result.times);
    if (block.m_status == TimerBlock::PAUSED) {
        own_log::debug(tag, func, [&] { return "release " + block.text(); });
        return release(block);
    }
    own_log::debug(tag, func, [&] { return "more times " + block.text(); });
    put(block, saturatedSum(now, block.m_nInterval));
}

dumper& TimerQueue::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::TimerQueue");
    const std::vector<ulong32> busy(m_idStatus.begin(), m_idStatus.begin() + m_idleBeginPos);
    d.member("m_idleBeginPos", m_idleBeginPos);
    dumpElements(d.indent().name("m_idStatus"), "qor::array", busy).endline();
    dumpElements(d.indent().name("m_timeoutQueue"), "qor::set", m_timeoutQueue.sorted()).endline();
    return d.member("m_currTime", m_currTime)
        .member("m_lastTime", m_lastTime)
        .member("m_waitTime", rawstring(m_waitTime.toDuration()))
        .member("m_maxWaitTime", rawstring(m_maxWaitTime.toDuration()))
        .member("QOR_TIMER_CHECK_TIME", QOR_TIMER_CHECK_TIME)
        .member("QOR_TIMER_MAX_NUM()", QOR_TIMER_MAX_NUM());
}

void TimerQueue::dump(std::ostream& os) const {
    dumpTo(os, *this);
}

}  // namespace qor
