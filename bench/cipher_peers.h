#ifndef QOR_BENCH_CIPHER_PEERS_H
#define QOR_BENCH_CIPHER_PEERS_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>

// The data of the cipher benchmarks, for qor and its peers.

namespace cipher {

// The compiler must assume that the content of the buffer is unknown.
inline void forget(const void* data) {
    benchmark::DoNotOptimize(data);
    benchmark::ClobberMemory();
}

inline std::string randomBytes(std::size_t size) {
    std::mt19937 random(1);
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    forget(bytes.data());
    return bytes;
}

// Keys and initialization vectors are the first bytes of this text.
inline constexpr char kKey[] = "0123456789abcdefghijklmnopqrstuv";

// Runs `convert` repeatedly; `size` is its number of input bytes.
template <class Convert>
void measure(benchmark::State& state, std::size_t size, Convert convert) {
    for (auto _ : state) {
        forget(convert());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

}  // namespace cipher

#endif  // QOR_BENCH_CIPHER_PEERS_H
