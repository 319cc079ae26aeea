#include "qor/timer/timerManager.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <utility>

#include "log/own_log.h"
#include "mt/thread_factory.h"
#include "platform/first_use.h"
#include "platform/thread.h"
#include "qor/log/log_dumper.h"

namespace qor {

template class CreateByAllocate<TimerManager>;

namespace {

template <class T, class... Args>
Handle<T> make(const char* func, Args&&... args) {
    return Handle<T>(checkedNew<T>(__FILE__, __LINE__, func, std::forward<Args>(args)...));
}

// Whether a callback calls. A callback must not wait for another thread of the service, which may
// be in a callback that waits for this one.
bool isCalledBack() {
    return dynamic_cast<const TimeoutThread*>(ThreadFactory::thread()) != nullptr;
}

// In a forked child the parent's threads have ended, except one whose callback has forked.
bool hasEnded(const Handle<TimeoutThread>& thread) {
    return thread->started() && !thread->getThreadControl().isAlive() &&
           thread.get() != ThreadFactory::thread();
}

// Of all managers. Never destroyed, since a fork locks it.
TimerMonitor& monitor() {
    static TimerMonitor* const made = new TimerMonitor;
    return *made;
}
const platform::MadeAtLoad madeAtLoad([] { monitor(); });

// No other thread has the monitor at a fork. The monitor is locked before the locks of the loggers:
// their handlers must be registered first, since those of the last registration run first. If two
// threads register these, the second ones do nothing.
bool watchForks() {
    static thread_local std::optional<TimerMonitor::Whole> whole;
    own_log::toolkit();
    platform::callAtFork(
        [] {
            if (!whole) whole.emplace(monitor());
        },
        [] { whole.reset(); }, [] { whole.reset(); });
    return true;
}

void logNoQueue(own_log::Place at) {
    own_log::error(at, [] { return "no timer queue"; });
}

}  // namespace

TimerManager::TimerManager() : ThreadOwner("timerManager"), monitor_(monitor()) {
    open();
    static constinit platform::FirstUse<bool> watched;
    watched.get(watchForks);
}

TimerManager::~TimerManager() {
    close();
}

void TimerManager::open() {
    if (queue()) return;
    auto fresh = make<TimerQueue>("qor::TimerManager::open", 0UL, monitor_);
    const TimerMonitor::Access access(monitor_);
    if (!m_timerQueue) exchangeQueue(fresh);
}

void TimerManager::reopen(unsigned long numberOfTimers) {
    const unsigned long number = TimerQueue::limited(numberOfTimers);
    if (number == 0 || number == QOR_TIMER_MAX_NUM()) return start();
    const unsigned long busy = numofTimers();
    if (busy != 0) {
        own_log::error(
            "qor::TimerManager::reopen", [&] { return own_log::text(busy, " timers started."); },
            log_tag::Warning);
    }
    close();
    replaceQueue(make<TimerQueue>("qor::TimerManager::reopen", numberOfTimers, monitor_));
    start();
}

void TimerManager::close() {
    stop();
    replaceQueue(nullptr);
}

void TimerManager::start() {
    open();
    Handle<TimeoutThread> fresh;
    {
        const Guard guard(mutex_);
        if (m_timeoutThread && !hasEnded(m_timeoutThread)) return;
        std::erase_if(m_leaving, hasEnded);
        m_leaving.reserve(m_leaving.size() + 1);
        m_timeoutThread = fresh = make<TimeoutThread>("qor::TimerManager::start", this);
    }
    try {
        fresh->startAndWait(0);
    } catch (...) {
        forget(fresh.get());
        throw;
    }
}

void TimerManager::stop() {
    const Handle<TimeoutThread> present = dismissThread();
    if (isCalledBack()) {
        if (present) present->stopOnly();
        return;
    }
    while (const Handle<TimeoutThread> thread = leavingThread()) {
        thread->stop();
        forget(thread.get());
    }
}

bool TimerManager::setTimer(TimerId& id, const istr& name, unsigned long userTimerId,
                            unsigned long intervalMs, ITimerObject* object, unsigned long times,
                            void* param) {
    const TimerMonitor::Access access(monitor_);
    if (!m_timerQueue) return logNoQueue("qor::TimerManager::setTimer"), false;
    return m_timerQueue->set(id, name, userTimerId, intervalMs, object, times, param);
}

bool TimerManager::resetTimer(TimerId id, unsigned long intervalMs, unsigned long times) {
    prefetch(id);
    const TimerMonitor::Access access(monitor_);
    if (!m_timerQueue) return logNoQueue("qor::TimerManager::resetTimer"), false;
    return m_timerQueue->reset(id, intervalMs, times);
}

void TimerManager::killTimer(TimerId id) {
    prefetch(id);
    const TimerMonitor::Access access(monitor_);
    if (m_timerQueue) m_timerQueue->kill(id);
}

unsigned long TimerManager::numofTimers() const {
    const TimerMonitor::Access access(monitor_);
    return m_timerQueue ? m_timerQueue->numofBusy() : 0;
}

// An onTimerRelease runs with the monitor held. Its own thread does not wait here.
void TimerManager::waitForReleases() const {
    const TimerMonitor::Access access(monitor_);
}

void TimerManager::onThreadExit(Thread* thread) {
    const Guard guard(mutex_);
    if (m_timeoutThread.get() == thread)
        m_leaving.push_back(std::exchange(m_timeoutThread, nullptr));
}

dumper& TimerManager::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::TimerManager");
    const TimerMonitor::Access access(monitor_);
    if (!m_timerQueue) return d.member("*m_timerQueue", rawstring("null"));
    return d.member("*m_timerQueue", *m_timerQueue);
}

void TimerManager::dump(std::ostream& os) const {
    dumpTo(os, *this);
}

// A stop first clears living() and then wakes the monitor, so it is never missed. Between close and
// open there may be no queue.
bool TimerManager::onWait() {
    const SimpleThread* const thread = ThreadFactory::thread();
    const TimerMonitor::Access access(monitor_);
    const Time noTimers = Time::microSeconds(QOR_TIMER_CHECK_TIME);
    if (thread->living()) monitor_.wait(m_timerQueue ? m_timerQueue->waitTime() : noTimers);
    return true;
}

// `timers` keeps the queue alive, since a callback may close it.
void TimerManager::onWork() {
    const Handle<TimerQueue> timers = queue();
    if (!timers) return;
    const TimerMonitor::Access access(monitor_);
    timers->tick();
}

void TimerManager::onStop() {
    const TimerMonitor::Access access(monitor_);
    monitor_.wake();
}

// Prefetching is safe for any address: the id may be invalid, and the slots may be freed.
void TimerManager::prefetch(const TimerId& id) const noexcept {
    const std::uintptr_t slot =
        m_slots.load(std::memory_order_relaxed) + id.index() * sizeof(TimerSlot);
    for (std::size_t line = 0; line < sizeof(TimerSlot); line += alignof(TimerSlot))
        __builtin_prefetch(reinterpret_cast<const void*>(slot + line), 1);
}

Handle<TimerQueue> TimerManager::queue() const {
    const TimerMonitor::Access access(monitor_);
    return m_timerQueue;
}

// Another thread may have started the service again. A running tick of the old queue fires no more
// timers; waits until it has ended.
void TimerManager::replaceQueue(Handle<TimerQueue> queue) {
    const bool waits = !isCalledBack();
    const TimerMonitor::Access access(monitor_);
    exchangeQueue(queue);
    while (waits && queue && queue->isTicking())
        monitor_.wait();
}

// Call it with the monitor held. The generations continue, so that an id of an earlier queue does
// not identify a timer of the new one.
void TimerManager::exchangeQueue(Handle<TimerQueue>& queue) {
    if (m_timerQueue) {
        m_timerQueue->abandon();
        m_generations = m_timerQueue->generations();
    }
    if (queue) queue->beginAt(m_generations);
    m_timerQueue.swap(queue);
    const TimerSlot* const slots = m_timerQueue ? m_timerQueue->slots() : nullptr;
    m_slots.store(reinterpret_cast<std::uintptr_t>(slots), std::memory_order_relaxed);
}

Handle<TimeoutThread> TimerManager::dismissThread() {
    const Guard guard(mutex_);
    if (m_timeoutThread) m_leaving.push_back(m_timeoutThread);
    return std::exchange(m_timeoutThread, nullptr);
}

Handle<TimeoutThread> TimerManager::leavingThread() {
    const Guard guard(mutex_);
    return m_leaving.empty() ? Handle<TimeoutThread>() : m_leaving.front();
}

void TimerManager::forget(const TimeoutThread* thread) {
    const Guard guard(mutex_);
    if (m_timeoutThread.get() == thread) m_timeoutThread = nullptr;
    std::erase(m_leaving, thread);
}

// TimeoutThread

TimeoutThread::TimeoutThread(TimerManager* owner) : OwnedThread<TimerManager>(owner, "timer") {
    own_log::toolkit().write(istr(own_log::text(" num of timers = ", QOR_TIMER_MAX_NUM())));
}

dumper& TimeoutThread::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::TimeoutThread");
    const TimerManager* const manager = ownerObject();
    if (manager == nullptr) return d.member("timerManager", rawstring("null"));
    return d.member("timerManager", *manager);
}

// TimerUserThread

TimerUserThread::TimerUserThread(ITimerObject* object, const istr& name, unsigned long intervalMs,
                                 unsigned long times, unsigned long userTimerId, void* param)
    : SimpleThread(nullptr, String(name).c_str()) {
    block_.m_nInterval = Time::milliSeconds(static_cast<ulong32>(intervalMs));
    block_.m_unTimes = static_cast<ulong32>(times);
    block_.m_pCallBackTimerObject = object;
    block_.m_nUserTimerID = static_cast<ulong32>(userTimerId);
    block_.m_pParam = param;
}

bool TimerUserThread::onBirth() {
    block_.m_nTimerID = TimerId(id());
    next_ = Time::now(Time::Monotonic) + block_.m_nInterval;
    return true;
}

bool TimerUserThread::onLoop() {
    waitForNext();
    block_.onTimer();
    next_ += block_.m_nInterval;
    return block_.m_unTimes == 0 || ++count_ < block_.m_unTimes;
}

// A notify by another thread does not shorten the wait.
void TimerUserThread::waitForNext() const {
    while (living()) {
        const Time now = Time::now(Time::Monotonic);
        if (next_ <= now) return;
        wait(next_ - now);
    }
}

void TimerUserThread::onDeath() {
    block_.onTimerRelease();
}

}  // namespace qor
