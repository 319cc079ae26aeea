#include "qor/util/gzlib.h"

#include <zlib.h>

#include <climits>
#include <memory>
#include <new>

#include "util/output_area.h"

namespace {

using qor::util::ByteSpan;

constexpr std::size_t bufferSize = 4096;
// A window of 32 KiB, and raw deflate data without a zlib header.
constexpr int rawWindowBits = -15;
constexpr int memoryLevel = 8;

constexpr unsigned char magic0 = 0x1F;
constexpr unsigned char magic1 = 0x8B;
// No flags, no time, no extra flags. The operating system is always 10, so that results do not
// depend on the machine.
constexpr unsigned char header[] = {magic0, magic1, Z_DEFLATED, 0, 0, 0, 0, 0, 0, 0x0A};

enum Flag : unsigned { hasCrc = 2, hasExtra = 4, hasName = 8, hasComment = 16, reserved = 0xE0 };

// A zlib stream from memory to memory.
class MemoryStream : qor::noncopyable {
public:
    ByteSpan content() const noexcept { return area_.content(); }

protected:
    bool append(ByteSpan piece) noexcept {
        if (area_.append(piece)) return true;
        status_ = Z_MEM_ERROR;
        return false;
    }

    // Passes at most as many bytes as zlib can count, and returns the rest.
    ByteSpan feed(ByteSpan input) noexcept {
        const std::size_t n = std::min<std::size_t>(input.size(), INT_MAX);
        // zlib only reads the input; next_in is const only if a macro of zlib is defined.
        stream_.next_in = const_cast<unsigned char*>(input.data());
        stream_.avail_in = static_cast<uInt>(n);
        return input.subspan(n);
    }

    qor::util::OutputArea area_{INT_MAX};
    z_stream stream_{};
    int status_ = Z_MEM_ERROR;
};

struct Free {
    void operator()(void* block) const noexcept { std::free(block); }
};

class Packing : public MemoryStream {
public:
    explicit Packing(ByteSpan input) noexcept {
        if (buffer_ == nullptr) return;
        restartBuffer();
        status_ = deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, rawWindowBits,
                               memoryLevel, Z_DEFAULT_STRATEGY);
        if (status_ != Z_OK || !append(header)) return;
        deflateAll(input);
        if (status_ != Z_STREAM_END) return;
        appendNumber(crc_);
        appendNumber(input.size());
    }
    ~Packing() { deflateEnd(&stream_); }

private:
    void deflateAll(ByteSpan input) noexcept {
        while (!input.empty() && status_ == Z_OK) {
            const ByteSpan rest = feed(input);
            crc_ = crc32(crc_, stream_.next_in, stream_.avail_in);
            while (stream_.avail_in != 0 && status_ == Z_OK)
                step(Z_NO_FLUSH);
            input = rest;
        }
        while (status_ == Z_OK)
            step(Z_FINISH);
        moveBuffer();
    }

    void step(int flush) noexcept {
        status_ = deflate(&stream_, flush);
        if (stream_.avail_out == 0) moveBuffer();
    }

    void restartBuffer() noexcept {
        stream_.next_out = buffer_.get();
        stream_.avail_out = bufferSize;
    }

    // If append fails, the buffer is kept.
    void moveBuffer() noexcept {
        if (append({buffer_.get(), bufferSize - stream_.avail_out})) restartBuffer();
    }

    // The lowest byte first.
    void appendNumber(unsigned long value) noexcept {
        unsigned char bytes[4];
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(value);
            value >>= 8;
        }
        append(bytes);
    }

    const std::unique_ptr<unsigned char[], Free> buffer_{
        static_cast<unsigned char*>(std::malloc(bufferSize))};
    uLong crc_ = 0;
};

bool skip(ByteSpan& rest, std::size_t n) noexcept {
    if (rest.size() < n) return false;
    rest = rest.subspan(n);
    return true;
}

bool skipExtra(ByteSpan& rest) noexcept {
    return rest.size() >= 2 && skip(rest, 2 + (rest[0] | std::size_t{rest[1]} << 8));
}

bool skipText(ByteSpan& rest) noexcept {
    const auto end = std::find(rest.begin(), rest.end(), 0);
    return skip(rest, static_cast<std::size_t>(end - rest.begin()) + 1);
}

// Skips the header and its optional fields, none of which is needed.
bool skipHeader(ByteSpan& rest) noexcept {
    const ByteSpan fixed = rest;
    if (!skip(rest, sizeof header)) return false;
    const unsigned flags = fixed[3];
    if (fixed[2] != Z_DEFLATED || (flags & reserved) != 0) return false;
    return ((flags & hasExtra) == 0 || skipExtra(rest)) &&
           ((flags & hasName) == 0 || skipText(rest)) &&
           ((flags & hasComment) == 0 || skipText(rest)) &&
           ((flags & hasCrc) == 0 || skip(rest, 2));
}

class Unpacking : public MemoryStream {
public:
    explicit Unpacking(ByteSpan input) noexcept {
        status_ = inflateInit2(&stream_, rawWindowBits);
        if (status_ == Z_OK && !skipHeader(input)) status_ = Z_DATA_ERROR;
        if (status_ != Z_OK) return;
        feed(input);
        while (status_ == Z_OK)
            step();
    }
    ~Unpacking() { inflateEnd(&stream_); }

private:
    // Writes directly into the area, since zlib is slow with small pieces.
    void step() noexcept {
        const std::span<unsigned char> room = area_.room();
        stream_.next_out = room.data();
        stream_.avail_out = static_cast<uInt>(room.size());
        status_ = room.empty() ? Z_MEM_ERROR : inflate(&stream_, Z_NO_FLUSH);
        area_.written(room.size() - stream_.avail_out);
    }
};

// No checked allocation: the caller's plain delete[] does not update the leak table.
template <class Char>
void handOut(ByteSpan content, Char*& out, int& size) noexcept {
    out = new (std::nothrow) Char[content.size()];
    size = out != nullptr ? static_cast<int>(content.size()) : 0;
    if (out != nullptr) std::copy(content.begin(), content.end(), out);
}

ByteSpan given(const char* data, std::size_t size) noexcept {
    return {reinterpret_cast<const unsigned char*>(data), data != nullptr ? size : 0};
}

ByteSpan given(const char* data, int size) noexcept {
    return given(data, static_cast<std::size_t>(std::max(size, 0)));
}

// Whether the data is not gzip data and is copied. Empty data, and a single first byte of a header,
// count as gzip data.
bool isTransparent(ByteSpan input) noexcept {
    if (input.empty() || input[0] != magic0) return !input.empty();
    return input.size() > 1 && input[1] != magic1;
}

}  // namespace

int GZlibCompressor::comp(const char* data, unsigned char*& out, int& size) noexcept {
    const bool isText = size == -1 && data != nullptr;
    const Packing packing(isText ? given(data, std::strlen(data)) : given(data, size));
    handOut(packing.content(), out, size);
    return 0;
}

int GZlibCompressor::uncomp(const char* data, char*& out, int& size) noexcept {
    const ByteSpan input = given(data, size);
    if (isTransparent(input))
        handOut(input, out, size);
    else
        handOut(Unpacking(input).content(), out, size);
    return 0;
}

namespace qor {

// Deliberate (compatibility): the results are inverted.

bool gzlib::comp(const char* data, unsigned char*& out, int& size) noexcept {
    return GZlibCompressor::comp(data, out, size) != 0;
}

bool gzlib::uncomp(const char* data, char*& out, int& size) noexcept {
    return GZlibCompressor::uncomp(data, out, size) != 0;
}

}  // namespace qor
