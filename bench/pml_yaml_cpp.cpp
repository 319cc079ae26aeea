#include <benchmark/benchmark.h>
#include <yaml-cpp/yaml.h>

#include <cstdint>

#include "pml_tree.h"

namespace {

struct Builder {
    Builder() { out << YAML::BeginMap; }
    void begin(const std::string& name) { out << YAML::Key << name << YAML::BeginMap; }
    void leaf(const std::string& name, const std::string& value) {
        out << YAML::Key << name << YAML::Value << value;
    }
    void end() { out << YAML::EndMap; }

    YAML::Emitter out;
};

std::string treeText() {
    Builder builder;
    bench::buildTree(builder);
    builder.out << YAML::EndMap;
    return builder.out.c_str();
}

void PmlParse_yaml(benchmark::State& state) {
    const std::string text = treeText();
    for (auto _ : state) {
        const YAML::Node tree = YAML::Load(text);
        benchmark::DoNotOptimize(tree.size());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(PmlParse_yaml);

void PmlWrite_yaml(benchmark::State& state) {
    const YAML::Node tree = YAML::Load(treeText());
    for (auto _ : state) {
        YAML::Emitter out;
        out << tree;
        benchmark::DoNotOptimize(out.c_str());
    }
}
BENCHMARK(PmlWrite_yaml);

}  // namespace
