#include <cstdlib>
#include <memory>

#include "compress_peers.h"
#include "qor/util/gzlib.h"
#include "qor/util/zlib.h"

// The cost of the library in addition to zlib. The peer calls zlib directly.

namespace {

void Compress_qor(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    qor::Bytes packed;
    packing::measure(state, text.size(), [&] { return qor::zlib::compress(text, packed); });
}

void Uncompress_qor(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    qor::Bytes packed, out;
    qor::zlib::compress(text, packed);
    packing::measure(state, text.size(),
                     [&] { return qor::zlib::uncompress(packed, out, text.size()); });
}

std::unique_ptr<unsigned char[]> gzip(const std::string& text, int& size) {
    unsigned char* out = nullptr;
    size = static_cast<int>(text.size());
    GZlibCompressor::comp(text.data(), out, size);
    return std::unique_ptr<unsigned char[]>(out);
}

void GzipComp_qor(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    int size = 0;
    packing::measure(state, text.size(), [&] { return gzip(text, size)[0]; });
}

void GzipUncomp_qor(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    int packedSize = 0;
    const auto packed = gzip(text, packedSize);
    packing::measure(state, text.size(), [&] {
        char* out = nullptr;
        int size = packedSize;
        GZlibCompressor::uncomp(reinterpret_cast<const char*>(packed.get()), out, size);
        const std::unique_ptr<char[]> held(out);
        if (static_cast<std::size_t>(size) != text.size()) std::abort();
        return held[0];
    });
}

BENCHMARK(Compress_qor)->Apply(packing::sizes);
BENCHMARK(Uncompress_qor)->Apply(packing::sizes);
BENCHMARK(GzipComp_qor)->Apply(packing::sizes);
BENCHMARK(GzipUncomp_qor)->Apply(packing::sizes);

}  // namespace
