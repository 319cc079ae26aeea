// Selects the vector code of the peer. CMake compiles this source with SSE 4.2.
#define RAPIDJSON_SSE42

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "json_documents.h"

namespace {

std::unique_ptr<rapidjson::Document> parse(const std::string& text) {
    auto document = std::make_unique<rapidjson::Document>();
    document->Parse(text.data(), text.size());
    return document;
}

void JsonParse_rapidjson(benchmark::State& state) {
    bench::parseEach(state, parse);
}
BENCHMARK(JsonParse_rapidjson)->DenseRange(0, bench::kDocuments - 1);

std::unique_ptr<rapidjson::Document> parseExactly(const std::string& text) {
    auto document = std::make_unique<rapidjson::Document>();
    document->Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
    return document;
}

void visit(const rapidjson::Value& value, bench::Visited& visited) {
    switch (value.GetType()) {
        case rapidjson::kObjectType:
            for (const auto& [name, child] : value.GetObject()) {
                visited.bytes += name.GetStringLength();
                visit(child, visited);
            }
            return;
        case rapidjson::kArrayType:
            for (const rapidjson::Value& child : value.GetArray())
                visit(child, visited);
            return;
        case rapidjson::kStringType:
            visited.bytes += value.GetStringLength();
            return;
        case rapidjson::kNumberType:
            visited.numbers += value.GetDouble();
            return;
        default:
            ++visited.others;
    }
}

void visitTree(const std::unique_ptr<rapidjson::Document>& tree, bench::Visited& visited) {
    visit(*tree, visited);
}

void JsonVisit_rapidjson(benchmark::State& state) {
    bench::visitEach(state, parse, visitTree);
}
BENCHMARK(JsonVisit_rapidjson)->DenseRange(0, bench::kDocuments - 1);

// By default the last digit of a number may be wrong in the peer. Here numbers are exact, as in
// qor.
void JsonVisit_rapidjson_exact(benchmark::State& state) {
    bench::visitEach(state, parseExactly, visitTree);
}
BENCHMARK(JsonVisit_rapidjson_exact)->DenseRange(0, bench::kDocuments - 1);

// The same work as in qor: numbers are exact, and the members of an object are visited in the order
// of their keys. The members of the open objects are in `order`, those of the innermost one last.
using Members = std::vector<const rapidjson::Value::Member*>;

void visitInOrder(const rapidjson::Value& value, bench::Visited& visited, Members& order) {
    if (value.IsArray()) {
        for (const rapidjson::Value& child : value.GetArray())
            visitInOrder(child, visited, order);
        return;
    }
    if (!value.IsObject()) return visit(value, visited);
    const std::size_t first = order.size();
    for (const auto& member : value.GetObject())
        order.push_back(&member);
    const auto keyOf = [](const rapidjson::Value::Member* member) {
        return std::string_view(member->name.GetString(), member->name.GetStringLength());
    };
    std::sort(order.begin() + static_cast<std::ptrdiff_t>(first), order.end(),
              [&](const auto* left, const auto* right) { return keyOf(left) < keyOf(right); });
    for (std::size_t i = first, end = order.size(); i < end; ++i) {
        visited.bytes += order[i]->name.GetStringLength();
        visitInOrder(order[i]->value, visited, order);
    }
    order.resize(first);
}

void JsonVisit_rapidjson_ordered(benchmark::State& state) {
    Members order;
    bench::visitEach(state, parseExactly, [&](const auto& tree, bench::Visited& visited) {
        visitInOrder(*tree, visited, order);
    });
}
BENCHMARK(JsonVisit_rapidjson_ordered)->DenseRange(0, bench::kDocuments - 1);

void JsonWrite_rapidjson(benchmark::State& state) {
    bench::writeEach(state, parse, [](const std::unique_ptr<rapidjson::Document>& tree) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        tree->Accept(writer);
        return std::string(buffer.GetString(), buffer.GetSize());
    });
}
BENCHMARK(JsonWrite_rapidjson)->DenseRange(0, bench::kDocuments - 1);

}  // namespace
