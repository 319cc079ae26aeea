#ifndef QOR_BENCH_COMPRESS_PEERS_H
#define QOR_BENCH_COMPRESS_PEERS_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>

// The data of the compression benchmarks, for qor and zlib.

namespace packing {

// Text of 500 random words, of which the first ones are more frequent. It can be compressed to
// about a third.
inline std::string text(std::size_t size) {
    std::mt19937 random(1);
    std::string words[500], text;
    for (std::string& word : words) {
        for (unsigned left = 2 + random() % 8; left != 0; --left)
            word += static_cast<char>('a' + random() % 26);
    }
    while (text.size() < size)
        text += words[random() % 500 * (random() % 500) / 500] + (random() % 12 ? " " : ".\n");
    text.resize(size);
    return text;
}

// Runs `convert` repeatedly; `size` is the size of the text.
template <class Convert>
void measure(benchmark::State& state, std::size_t size, Convert convert) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(convert());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

inline std::string textOf(const benchmark::State& state) {
    return text(static_cast<std::size_t>(state.range()));
}

inline void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1000)->Arg(50000)->Arg(4000000);
}

}  // namespace packing

#endif  // QOR_BENCH_COMPRESS_PEERS_H
