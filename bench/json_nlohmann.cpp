#include <nlohmann/json.hpp>

#include "json_documents.h"

namespace bench {
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Contact, name, phones, active, score, id)
}

namespace {

nlohmann::json parse(const std::string& text) {
    return nlohmann::json::parse(text);
}

void JsonParse_nlohmann(benchmark::State& state) {
    bench::parseEach(state, parse);
}
BENCHMARK(JsonParse_nlohmann)->DenseRange(0, bench::kDocuments - 1);

void visit(const nlohmann::json& value, bench::Visited& visited) {
    if (value.is_object()) {
        for (const auto& [key, child] : value.items()) {
            visited.bytes += key.size();
            visit(child, visited);
        }
    } else if (value.is_array()) {
        for (const nlohmann::json& child : value)
            visit(child, visited);
    } else if (value.is_string()) {
        visited.bytes += value.get_ref<const std::string&>().size();
    } else if (value.is_number()) {
        visited.numbers += value.get<double>();
    } else {
        ++visited.others;
    }
}

void JsonVisit_nlohmann(benchmark::State& state) {
    bench::visitEach(state, parse, visit);
}
BENCHMARK(JsonVisit_nlohmann)->DenseRange(0, bench::kDocuments - 1);

void JsonWrite_nlohmann(benchmark::State& state) {
    bench::writeEach(state, parse, [](const nlohmann::json& tree) { return tree.dump(); });
}
BENCHMARK(JsonWrite_nlohmann)->DenseRange(0, bench::kDocuments - 1);

void JsonDecode_nlohmann(benchmark::State& state) {
    bench::decodeContacts(state, [](const std::string& text) {
        return parse(text).get<std::vector<bench::Contact>>();
    });
}
BENCHMARK(JsonDecode_nlohmann);

void JsonKeys_nlohmann(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        nlohmann::json tree;
        for (std::size_t i = 0; i < n; ++i)
            tree[bench::keyOf(i * 7919 % n)] = i;
        benchmark::DoNotOptimize(tree.dump().data());
    }
}
BENCHMARK(JsonKeys_nlohmann)->RangeMultiplier(10)->Range(10, 100000);

}  // namespace
