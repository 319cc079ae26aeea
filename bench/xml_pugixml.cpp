#include <benchmark/benchmark.h>

#include <cstdint>
#include <pugixml.hpp>

#include "xml_documents.h"

namespace {

struct Text : pugi::xml_writer {
    std::string text;
    void write(const void* data, std::size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
};

void XmlParse_pugixml(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        pugi::xml_document document;
        benchmark::DoNotOptimize(document.load_buffer(text.data(), text.size()));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(XmlParse_pugixml, config, bench::configXml());
BENCHMARK_CAPTURE(XmlParse_pugixml, text, bench::textXml());
BENCHMARK_CAPTURE(XmlParse_pugixml, catalog, bench::catalogXml());

void visit(const pugi::xml_node& node) {
    benchmark::DoNotOptimize(node.name());
    benchmark::DoNotOptimize(node.child_value());
    for (auto attr = node.first_attribute(); attr; attr = attr.next_attribute()) {
        benchmark::DoNotOptimize(attr.name());
        benchmark::DoNotOptimize(attr.value());
    }
    for (auto child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element) visit(child);
    }
}

void XmlVisit_pugixml(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        pugi::xml_document document;
        document.load_buffer(text.data(), text.size());
        visit(document.document_element());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(XmlVisit_pugixml, config, bench::configXml());
BENCHMARK_CAPTURE(XmlVisit_pugixml, text, bench::textXml());
BENCHMARK_CAPTURE(XmlVisit_pugixml, catalog, bench::catalogXml());

void XmlWrite_pugixml(benchmark::State& state, const std::string& text) {
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size());
    for (auto _ : state) {
        Text written;
        document.save(written);
        benchmark::DoNotOptimize(written.text.data());
    }
}
BENCHMARK_CAPTURE(XmlWrite_pugixml, config, bench::configXml());
BENCHMARK_CAPTURE(XmlWrite_pugixml, text, bench::textXml());
BENCHMARK_CAPTURE(XmlWrite_pugixml, catalog, bench::catalogXml());

}  // namespace
