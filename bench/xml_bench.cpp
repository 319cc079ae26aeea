// What does it cost to read a document into a tree, the tree's end included, and to write one? The
// peers stand in sources of their own; all copy the text that they read.

#include <benchmark/benchmark.h>

#include "qor/xml/XMLParser.h"
#include "xml_documents.h"

namespace {

void XmlParse_qor(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        const qor::XMLParser parser{qor::istr(text)};
        benchmark::DoNotOptimize(parser.rootNode());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(XmlParse_qor, config, bench::configXml());
BENCHMARK_CAPTURE(XmlParse_qor, text, bench::textXml());
BENCHMARK_CAPTURE(XmlParse_qor, catalog, bench::catalogXml());

void XmlWrite_qor(benchmark::State& state, const std::string& text) {
    const qor::XMLParser parser{qor::istr(text)};
    for (auto _ : state) {
        const qor::String written = parser.rootNode()->str(true, 0);
        benchmark::DoNotOptimize(written.data());
    }
}
BENCHMARK_CAPTURE(XmlWrite_qor, config, bench::configXml());
BENCHMARK_CAPTURE(XmlWrite_qor, text, bench::textXml());
BENCHMARK_CAPTURE(XmlWrite_qor, catalog, bench::catalogXml());

// n children of one name each, or of n names, each then found by its name.
void XmlChildren_qor(benchmark::State& state, bool distinct) {
    std::string text = "<a>";
    std::vector<qor::String> names;
    for (long i = 0; i < state.range(0); ++i) {
        names.push_back(qor::String(distinct ? "n" + std::to_string(i * 7919) : "n"));
        text += "<" + names.back() + "/>";
    }
    for (auto _ : state) {
        const qor::XMLParser parser{qor::istr(text)};
        for (const qor::String& name : names)
            benchmark::DoNotOptimize(&parser.rootNode()->child(name));
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK_CAPTURE(XmlChildren_qor, same, false)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Complexity();
BENCHMARK_CAPTURE(XmlChildren_qor, distinct, true)
    ->RangeMultiplier(10)
    ->Range(1000, 100000)
    ->Complexity();

}  // namespace
