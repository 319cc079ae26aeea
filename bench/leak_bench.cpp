// The cost of the leak table for one block: adding and removing it.

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

// The argument is the number of other blocks in the table.
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
