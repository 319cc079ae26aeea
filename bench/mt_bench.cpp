// The cost of copying a Handle.

#include <benchmark/benchmark.h>

#include "qor/mt/handle.h"

#ifdef QOR_BENCH_BOOST_INTRUSIVE_PTR
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#endif

namespace {

struct Counted : qor::Shared {};

template <class Pointer>
void copyAndDrop(benchmark::State& state, Pointer pointer) {
    for (auto _ : state) {
        Pointer copy = pointer;
        benchmark::DoNotOptimize(copy);
    }
}

void CopyHandle_qor(benchmark::State& state) {
    copyAndDrop(state, qor::Handle<Counted>(new Counted));
}
BENCHMARK(CopyHandle_qor);

#ifdef QOR_BENCH_BOOST_INTRUSIVE_PTR
struct CountedByBoost : boost::intrusive_ref_counter<CountedByBoost, boost::thread_safe_counter> {};

void CopyHandle_boost(benchmark::State& state) {
    copyAndDrop(state, boost::intrusive_ptr<CountedByBoost>(new CountedByBoost));
}
BENCHMARK(CopyHandle_boost);
#endif

}  // namespace
