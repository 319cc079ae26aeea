#include <zlib.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "compress_peers.h"

namespace {

Bytef* bytes(const std::string& text) {
    return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
}

void require(bool holds) {
    if (!holds) std::abort();
}

std::vector<Bytef> packed(const std::string& text) {
    std::vector<Bytef> out(compressBound(text.size()));
    uLongf size = out.size();
    require(compress(out.data(), &size, bytes(text), text.size()) == Z_OK);
    out.resize(size);
    return out;
}

void Compress_zlib(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    std::vector<Bytef> out(compressBound(text.size()));
    packing::measure(state, text.size(), [&] {
        uLongf size = out.size();
        return compress(out.data(), &size, bytes(text), text.size());
    });
}

void Uncompress_zlib(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    const std::vector<Bytef> data = packed(text);
    std::vector<Bytef> out(text.size());
    packing::measure(state, text.size(), [&] {
        uLongf size = out.size();
        return uncompress(out.data(), &size, data.data(), data.size());
    });
}

constexpr int kGzip = 15 + 16;

// Compresses in one call, into an array that is always large enough.
std::unique_ptr<Bytef[]> gzip(const std::string& text, std::size_t& size) {
    z_stream stream{};
    require(deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, 8,
                         Z_DEFAULT_STRATEGY) == Z_OK);
    const uLong bound = deflateBound(&stream, text.size());
    std::unique_ptr<Bytef[]> out(new Bytef[bound]);
    stream.next_in = bytes(text);
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = out.get();
    stream.avail_out = static_cast<uInt>(bound);
    require(deflate(&stream, Z_FINISH) == Z_STREAM_END);
    size = stream.total_out;
    deflateEnd(&stream);
    return out;
}

void GzipComp_zlib(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    std::size_t size = 0;
    packing::measure(state, text.size(), [&] { return gzip(text, size)[0]; });
}

// Uncompresses in one call, into a new array of the known size.
void GzipUncomp_zlib(benchmark::State& state) {
    const std::string text = packing::textOf(state);
    std::size_t size = 0;
    const auto data = gzip(text, size);
    packing::measure(state, text.size(), [&] {
        z_stream stream{};
        require(inflateInit2(&stream, kGzip) == Z_OK);
        const std::unique_ptr<Bytef[]> out(new Bytef[text.size()]);
        stream.next_in = data.get();
        stream.avail_in = static_cast<uInt>(size);
        stream.next_out = out.get();
        stream.avail_out = static_cast<uInt>(text.size());
        require(inflate(&stream, Z_FINISH) == Z_STREAM_END);
        inflateEnd(&stream);
        return out[0];
    });
}

BENCHMARK(Compress_zlib)->Apply(packing::sizes);
BENCHMARK(Uncompress_zlib)->Apply(packing::sizes);
BENCHMARK(GzipComp_zlib)->Apply(packing::sizes);
BENCHMARK(GzipUncomp_zlib)->Apply(packing::sizes);

}  // namespace
