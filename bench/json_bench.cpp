// Reading and writing JSON documents as trees. The peers are in json_*.cpp.

#include <benchmark/benchmark.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "json_documents.h"
#include "qor/json/json_T.h"
#include "qor/json/json_unit.h"
#include "qor/json/json_view.h"
#include "qor/json/qor_json_parser.h"

namespace {

using namespace qor::json;
using Tree = qor::Handle<JsonValue>;

Tree parse(const std::string& text) {
    return JsonParser::from(text);
}

void JsonParse_qor(benchmark::State& state) {
    bench::parseEach(state, parse);
}
BENCHMARK(JsonParse_qor)->DenseRange(0, bench::kDocuments - 1);

void visit(const JsonUnit& unit, bench::Visited& visited) {
    if (const JsonObject* const object = unit.objectValue()) {
        for (const auto& [key, child] : *object) {
            visited.bytes += key.size();
            visit(child, visited);
        }
        return;
    }
    if (const JsonArray* const array = unit.arrayValue()) {
        for (const JsonUnit& child : *array)
            visit(child, visited);
        return;
    }
    qor::istr text;
    double number = std::numeric_limits<double>::quiet_NaN();
    unit >> text >> number;
    if (!text.is_null()) {
        visited.bytes += text.size();
    } else if (!std::isnan(number)) {
        visited.numbers += number;
    } else {
        ++visited.others;
    }
}

// Members of an object are visited in the order of their keys.
void JsonVisit_qor(benchmark::State& state) {
    bench::visitEach(state, parse, [](const Tree& tree, bench::Visited& visited) {
        visit(JsonUnit(tree), visited);
    });
}
BENCHMARK(JsonVisit_qor)->DenseRange(0, bench::kDocuments - 1);

JsonDocument parseDocument(const std::string& text) {
    return JsonDocument::from(text);
}

void JsonParse_qor_view(benchmark::State& state) {
    bench::parseEach(state, parseDocument);
}
BENCHMARK(JsonParse_qor_view)->DenseRange(0, bench::kDocuments - 1);

void visit(JsonView view, bench::Visited& visited);

void visitMembers(JsonView object, bench::Visited& visited) {
    for (const auto& [key, child] : object.members()) {
        visited.bytes += key.size();
        visit(child, visited);
    }
}

void visit(JsonView view, bench::Visited& visited) {
    switch (view.kind()) {
        case JsonKind::Object:
            return visitMembers(view, visited);
        case JsonKind::Array:
            for (const JsonView child : view.elements())
                visit(child, visited);
            return;
        case JsonKind::String:
            visited.bytes += view.text().size();
            return;
        case JsonKind::Number: {
            double number = 0;
            view >> number;
            visited.numbers += number;
            return;
        }
        default:
            ++visited.others;
    }
}

// The same visit with JsonView, which creates no values.
void JsonVisit_qor_view(benchmark::State& state) {
    bench::visitEach(state, parseDocument, [](const JsonDocument& tree, bench::Visited& visited) {
        visit(tree.root(), visited);
    });
}
BENCHMARK(JsonVisit_qor_view)->DenseRange(0, bench::kDocuments - 1);

void JsonWrite_qor(benchmark::State& state) {
    bench::writeEach(state, parse, [](const Tree& tree) { return tree->toJson(); });
}
BENCHMARK(JsonWrite_qor)->DenseRange(0, bench::kDocuments - 1);

// Reads a text of 100 contacts into objects.
void JsonDecode_qor(benchmark::State& state) {
    bench::decodeContacts(state, [](const std::string& text) {
        std::vector<bench::Contact> contacts;
        decode(qor::istr(text), contacts);
        return contacts;
    });
}
BENCHMARK(JsonDecode_qor);

// Builds and writes an object with n keys, which are added in no particular order.
void JsonKeys_qor(benchmark::State& state) {
    const auto n = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        JsonUnit tree;
        for (std::size_t i = 0; i < n; ++i)
            tree[bench::keyOf(i * 7919 % n)] << i;
        benchmark::DoNotOptimize(tree.encode().data());
    }
}
BENCHMARK(JsonKeys_qor)->RangeMultiplier(10)->Range(10, 100000);

void JsonParseKeys_qor(benchmark::State& state) {
    std::string text = "{";
    for (std::size_t n = static_cast<std::size_t>(state.range(0)), i = 0; i < n; ++i)
        text.append(bench::keyOf(i * 7919 % n)).append(":").append(std::to_string(i)).append(",");
    text.back() = '}';
    for (auto _ : state) {
        const Tree tree = parse(text);
        benchmark::DoNotOptimize(&*static_cast<const JsonObject&>(*tree).begin());
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(JsonParseKeys_qor)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity();

void JsonParseDeep_qor(benchmark::State& state) {
    const auto depth = static_cast<std::size_t>(state.range(0));
    const std::string text = std::string(depth, '[') + std::string(depth, ']');
    for (auto _ : state)
        benchmark::DoNotOptimize(parse(text)->toJson().data());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(JsonParseDeep_qor)->RangeMultiplier(10)->Range(1000, 1000000)->Complexity();

void JsonParseLongString_qor(benchmark::State& state) {
    const std::string text =
        "[\"" + std::string(static_cast<std::size_t>(state.range(0)), 'x') + "\"]";
    for (auto _ : state)
        benchmark::DoNotOptimize(parse(text).get());
    state.SetComplexityN(state.range(0));
}
BENCHMARK(JsonParseLongString_qor)->RangeMultiplier(10)->Range(100000, 100000000)->Complexity();

}  // namespace
