// The cost of logging and tracing that are switched off.

#include <benchmark/benchmark.h>

#include "qor/log/log_factory.h"
#include "qor/log/log_tracer.h"

namespace {

// The minimum cost of a switch that is tested through a virtual function.
struct Empty {
    virtual ~Empty() = default;
    virtual void call() = 0;
};
struct Nothing final : Empty {
    void call() override {}
};

void DisabledDebug_virtual(benchmark::State& state) {
    Nothing nothing;
    Empty* empty = &nothing;
    for (auto _ : state) {
        benchmark::DoNotOptimize(empty);
        empty->call();
    }
}
BENCHMARK(DisabledDebug_virtual);

void DisabledDebug_qor(benchmark::State& state) {
    qor::logger* log = &qor::logger_factory::instance("bench");
    for (auto _ : state) {
        benchmark::DoNotOptimize(log);
        if (log->debugOn() && log->appLog("BENCH.DEBUG")) state.SkipWithError("it is on");
    }
}
BENCHMARK(DisabledDebug_qor);

void TraceEntry_qor(benchmark::State& state) {
    qor::logger& log = qor::logger_factory::instance("bench");
    for (auto _ : state) {
        QOR_TRACE(log, "bench::TraceEntry");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(TraceEntry_qor)->Threads(1)->Threads(2)->Threads(4);

}  // namespace
