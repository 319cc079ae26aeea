// The cost of reading a document into a tree and destroying the tree, and of writing a document.
// The peers are in xml_*.cpp; all parsers copy the text.

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

// Reads a document into a tree, and then each name, key, value and text once.
void visit(const qor::XMLNode& node) {
    benchmark::DoNotOptimize(node.name().data());
    benchmark::DoNotOptimize(node.cdata().data());
    for (unsigned long i = 0; i < node.numofAttrs(); ++i) {
        const qor::XMLAttr& attr = node.attr(i);
        benchmark::DoNotOptimize(attr.name().data());
        benchmark::DoNotOptimize(attr.value().data());
    }
    for (const qor::XMLNode& child : node.children())
        visit(child);
}

void XmlVisit_qor(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        const qor::XMLParser parser{qor::istr(text)};
        visit(*parser.rootNode());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(XmlVisit_qor, config, bench::configXml());
BENCHMARK_CAPTURE(XmlVisit_qor, text, bench::textXml());
BENCHMARK_CAPTURE(XmlVisit_qor, catalog, bench::catalogXml());

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

// The time must grow linearly with the document. Reads a document with n entities, attributes,
// children or levels, and searches for attributes and children by name.
std::string nameOf(long i) {
    return std::string("n").append(std::to_string(i * 7919));
}
void entity(std::string& text, long) {
    text += "&amp;";
}
void attribute(std::string& text, long i) {
    text.append(nameOf(i)).append("=''");
}
void sameChild(std::string& text, long) {
    text += "<n/>";
}
void child(std::string& text, long i) {
    text.append("<").append(nameOf(i)).append("/>");
}
void level(std::string& text, long) {
    text += "<n>";
}

void XmlGrowth_qor(benchmark::State& state, const char* begin, void (*add)(std::string&, long)) {
    std::string text = begin;
    for (long i = 0; i < state.range(0); ++i)
        add(text, i);
    for (auto _ : state) {
        const qor::XMLParser parser{qor::istr(text + (add == attribute ? ">" : ""))};
        const qor::XMLNode& root = *parser.rootNode();
        for (long i = 0; i < state.range(0); i += 10) {
            const std::string name = nameOf(i);
            benchmark::DoNotOptimize(&root.attr(name));
            benchmark::DoNotOptimize(&root.child(name));
        }
    }
    state.SetComplexityN(state.range(0));
}
#define QOR_GROWTH(name, begin)                          \
    BENCHMARK_CAPTURE(XmlGrowth_qor, name, begin, &name) \
        ->RangeMultiplier(10)                            \
        ->Range(10000, 1000000)                          \
        ->Complexity()
QOR_GROWTH(entity, "<a>");
QOR_GROWTH(attribute, "<a ");
QOR_GROWTH(sameChild, "<a>");
QOR_GROWTH(child, "<a>");
QOR_GROWTH(level, "<a>");

}  // namespace
