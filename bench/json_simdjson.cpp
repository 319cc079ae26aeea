#include <simdjson.h>

#include <cstdint>
#include <memory>

#include "json_documents.h"

namespace {

// A new parser for each document. The parser owns the document; the text needs padding.
struct Tree {
    explicit Tree(const std::string& text) : root(parser.parse(text)) {}
    simdjson::dom::parser parser;
    simdjson::dom::element root;
};

std::unique_ptr<Tree> parse(const std::string& text) {
    return std::make_unique<Tree>(text);
}

void JsonParse_simdjson(benchmark::State& state) {
    bench::parseEach(state, parse);
}
BENCHMARK(JsonParse_simdjson)->DenseRange(0, bench::kDocuments - 1);

// The usual way to use this library: one parser for all documents, which keeps its memory.
void JsonParseAgain_simdjson(benchmark::State& state) {
    const bench::Document& doc = bench::document(static_cast<std::size_t>(state.range(0)));
    simdjson::dom::parser parser;
    for (auto _ : state) {
        simdjson::dom::element root = parser.parse(doc.text);
        benchmark::DoNotOptimize(root);
    }
    state.SetLabel(doc.name);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(doc.text.size()));
}
BENCHMARK(JsonParseAgain_simdjson)->DenseRange(0, bench::kDocuments - 1);

void visit(simdjson::dom::element value, bench::Visited& visited) {
    using Type = simdjson::dom::element_type;
    switch (value.type()) {
        case Type::OBJECT:
            for (const auto field : simdjson::dom::object(value)) {
                visited.bytes += field.key.size();
                visit(field.value, visited);
            }
            return;
        case Type::ARRAY:
            for (const simdjson::dom::element child : simdjson::dom::array(value))
                visit(child, visited);
            return;
        case Type::STRING:
            visited.bytes += std::string_view(value).size();
            return;
        case Type::INT64:
        case Type::UINT64:
        case Type::DOUBLE:
            visited.numbers += double(value);
            return;
        default:
            ++visited.others;
    }
}

void JsonVisit_simdjson(benchmark::State& state) {
    bench::visitEach(state, parse, [](const std::unique_ptr<Tree>& tree, bench::Visited& visited) {
        visit(tree->root, visited);
    });
}
BENCHMARK(JsonVisit_simdjson)->DenseRange(0, bench::kDocuments - 1);

}  // namespace
