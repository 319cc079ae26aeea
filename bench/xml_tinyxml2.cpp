#include <benchmark/benchmark.h>
#include <tinyxml2.h>

#include <cstdint>

#include "xml_documents.h"

namespace {

void XmlParse_tinyxml2(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        tinyxml2::XMLDocument document;
        document.Parse(text.data(), text.size());
        benchmark::DoNotOptimize(document.RootElement());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(XmlParse_tinyxml2, config, bench::configXml());
BENCHMARK_CAPTURE(XmlParse_tinyxml2, text, bench::textXml());
BENCHMARK_CAPTURE(XmlParse_tinyxml2, catalog, bench::catalogXml());

void visit(const tinyxml2::XMLElement& element) {
    benchmark::DoNotOptimize(element.Name());
    benchmark::DoNotOptimize(element.GetText());
    for (const auto* attr = element.FirstAttribute(); attr != nullptr; attr = attr->Next()) {
        benchmark::DoNotOptimize(attr->Name());
        benchmark::DoNotOptimize(attr->Value());
    }
    for (const auto* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement())
        visit(*child);
}

void XmlVisit_tinyxml2(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        tinyxml2::XMLDocument document;
        document.Parse(text.data(), text.size());
        visit(*document.RootElement());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK_CAPTURE(XmlVisit_tinyxml2, config, bench::configXml());
BENCHMARK_CAPTURE(XmlVisit_tinyxml2, text, bench::textXml());
BENCHMARK_CAPTURE(XmlVisit_tinyxml2, catalog, bench::catalogXml());

void XmlWrite_tinyxml2(benchmark::State& state, const std::string& text) {
    tinyxml2::XMLDocument document;
    document.Parse(text.data(), text.size());
    for (auto _ : state) {
        tinyxml2::XMLPrinter printer;
        document.Print(&printer);
        benchmark::DoNotOptimize(printer.CStr());
    }
}
BENCHMARK_CAPTURE(XmlWrite_tinyxml2, config, bench::configXml());
BENCHMARK_CAPTURE(XmlWrite_tinyxml2, text, bench::textXml());
BENCHMARK_CAPTURE(XmlWrite_tinyxml2, catalog, bench::catalogXml());

}  // namespace
