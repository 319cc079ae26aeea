#include "qor/timer/timerQueue.h"

#include "support/recorder.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

Time wallClock;
Time monotonicClock;

TimerQueue::Clock testClock() {
    wallClock = Time::seconds(1000000);
    monotonicClock = Time::seconds(5);
    return {[] { return wallClock; }, [] { return monotonicClock; }};
}

// A queue whose time the test sets, with the monitor held.
class Queue : public testing::Test {
protected:
    static constexpr long kTick = QOR_TIMER_CHECK_TIME / 1000;

    TimerId set(unsigned long user, unsigned long interval, unsigned long times) {
        TimerId id;
        EXPECT_TRUE(queue_.set(id, "t", user, interval, &object_, times, nullptr));
        ids_.push_back(id);
        return id;
    }
    void killAll() {
        object_.onRelease = nullptr;
        for (const TimerId& id : ids_)
            queue_.kill(id);
        ids_.clear();
        object_.take();
    }
    // The callbacks of a tick after this time.
    std::string tick(long milliseconds = kTick) {
        monotonicClock += Time::milliSeconds(milliseconds);
        queue_.tick();
        return object_.take();
    }
    // The causes of the blocks in the log.
    std::string logged() const {
        std::istringstream entries(log_.entries());
        const std::string head = "     CAUSE: ";
        std::string text;
        for (std::string line; std::getline(entries, line);) {
            if (line.starts_with(head)) text += line.substr(head.size()) + '\n';
        }
        return text;
    }

    Recorder object_;
    std::vector<TimerId> ids_;
    LogFile log_{"QOR"};
    TimerMonitor monitor_;
    TimerQueue queue_{4, monitor_, testClock()};
    const TimerMonitor::Access access_{monitor_};
};

TEST(TimerId, HasAPackedForm) {
    const std::tuple<TimerId, ulong32, const char*> cases[] = {
        {TimerId(1, 2), 0x20002, "(1, 2)"},
        {TimerId(32767, 131071), 0xffffffff, "(32767, 131071)"},
        // The high bits that do not fit are lost.
        {TimerId(32768, 5), 5, "(0, 5)"},
        {TimerId(3, 131072), 0x60000, "(3, 0)"},
    };
    for (const auto& [id, packed, unpacked] : cases) {
        EXPECT_EQ(id.get(), packed);
        EXPECT_EQ(dumped(TimerId(packed)), unpacked);
        EXPECT_EQ(TimerId(packed), id);
    }
    EXPECT_LT(TimerId(1, 9), TimerId(2, 1));
    EXPECT_FALSE(TimerId(TimerId::INVALID, 0UL).empty());
    TimerId id(7, 8);
    id.reset();
    EXPECT_TRUE(id.empty());
}

TEST_F(Queue, FiresAlsoBeforeTheTimeOfItsStart) {
    monotonicClock = Time::seconds(-10);
    queue_.tick();
    set(1, 50, 1);
    EXPECT_EQ(tick(), "1 -1");
}

TEST_F(Queue, CountsFromTheLatestTick) {
    monotonicClock += Time::milliSeconds(40);
    set(1, 60, 2);
    EXPECT_EQ(tick(20), "1");
    // A late tick moves the next one.
    EXPECT_EQ(tick(100), "1 -1");
    EXPECT_EQ(queue_.waitTime(), Time::milliSeconds(50));
    set(2, 0, 0);
    object_.onFire = [](TimerId, unsigned long) {
        monotonicClock += Time::milliSeconds(30);
        return OnTimerResult();
    };
    tick();
    EXPECT_EQ(queue_.waitTime(), Time::milliSeconds(20));
    set(3, 0, 0);
    tick();
    EXPECT_EQ(queue_.waitTime(), Time());
    // A thread that finds a tick in progress waits for the full time.
    object_.onFire = [this](TimerId, unsigned long) {
        const TimerMonitor::Access access(monitor_);
        queue_.tick();
        EXPECT_EQ(queue_.waitTime(), Time::milliSeconds(50));
        return OnTimerResult();
    };
    tick();
}

TEST_F(Queue, HasTheGivenNumberOfSlots) {
    for (unsigned long i = 0; i < 4; ++i)
        set(i, 1000, 1);
    TimerId id(7, 7);
    EXPECT_FALSE(queue_.set(id, "t", 9, 1000, &object_, 1, nullptr));
    EXPECT_EQ(id, TimerId(7, 7));
    EXPECT_EQ(QOR_TIMER_MAX_NUM(), 4U);
    // The default number, and one that is too large for an id. The 4 above is not raised.
    TimerQueue byDefault(0, monitor_, testClock());
    TimerQueue largest(200000, monitor_, testClock());
    const struct {
        TimerQueue& queue;
        unsigned long room;
    } cases[] = {{byDefault, 5000}, {largest, 131072}};
    for (const auto& c : cases) {
        while (c.queue.set(id, "t", 0, 0, &object_, 1, nullptr)) {
        }
        EXPECT_EQ(c.queue.numofBusy(), c.room);
    }
    EXPECT_EQ(QOR_TIMER_MAX_NUM(), 131072U);
    EXPECT_EQ(logged(),
              "setTimer: timer queue full, no available timer\n"
              "200000 timers are too many, cut to 131072\n"
              "setTimer: timer queue full, no available timer\n"
              "setTimer: timer queue full, no available timer\n");
}

TEST_F(Queue, DistinguishesAStaleIdFromALaterTimer) {
    const TimerId stale = set(1, 100, 1);
    queue_.kill(stale);
    EXPECT_EQ(object_.take(), "-1");
    EXPECT_FALSE(queue_.reset(stale, 1, 1));
    const TimerId later = set(2, 100, 1);
    EXPECT_EQ(later.index(), stale.index());
    EXPECT_EQ(later.generation(), stale.generation() + 1);
    const TimerId never(TimerId::INVALID, 3);
    for (const TimerId& id : {stale, never, TimerId(), TimerId(0, 4), TimerId(0, 131072)}) {
        queue_.kill(id);
        EXPECT_FALSE(queue_.reset(id, 1, 1));
    }
    EXPECT_EQ(tick(100), "2 -2");
    EXPECT_EQ(logged(),
              "resetTimer: idle timer (0, 0)(t, 00:00:00.100000, 1)\n"
              "resetTimer: invalid timer (0, 0)\n"
              "resetTimer: idle timer (4294967295, 3)(, 00:00:00, 1)\n"
              "resetTimer: invalid timer (4294967295, 4294967295)\n"
              "resetTimer: invalid timer (0, 4)\n"
              "resetTimer: invalid timer (0, 131072)\n");
}

TEST_F(Queue, ContinuesItsTickInAChildThatACallbackForks) {
    set(1, 0, 0);
    set(2, 0, 1);
    pid_t child = -1;
    object_.onFire = [&](TimerId, unsigned long) {
        if (child == -1) child = fork();
        const TimerMonitor::Access access(monitor_);
        queue_.tick();  // waits for the running one
        return OnTimerResult();
    };
    const std::string calls = tick();
    EXPECT_EQ(calls, "1 2 -2");
    if (child == 0) _exit(calls == "1 2 -2" ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// BehavesLikeAnOrderedSet has the times of all firings, and the single changes.
TEST_F(Queue, LetsCallbacksChangeTimers) {
    TimerId own, other;
    const struct {
        const char* what;
        std::function<OnTimerResult()> fire;  // of timer 1, which is first of 1, 2
        unsigned long times;
        const char* calls;  // of the tick, and of the three after it
    } cases[] = {
        {"kills itself and asks for more",
         [&] { return queue_.kill(own), OnTimerResult(Time::milliSeconds(50), 0); }, 0,
         "1 -1 2,2,2,2,"},
        {"kills itself at the end", [&] { return queue_.kill(own), OnTimerResult(); }, 1,
         "1 -1 2,2,2,2,"},
        {"asks for all the time", [] { return OnTimerResult(Time::forever(), 0); }, 0,
         "1 2,2,2,2,"},
        {"takes its own slot for a new one",
         [&] {
             queue_.kill(own);
             set(3, 100, 1);
             return OnTimerResult(Time::milliSeconds(1), 0);
         },
         0, "1 -1 2,2,2 3 -3,2,"},
        {"takes the slot of the other one, which is due, for a new one",
         [&] {
             queue_.kill(other);
             set(3, 100, 1);
             return OnTimerResult();
         },
         1, "1 -2 -1,,3 -3,,"},
        {"raises", []() -> OnTimerResult { throw std::runtime_error("meant"); }, 0,
         "1 2,1 2,1 2,1 2,"},
    };
    for (const auto& c : cases) {
        own = set(1, 49, c.times);
        other = set(2, 50, 0);
        object_.onFire = [&](TimerId, unsigned long user) {
            if (user != 1) return OnTimerResult();
            // The queue has released the monitor for the callback.
            const TimerMonitor::Access access(monitor_);
            return c.fire();
        };
        std::string calls;
        for (int i = 0; i < 4; ++i)
            calls += tick() + ",";
        EXPECT_EQ(calls, c.calls) << c.what;
        killAll();
        EXPECT_EQ(queue_.numofBusy(), 0U) << c.what;
    }
    EXPECT_TRUE(contains(log_.entries(), "\nmeant"));
    EXPECT_TRUE(contains(log_.entries(), "\n        AT: qor::TimerBlock::onTimer(timerQueue.cpp:"));
    const std::string raised = "catch a exception.\n";
    EXPECT_EQ(logged(), "onTimer: already free timer (5, 1)\n" + raised + raised + raised + raised);
}

TEST_F(Queue, LetsReleasesChangeTimers) {
    TimerId own, other;
    const struct {
        const char* what;
        std::function<void()> release;  // of timer 1
        const char* calls;
        unsigned long left;
    } cases[] = {
        {"kills itself", [&] { queue_.kill(own); }, "-1", 1},
        {"resets itself", [&] { EXPECT_FALSE(queue_.reset(own, 0, 0)); }, "-1", 1},
        {"kills the other one, which kills it", [&] { queue_.kill(other); }, "-1 -2", 0},
        {"sets one", [&] { set(3, 1000, 1); }, "-1", 2},
        {"raises", [] { throw 1; }, "-1", 1},
    };
    for (const auto& c : cases) {
        own = set(1, 50, 0);
        other = set(2, 1000, 0);
        object_.onRelease = [&](TimerId, unsigned long user) {
            const TimerMonitor::Access access(monitor_);
            if (user == 1) c.release();
            if (user == 2) queue_.kill(own);
        };
        queue_.kill(own);
        EXPECT_EQ(object_.take(), c.calls) << c.what;
        EXPECT_EQ(queue_.numofBusy(), c.left) << c.what;
        EXPECT_EQ(tick(), "") << c.what;
        killAll();
    }
    EXPECT_TRUE(
        contains(log_.entries(), "\n        AT: qor::TimerBlock::onTimerRelease(timerQueue.cpp:"));
}

// One thread logs a timer while another one is inside the search for a logger.
TEST_F(Queue, LogsWithoutTheLockOfAllLoggers) {
    log_.log().debugOn(true);
    log_.log().appLog("TIMER.DEBUG", true);
    std::promise<void> searching, logged;
    std::future_status status{};
    std::thread other([&] {
        const std::string fresh = "made while a timer is set";
        const AtAllocation inside([&] {
            searching.set_value();
            status = logged.get_future().wait_for(std::chrono::seconds(10));
        });
        logger_factory::instance(fresh);
    });
    searching.get_future().wait();
    set(1, 50, 0);
    logged.set_value();
    other.join();
    EXPECT_EQ(status, std::future_status::ready);
    EXPECT_TRUE(contains(log_.entries(), "[TIMER.DEBUG][qor::TimerQueue::set] "));
    killAll();
    log_.log().debugOn(false);
}

TEST_F(Queue, KeepsATimerWithoutAnObjectUntilItIsKilled) {
    TimerId id;
    ASSERT_TRUE(queue_.set(id, "none", 0, 0, nullptr, 1, nullptr));
    tick();
    tick();
    EXPECT_EQ(queue_.numofBusy(), 1U);
    queue_.kill(id);
    EXPECT_EQ(queue_.numofBusy(), 0U);
    queue_.freeIdAt(0);
    EXPECT_EQ(logged(),
              "onTimer: null callback object for timer (0, 0)(none, 00:00:00, 1)\n"
              "killTimer: already free pos 0\n");
}

// A date is the wall time at the start plus the monotonic time since, even if the clock is set.
TEST_F(Queue, ShowsItself) {
    queue_.kill(set(1, 50, 1));
    wallClock += Time::seconds(3600);
    tick();
    TimerId id;
    ASSERT_TRUE(queue_.set(id, "show", 7, 1500, &object_, 3, nullptr));
    tick();
    const auto shownAfter = [](long milliseconds) {
        const Time date = Time::seconds(1000000) + Time::milliSeconds(milliseconds);
        return "'" + date.toDateTime() + "'";
    };
    const std::string due = shownAfter(kTick + 1500), current = shownAfter(2 * kTick);
    EXPECT_EQ(dumped(queue_),
              "{m_idleBeginPos=1 m_idStatus={0} m_timeoutQueue={{m_expiredTime=" + due +
                  " m_nTimerID=(1, 0) m_tb={name_='show' m_nTimerID=(1, 0) m_statusPos=0 "
                  "m_expiredTime=" +
                  due +
                  " m_unTimes=3 m_nInterval=00:00:01.500000 m_pCallBackTimerObject={} "
                  "m_nUserTimerID=7 m_pParam=0 m_status=BUSY}}} m_currTime=" +
                  current + " m_lastTime=" + shownAfter(0) +
                  " m_waitTime=00:00:00.050000 m_maxWaitTime=00:00:00.050000 "
                  "QOR_TIMER_CHECK_TIME=50000 QOR_TIMER_MAX_NUM()=4}");
}

TEST_F(Queue, LogsItsSteps) {
    for (const char* const tag : {"TIMER.DEBUG", "TIMER.DIAG", "TIMER.TRACE"})
        log_.log().appLog(tag, true);
    log_.log().debugOn(true);
    queue_.reset(set(1, 50, 2), 50, 2);
    tick();
    tick();
    log_.log().debugOn(false);
    const std::string entries = log_.entries();
    for (const char* const step : {
             "[TIMER.DEBUG][qor::TimerQueue::reset] (0, 0)(t, 00:00:00.050000, 2)",
             "[TIMER.DIAG][qor::TimerQueue::doCheck] before check, timeoutQueue size = 1",
             "[TIMER.DIAG][qor::TimerQueue::doCheck] after check, timeoutQueue size = 0",
             "[TIMER.DIAG][qor::TimerQueue::doCheck] expired timers = 1",
             "[TIMER.DIAG][qor::TimerQueue::doCheck] after check, m_timeoutQueue size = 1",
             "[TIMER.TRACE][qor::TimerQueue::onTimer] onTimer: (0, 0)(t, 00:00:00.050000, 2)",
             "[TIMER.DEBUG][qor::TimerQueue::onTimer] more times (0, 0)(t, 00:00:00.050000, 1)",
             "[TIMER.DEBUG][qor::TimerQueue::onTimer] set to paused (0, 0)(t, 00:00:00.050000, 0)",
             "[TIMER.DEBUG][qor::TimerQueue::onTimer] release (0, 0)(t, 00:00:00.050000, 0)",
         }) {
        EXPECT_TRUE(contains(entries, step));
    }
}

// Deletes itself in its release, which must not come during its onTimer.
struct Checked : ITimerObject {
    Checked(TimerMonitor& m, TimerQueue& q, std::atomic<long>& n) : monitor(m), queue(q), alive(n) {
        ++alive;
    }
    ~Checked() override { --alive; }
    OnTimerResult onTimer(TimerId id, unsigned long kind, void*) override {
        ++inside;
        {
            const TimerMonitor::Access access(monitor);
            if (kind == 0 && resets++ < 2) queue.reset(id, 0, 2);
            if (kind == 1)
                queue.set(more, "more", 2, 0, new Checked(monitor, queue, alive), 1, nullptr);
            if (kind == 3) queue.kill(more);
        }
        const bool again = kind == 2 && fired++ < 3;
        --inside;
        return OnTimerResult(again ? Time::milliSeconds(1) : Time(), 1);
    }
    void onTimerRelease(TimerId, unsigned long, void*) override {
        EXPECT_EQ(inside, 0);
        delete this;
    }

    TimerMonitor& monitor;
    TimerQueue& queue;
    std::atomic<long>& alive;
    std::atomic<int> inside{0};
    TimerId more;
    int fired = 0;
    int resets = 0;
};

TEST(TimerQueue, WorksWithManyThreads) {
    std::atomic<long> alive{0};
    std::atomic<bool> done{false};
    TimerMonitor monitor;
    TimerQueue queue(5000, monitor);
    const auto tick = [&] {
        const TimerMonitor::Access access(monitor);
        queue.tick();
        return queue.numofBusy();
    };
    std::thread ticking([&] {
        while (!done || tick() != 0)
            tick();
    });
    inThreads(4, [&](unsigned seed) {
        std::mt19937 random(seed);
        std::vector<TimerId> ids(16);
        for (unsigned i = 0; i < 5000; ++i) {
            TimerId& id = ids[random() % ids.size()];
            const TimerMonitor::Access access(monitor);
            if (random() % 3 == 0) queue.reset(id, random() % 2, 1);
            if (random() % 2 == 0) queue.kill(id);
            if (queue.numofBusy() > 1000) continue;
            queue.set(id, "stress", random() % 4, random() % 2, new Checked(monitor, queue, alive),
                      1 + random() % 2, nullptr);
        }
    });
    done = true;
    ticking.join();
    EXPECT_EQ(alive, 0);
}

// The behaviour of a queue, by a plain ordered set.
class Model {
public:
    struct Timer {
        TimerId id;
        Time interval;
        unsigned times = 0;
        Time due;
        bool paused = false;
    };

    std::size_t size() const { return timers_.size(); }
    TimerId any(std::size_t n) const {
        return std::next(timers_.begin(), static_cast<long>(n % size()))->second.id;
    }
    void arm(const TimerId& id, const Time& interval, unsigned times) {
        Timer& timer = timers_[id.get()];
        waiting_.erase({timer.due, id.get()});
        timer = {id, interval, times, current_ + interval, false};
        waiting_.insert({timer.due, id.get()});
    }
    void kill(const TimerId& id) {
        waiting_.erase({timers_[id.get()].due, id.get()});
        timers_.erase(id.get());
    }

    // The time until the next timer, zero without one.
    Time untilNext() const {
        return waiting_.empty() ? Time() : waiting_.begin()->first - current_;
    }
    void beginTick(const Time& passed) {
        current_ += passed;
        for (; !waiting_.empty() && waiting_.begin()->first <= current_;
             waiting_.erase(waiting_.begin()))
            due_.push_back(waiting_.begin()->second);
    }
    // The timer of this tick that fires next, 0xffffffff for none. Killed ones are skipped.
    ulong32 next() {
        while (!due_.empty() && timers_.count(due_.front()) == 0)
            due_.pop_front();
        return due_.empty() ? TimerId().get() : due_.front();
    }
    void fires() {
        Timer& timer = timers_[due_.front()];
        timer.paused = timer.times != 0 && --timer.times == 0;
        due_.pop_front();
    }
    void hasFired(const TimerId& id, const OnTimerResult& result) {
        if (timers_.count(id.get()) == 0) return;
        const Timer timer = timers_[id.get()];
        if (result.interval != Time()) return arm(id, result.interval, result.times);
        timer.paused ? kill(id) : arm(id, timer.interval, timer.times);
    }
    // The waiting timers, as a dump of the queue shows them.
    std::string waiting() const {
        std::string text;
        for (const auto& [due, id] : waiting_)
            text += dumped(timers_.at(id).id);
        return text;
    }

private:
    std::map<ulong32, Timer> timers_;
    std::set<std::pair<Time, ulong32>> waiting_;
    std::deque<ulong32> due_;
    Time current_;
};

// The ids of the part "m_timeoutQueue" of a dump.
std::string waitingIn(const std::string& dump) {
    const std::string begin = "{m_expiredTime=";
    const std::string name = " m_nTimerID=";
    std::string text;
    for (std::size_t at = 0; (at = dump.find(begin, at)) != std::string::npos; ++at) {
        const std::size_t id = dump.find(name, at) + name.size();
        text += dump.substr(id, dump.find(')', id) + 1 - id);
    }
    return text;
}

// Intervals of all magnitudes, ticks that come late or just before and at a timer's time, and
// callbacks that change timers.
TEST(TimerQueue, BehavesLikeAnOrderedSet) {
    constexpr unsigned long kSlots = 300;
    std::mt19937 random(7);
    const auto upTo = [&](std::uint64_t n) { return static_cast<unsigned>(random() % n); };
    TimerMonitor monitor;
    TimerQueue queue(kSlots, monitor, testClock());
    const TimerMonitor::Access held(monitor);
    Model model;
    Recorder object;
    const auto interval = [&] { return upTo(1ULL << upTo(33)); };
    const auto change = [&](unsigned what) {
        const unsigned long ms = interval();
        const unsigned times = upTo(4);
        if (what < 4 || model.size() == 0) {
            TimerId id;
            const bool done = queue.set(id, "r", 0, ms, &object, times, nullptr);
            ASSERT_EQ(done, model.size() < kSlots);
            if (done) model.arm(id, Time::milliSeconds(ms), times);
        } else if (what == 4) {
            const TimerId id = model.any(random());
            queue.kill(id);
            model.kill(id);
        } else {
            const TimerId id = model.any(random());
            ASSERT_TRUE(queue.reset(id, ms, times));
            model.arm(id, Time::milliSeconds(ms), times);
        }
    };
    object.onFire = [&](TimerId id, unsigned long) {
        const TimerMonitor::Access access(monitor);
        EXPECT_EQ(id.get(), model.next());
        if (id.get() != model.next()) std::abort();
        model.fires();
        if (upTo(3) == 0) change(upTo(8));
        const bool again = upTo(8) == 0;
        const OnTimerResult result(Time::milliSeconds(again ? interval() : 0), upTo(3));
        model.hasFired(id, result);
        return result;
    };
    for (int step = 0; step < 30000; ++step) {
        if (upTo(5) != 0) {
            change(upTo(6));
        } else {
            Time passed = Time::microSeconds(upTo(150000));
            if (upTo(20) == 0) passed = Time::milliSeconds(interval());
            if (upTo(5) == 0) passed = model.untilNext() - Time::microSeconds(upTo(2));
            if (passed < Time()) passed = Time();
            monotonicClock += passed;
            model.beginTick(passed);
            queue.tick();
            ASSERT_EQ(model.next(), TimerId().get()) << step;
        }
        ASSERT_EQ(queue.numofBusy(), model.size());
        if (step % 100 != 0) continue;
        ASSERT_EQ(waitingIn(dumped(queue)), model.waiting()) << step;
    }
}

TEST_F(Queue, AllocatesNothingOnceItsNamesHaveRoom) {
    struct Quiet : ITimerObject {
        OnTimerResult onTimer(TimerId, unsigned long, void*) override { return {}; }
        void onTimerRelease(TimerId, unsigned long, void*) override {}
    } quiet;
    const auto use = [&] {
        TimerId id[4];
        for (TimerId& one : id)
            queue_.set(one, "a name that is too long for a short text", 0, 10, &quiet, 2, nullptr);
        queue_.reset(id[0], 20, 1);
        queue_.kill(id[1]);
        for (int i = 0; i < 2; ++i) {
            monotonicClock += Time::milliSeconds(kTick);
            queue_.tick();
        }
        EXPECT_EQ(queue_.numofBusy(), 0U);
    };
    use();
    const AllocationCounter counter;
    use();
    EXPECT_EQ(counter.allocations(), 0U);
}

}  // namespace
}  // namespace qor
