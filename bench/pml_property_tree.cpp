#include <benchmark/benchmark.h>

#include <boost/property_tree/info_parser.hpp>
#include <cstdint>
#include <sstream>
#include <vector>

#include "pml_tree.h"

namespace {

using boost::property_tree::ptree;

struct Builder {
    void begin(const std::string& name) {
        open.push_back(&open.back()->push_back({name, ptree()})->second);
    }
    void leaf(const std::string& name, const std::string& value) {
        open.back()->push_back({name, ptree(value)});
    }
    void end() { open.pop_back(); }

    ptree root;
    std::vector<ptree*> open{&root};
};

std::string textOf(const ptree& tree) {
    std::ostringstream text;
    boost::property_tree::write_info(text, tree);
    return std::move(text).str();
}

void PmlParse_boost(benchmark::State& state) {
    Builder builder;
    bench::buildTree(builder);
    const std::string text = textOf(builder.root);
    for (auto _ : state) {
        std::istringstream stream(text);
        ptree tree;
        boost::property_tree::read_info(stream, tree);
        benchmark::DoNotOptimize(tree.size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(PmlParse_boost);

void PmlWrite_boost(benchmark::State& state) {
    Builder builder;
    bench::buildTree(builder);
    for (auto _ : state) {
        const std::string text = textOf(builder.root);
        benchmark::DoNotOptimize(text.data());
    }
}
BENCHMARK(PmlWrite_boost);

void PmlBuild_boost(benchmark::State& state) {
    for (auto _ : state) {
        Builder builder;
        bench::buildTree(builder);
        benchmark::DoNotOptimize(builder.root.size());
    }
}
BENCHMARK(PmlBuild_boost);

}  // namespace
