// The cost of setting, killing and firing timers, and how late they fire.

#include "timer_bench.h"

#include <algorithm>
#include <thread>

#include "qor/timer/timerManager.h"

namespace {

using qor::OnTimerResult;
using qor::Time;
using qor::TimerId;
using qor::TimerManager;
using qor::TimerMonitor;
using qor::TimerQueue;

struct Counter : qor::ITimerObject {
    OnTimerResult onTimer(TimerId, unsigned long, void*) override {
        return ++fired, OnTimerResult();
    }
    void onTimerRelease(TimerId, unsigned long, void*) override {}

    std::size_t fired = 0;
};

// The calls of the queue, without locks: the monitor is held all the time.
class Queue {
public:
    explicit Queue(std::size_t n) : ids_(n), queue_(n, monitor_) {}
    void set(std::size_t i, unsigned milliseconds) {
        queue_.set(ids_[i], "bench", 0, milliseconds, &counter_, 1, nullptr);
    }
    void kill(std::size_t i) { queue_.kill(ids_[i]); }
    void expire() { queue_.tick(); }
    std::size_t fired() const { return counter_.fired; }

private:
    std::vector<TimerId> ids_;
    Counter counter_;
    TimerMonitor monitor_;
    TimerQueue queue_;
    const TimerMonitor::Access access_{monitor_};
};

// The calls of the service, with locks.
class Manager {
public:
    explicit Manager(std::size_t n) : ids_(n) { timers().reopen(n + 1); }
    ~Manager() { TimerManager::destroy(); }
    void set(std::size_t i, unsigned milliseconds) {
        timers().setTimer(ids_[i], "bench", 0, milliseconds, &counter_, 1, nullptr);
    }
    void kill(std::size_t i) { timers().killTimer(ids_[i]); }

private:
    static TimerManager& timers() { return *TimerManager::instance(); }

    std::vector<TimerId> ids_;
    Counter counter_;
};

BENCHMARK(timer_bench::setKill<Queue>)->Name("TimerSetKill_qor_unlocked")->Arg(5000)->Arg(100000);
// The queue unlocks the monitor during each callback.
BENCHMARK(timer_bench::expiry<Queue>)->Name("TimerExpiry_qor")->Unit(benchmark::kMicrosecond);
BENCHMARK(timer_bench::setKill<Manager>)->Name("TimerSetKill_qor")->Arg(5000)->Arg(100000);

void TimerTick_nothing_due(benchmark::State& state) {
    const auto armed = static_cast<unsigned long>(state.range(0));
    Counter counter;
    TimerMonitor monitor;
    TimerQueue timers(armed, monitor);
    TimerId id;
    for (unsigned long i = 0; i < armed; ++i)
        timers.set(id, "bench", 0, 3600000, &counter, 1, nullptr);
    for (auto _ : state) {
        const TimerMonitor::Access access(monitor);
        timers.tick();
    }
}
BENCHMARK(TimerTick_nothing_due)->Arg(1)->Arg(5000)->Arg(100000);

// Measures how late 5,000 periodic timers fire, for a minute.
class Late : public qor::ITimerObject {
public:
    struct Timer {
        Time interval;
        Time due;
    };

    OnTimerResult onTimer(TimerId, unsigned long, void* param) override {
        Timer& timer = *static_cast<Timer*>(param);
        const Time now = Time::now(Time::Monotonic);
        // The time of the first callback of a tick counts as the time of the tick.
        if (now - last_ > Time::milliSeconds(20)) tick_ = now;
        last_ = now;
        if (timer.due != Time()) lateness_.push_back((now - timer.due).toMilliSecondsDouble());
        timer.due = tick_ + timer.interval;
        return OnTimerResult();
    }
    void onTimerRelease(TimerId, unsigned long, void*) override {}
    std::vector<double> sorted() {
        std::sort(lateness_.begin(), lateness_.end());
        return lateness_;
    }

private:
    Time last_;
    Time tick_;
    std::vector<double> lateness_;
};

void TimerLateness_ms(benchmark::State& state) {
    constexpr std::size_t kTimers = 5000;
    for (auto _ : state) {
        Late late;
        std::vector<Late::Timer> timers(kTimers);
        std::mt19937 random(3);
        TimerManager::instance()->reopen(kTimers);
        for (Late::Timer& timer : timers) {
            const auto milliseconds = static_cast<unsigned>(50 + random() % 950);
            timer.interval = Time::milliSeconds(milliseconds);
            TimerId id;
            TimerManager::instance()->setTimer(id, "late", 0, milliseconds, &late, 0, &timer);
        }
        std::this_thread::sleep_for(std::chrono::seconds(60));
        TimerManager::instance()->close();
        const std::vector<double> lateness = late.sorted();
        const auto share = [&](double part) {
            return lateness[static_cast<std::size_t>(static_cast<double>(lateness.size() - 1) *
                                                     part)];
        };
        state.counters["firings"] = static_cast<double>(lateness.size());
        state.counters["least"] = share(0);
        state.counters["median"] = share(0.5);
        state.counters["p99"] = share(0.99);
        state.counters["most"] = share(1);
    }
    TimerManager::destroy();
}
BENCHMARK(TimerLateness_ms)->Iterations(1)->Repetitions(1)->UseRealTime()->Unit(benchmark::kSecond);

}  // namespace
