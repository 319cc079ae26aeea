// What does the leak table cost?

#include <benchmark/benchmark.h>

#include <vector>

#include "qor/base/mlcheck.h"

namespace {

using qor::MemLeakChecker;

char block;

void enterAndTakeOut(benchmark::State& state) {
    for (auto _ : state) {
        qor::blockAllocated(&block, "file", 1, "func");
        qor::blockReleased(&block, "file", 1, "func");
    }
    state.SetItemsProcessed(state.iterations());
}

void LeakTable_off(benchmark::State& state) {
    enterAndTakeOut(state);
}
BENCHMARK(LeakTable_off);

// With other blocks in the table, as many as the benchmark's argument.
void LeakTable_on(benchmark::State& state) {
    MemLeakChecker& checker = *MemLeakChecker::instance();
    checker.start();
    std::vector<char> others(static_cast<std::size_t>(state.range(0)));
    for (char& other : others)
        checker.push(&other, "file", 2, "func");
    enterAndTakeOut(state);
    MemLeakChecker::destroy();
}
BENCHMARK(LeakTable_on)->Arg(0)->Arg(100000);

}  // namespace
