// Reading and writing a tree of 5,000 nodes as text. The peers are in pml_*.cpp.

#include <benchmark/benchmark.h>

#include <vector>

#include "pml_tree.h"
#include "qor/pml/pml_parser.h"
#include "qor/pml/pml_writer.h"

namespace {

using qor::String;
using qor::pml::ntv::Unit;

struct Builder {
    void begin(const std::string& name) {
        open.back()->addChild(qor::istr(name));
        open.push_back(open.back()->at(qor::istr(name)));
    }
    void leaf(const std::string& name, const std::string& value) {
        open.back()->addChild(qor::istr(name), qor::istr(value));
    }
    void end() { open.pop_back(); }

    Unit root;
    std::vector<Unit*> open{&root};
};

String treeText() {
    Builder builder;
    bench::buildTree(builder);
    return (*builder.root.listValue()->begin())->str();
}

void PmlParse_qor(benchmark::State& state) {
    const String text = treeText();
    for (auto _ : state) {
        Unit unit;
        benchmark::DoNotOptimize(qor::pml::ntvFromPml(unit, qor::istr(text)));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(PmlParse_qor);

void PmlWrite_qor(benchmark::State& state) {
    Unit unit;
    qor::pml::ntvFromPml(unit, qor::istr(treeText()));
    for (auto _ : state) {
        const String text = unit.str();
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(PmlWrite_qor);

void PmlBuild_qor(benchmark::State& state) {
    for (auto _ : state) {
        Builder builder;
        bench::buildTree(builder);
        benchmark::DoNotOptimize(builder.root.value());
    }
}
BENCHMARK(PmlBuild_qor);

// Reads one list of n named children, and finds each child by its name.
void PmlSiblings_qor(benchmark::State& state) {
    std::vector<String> names;
    for (int i = 0; i < state.range(0); ++i)
        names.push_back(String("name") + std::to_string(i * 7919));
    for (auto _ : state) {
        Unit unit;
        for (const String& name : names)
            unit.addChild(qor::istr(name));
        for (const String& name : names)
            benchmark::DoNotOptimize(unit.find(name));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(PmlSiblings_qor)->RangeMultiplier(10)->Range(1000, 100000)->Complexity();

}  // namespace
