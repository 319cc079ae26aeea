// The cost of starting and stopping a thread, of waking another thread and waiting for its answer,
// and of reading the record of the calling thread.

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "qor/log/log_factory.h"
#include "qor/mt/thread.h"

namespace {

// Start a thread, wait for its birth, stop it. The peer does the same as a SimpleThread, which
// pauses for a millisecond before its birth, so that the starting thread runs first.

class Idle : public qor::SimpleThread {
public:
    Idle() : SimpleThread(nullptr, "idle") {}

protected:
    bool onWait() override { return wait(), true; }
};

void StartStop_qor(benchmark::State& state) {
    qor::logger_factory::instance("QOR").infoOn(false);
    for (auto _ : state) {
        const qor::Handle<Idle> thread(new Idle);
        thread->startAndWait();
        thread->stop();
    }
}
BENCHMARK(StartStop_qor)->UseRealTime();

void StartStop_std(benchmark::State& state) {
    for (auto _ : state) {
        std::mutex mutex;
        std::condition_variable changed;
        bool born = false;
        bool living = true;
        std::unique_lock lock(mutex);
        std::thread thread([&] {
            std::this_thread::yield();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            std::unique_lock inside(mutex);
            born = true;
            changed.notify_all();
            changed.wait(inside, [&] { return !living; });
        });
        changed.wait(lock, [&] { return born; });
        living = false;
        lock.unlock();
        changed.notify_all();
        thread.join();
    }
}
BENCHMARK(StartStop_std)->UseRealTime();

// Two threads run alternately.
template <class Play>
void handTurns(benchmark::State& state, Play play) {
    int turn = 0;
    bool over = false;
    std::thread other([&] { play(1, turn, over, [] { return true; }); });
    play(0, turn, over, [&] { return state.KeepRunning(); });
    other.join();
}

void HandTurns_qor(benchmark::State& state) {
    qor::Monitor monitor;
    handTurns(state, [&](int side, int& turn, bool& over, auto goOn) {
        const qor::Monitor::Lock lock(monitor);
        while (!over) {
            while (turn != side && !over)
                monitor.wait();
            if (!goOn()) over = true;
            turn = 1 - side;
            monitor.notify();
        }
    });
}
BENCHMARK(HandTurns_qor)->UseRealTime();

void HandTurns_std(benchmark::State& state) {
    std::mutex mutex;
    std::condition_variable changed;
    handTurns(state, [&](int side, int& turn, bool& over, auto goOn) {
        std::unique_lock lock(mutex);
        while (!over) {
            while (turn != side && !over)
                changed.wait(lock);
            if (!goOn()) over = true;
            turn = 1 - side;
            changed.notify_one();
        }
    });
}
BENCHMARK(HandTurns_std)->UseRealTime();

// Reading the thread's record with the formatted id and time, which each line of the log needs. The
// peer reads the id of the thread and the time, but does not format them.
void CurrentThread_qor(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(&qor::SimpleThread::current());
}
BENCHMARK(CurrentThread_qor)->ThreadRange(1, 2);

void CurrentThread_std(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::this_thread::get_id());
        benchmark::DoNotOptimize(std::chrono::system_clock::now());
    }
}
BENCHMARK(CurrentThread_std)->ThreadRange(1, 2);

}  // namespace
