#ifndef QOR_BENCH_LOG_BENCH_H
#define QOR_BENCH_LOG_BENCH_H

#include <benchmark/benchmark.h>

#include <string>

// The line and the file of the log benchmarks, for qor and its peers.

namespace log_bench {

// 100 characters.
inline constexpr char text[] =
    "[TCP.DEBUG]{tcp.server.8600}[qor::tcp::TcpServerImpl::send] 4711 bytes to 192.**.**.17, "
    "window 65535";
static_assert(sizeof text == 101);

// The path of a file in a directory that all benchmarks share, and that is removed at the end.
std::string fileName(const char* name);

}  // namespace log_bench

#define LOG_BENCHMARK(function) BENCHMARK(function)->UseRealTime()->Threads(1)->Threads(4)

#endif  // QOR_BENCH_LOG_BENCH_H
