// Uncompressing any bytes: as a gzip file, as deflated data, and as a zlib stream with a limit for
// the size of the output. Compressed bytes read back unchanged.

#include <algorithm>
#include <memory>
#include <string>

#include "qor/util/gzlib.h"
#include "qor/util/zlib.h"
#include "require.h"

namespace {

using namespace qor;

std::string gunzip(istr packed) {
    char* out = nullptr;
    int size = static_cast<int>(packed.size());
    require(!gzlib::uncomp(packed.data(), out, size));
    const std::unique_ptr<char[]> held(out);
    return {out, static_cast<std::size_t>(size)};
}

std::string gzip(istr data) {
    unsigned char* out = nullptr;
    int size = static_cast<int>(data.size());
    require(!gzlib::comp(data.data(), out, size));
    const std::unique_ptr<unsigned char[]> held(out);
    return {reinterpret_cast<const char*>(out), static_cast<std::size_t>(size)};
}

void unpack(istr data) {
    const std::string content = gunzip(data);
    if (data.beginWith("\x1F\x8B")) {
        // Uncompressed data has less than 1032 times the size of the deflated data.
        require(content.size() <= data.size() * 1032);
    } else if (data.size() > 1 || !data.beginWith("\x1F")) {
        require(data == content);
    }
    gunzip(std::string("\x1F\x8B\x08\0\0\0\0\0\0\x0A", 10) + std::string(data));

    const unsigned long bound = data.size() * 7 % 5000;
    Bytes out(10);
    if (zlib::uncompress(data, out, bound))
        require(out.size() <= (bound != 0 ? bound : 10));
    else
        require(out.empty());
    require(!zlib::uncompress(data, out, ~0UL) && out.empty());
}

void roundTrip(istr data) {
    require(data == gunzip(gzip(data)));
    Bytes packed, out;
    require(zlib::compress(data, packed));
    require(zlib::uncompress(packed, out, std::max(data.size(), 1UL)) && out == data);
    require(data.size() < 2 || !zlib::uncompress(packed, out, data.size() - 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const istr data(bytes, size);
    unpack(data);
    roundTrip(data);
    return 0;
}
