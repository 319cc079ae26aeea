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
