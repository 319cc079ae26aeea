// With the vector code that the peer has, which the build allows for this source.
#define RAPIDJSON_SSE42

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <memory>

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

// By default the peer's numbers may be off in the last place; these are exact, as the library's.
void JsonVisit_rapidjson_exact(benchmark::State& state) {
    bench::visitEach(state, parseExactly, visitTree);
}
BENCHMARK(JsonVisit_rapidjson_exact)->DenseRange(0, bench::kDocuments - 1);

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
