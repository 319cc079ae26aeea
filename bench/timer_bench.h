#ifndef QOR_BENCH_TIMER_BENCH_H
#define QOR_BENCH_TIMER_BENCH_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <random>
#include <thread>
#include <vector>

// The work of the timer benchmarks, for qor and its peers.
//
// A Backend has: a constructor with the number of timers; set(i, milliseconds) and kill(i) for the
// timer i; expire(), which fires the due timers; and fired(), the number of firings.

namespace timer_bench {

inline constexpr std::size_t kExpired = 10000;
inline constexpr std::size_t kIntervals = 1 << 16;

// Random intervals in milliseconds, from one second to an hour.
inline std::vector<unsigned> intervals() {
    std::mt19937 random(1);
    std::vector<unsigned> values(kIntervals);
    for (unsigned& value : values)
        value = 1000 + static_cast<unsigned>(random() % 3600000);
    return values;
}

// Kills one of the armed timers and sets a new one.
template <class Backend>
void setKill(benchmark::State& state) {
    const auto armed = static_cast<std::size_t>(state.range(0));
    const std::vector<unsigned> milliseconds = intervals();
    Backend timers(armed);
    for (std::size_t i = 0; i < armed; ++i)
        timers.set(i, milliseconds[i % milliseconds.size()]);
    // The next index is computed without a division, which would cost as much as a call.
    const std::size_t step = 7919 % armed;
    std::size_t i = 0;
    std::size_t n = 0;
    for (auto _ : state) {
        timers.kill(i);
        timers.set(i, milliseconds[n++ % kIntervals]);
        i += step;
        if (i >= armed) i -= armed;
    }
}

// Fires kExpired timers that are all due. All backends sleep until then, so that each begins with
// the same cold caches.
template <class Backend>
void expiry(benchmark::State& state) {
    Backend timers(kExpired);
    std::mt19937 random(2);
    for (auto _ : state) {
        state.PauseTiming();
        for (std::size_t i = 0; i < kExpired; ++i)
            timers.set(i, static_cast<unsigned>(random() % 4));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const std::size_t before = timers.fired();
        state.ResumeTiming();
        timers.expire();
        if (timers.fired() != before + kExpired) return state.SkipWithError("not all fired");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(kExpired));
}

}  // namespace timer_bench

#define TIMER_BENCHMARKS(Backend, name)                                                           \
    BENCHMARK(timer_bench::setKill<Backend>)->Name("TimerSetKill_" name)->Arg(5000)->Arg(100000); \
    BENCHMARK(timer_bench::expiry<Backend>)                                                       \
        ->Name("TimerExpiry_" name)                                                               \
        ->Unit(benchmark::kMicrosecond)

#endif  // QOR_BENCH_TIMER_BENCH_H
