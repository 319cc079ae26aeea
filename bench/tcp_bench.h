#ifndef QOR_BENCH_TCP_BENCH_H
#define QOR_BENCH_TCP_BENCH_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>

// The work of the TCP benchmarks, for qor and its peers, over 127.0.0.1 with the same socket
// options: kRoundTrips round trips of a small frame; and kFrames large frames in one direction,
// which the other side answers with one small frame. A frame is a length in 4 bytes and the
// payload, except with libzmq, which has its own format.

namespace tcp_bench {

inline constexpr std::size_t kSmall = 64;
inline constexpr std::size_t kLarge = 65536;
inline constexpr int kRoundTrips = 500;
inline constexpr int kFrames = 500;
inline constexpr int kBuffer = 262144;

template <class Run>
void roundTrips(benchmark::State& state, Run run) {
    for (auto _ : state)
        run();
    state.SetItemsProcessed(state.iterations() * kRoundTrips);
}
template <class Run>
void megabytes(benchmark::State& state, Run run) {
    for (auto _ : state)
        run();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kFrames * kLarge));
}

}  // namespace tcp_bench

#endif  // QOR_BENCH_TCP_BENCH_H
