#include "inspect/input.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <istream>
#include <memory>

#include "inspect/readers.h"
#include "qor/util/gzlib.h"

namespace tools {

namespace {

constexpr std::size_t kPiece = 1U << 16;

bool isFrames(std::string_view content) {
    constexpr std::size_t kHead = 4;
    while (content.size() >= kHead) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < kHead; ++i)
            length = length << 8 | static_cast<unsigned char>(content[i]);
        if (length > content.size() - kHead) return false;
        content.remove_prefix(kHead + length);
        if (content.empty()) return true;
    }
    return false;
}

// The checksum and the size of the content, of which the compressor writes no part if the result is
// too large or memory runs out (RFC 1952).
std::string endOfGzip(std::string_view content) {
    const uLong sum = crc32_z(0, reinterpret_cast<const Bytef*>(content.data()), content.size());
    std::string end;
    for (const std::size_t number : {std::size_t{sum}, content.size()}) {
        for (unsigned shift = 0; shift < 32; shift += 8)
            end += static_cast<char>(number >> shift & 0xFF);
    }
    return end;
}

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

struct Inflater {
    Inflater() {
        // 15: the largest window; 16: the format of gzip.
        if (inflateInit2(&stream, 15 + 16) != Z_OK) throw std::bad_alloc();
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() { inflateEnd(&stream); }
    z_stream stream{};
};

}  // namespace

FileSource::FileSource(const std::string& path)
    : isOwn_(path != "-"),
      file_(isOwn_ ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO),
      piece_(4 * kPiece) {
    if (file_ < 0) throw Failure(std::strerror(errno));
}

FileSource::~FileSource() {
    if (isOwn_) ::close(file_);
}

std::string_view FileSource::read() {
    ssize_t count = -1;
    do {
        count = ::read(file_, piece_.data(), piece_.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw Failure(std::strerror(errno));
    return {piece_.data(), static_cast<std::size_t>(count)};
}

FileSource::int_type FileSource::underflow() {
    const std::size_t size = read().size();
    setg(piece_.data(), piece_.data(), piece_.data() + size);
    return size == 0 ? traits_type::eof() : traits_type::to_int_type(piece_[0]);
}

std::string readContent(const std::string& path) {
    FileSource file(path);
    std::string content;
    for (std::string_view piece = file.read(); !piece.empty(); piece = file.read()) {
        content += piece;
        if (content.size() > kMostContent) throw Failure("more than 4 GiB; frames have no limit");
    }
    return content;
}

bool isGzip(std::string_view content) {
    return content.starts_with("\x1F\x8B");
}

std::string gunzip(std::string_view content) {
    std::string out;
    const std::string_view whole = content;
    while (isGzip(content)) {
        Inflater inflater;
        z_stream& stream = inflater.stream;
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
        std::size_t left = content.size();
        int result = Z_OK;
        while (result == Z_OK) {
            if (stream.avail_in == 0) {
                stream.avail_in = static_cast<uInt>(std::min<std::size_t>(left, 1U << 30));
                left -= stream.avail_in;
            }
            const std::size_t size = out.size();
            out.resize(size + kPiece);
            stream.next_out = reinterpret_cast<Bytef*>(out.data() + size);
            stream.avail_out = kPiece;
            const uInt before = stream.avail_in;
            result = inflate(&stream, Z_NO_FLUSH);
            out.resize(size + kPiece - stream.avail_out);
            if (out.size() > kMostContent) throw Failure("more than 4 GiB when uncompressed");
            const bool isStuck = before == 0 && left == 0 && stream.avail_out != 0;
            if (result == Z_OK && isStuck) result = Z_BUF_ERROR;
        }
        const std::size_t rest = left + stream.avail_in;
        if (result == Z_MEM_ERROR) throw std::bad_alloc();
        if (result != Z_STREAM_END) {
            const bool isCut = result == Z_BUF_ERROR;
            throw BadContent("offset " + std::to_string(whole.size() - rest) +
                             (isCut ? ": the gzip file is cut off" : ": damaged gzip file"));
        }
        content.remove_prefix(content.size() - rest);
    }
    // Zeros fill up the last block of a tape.
    const std::size_t other = content.find_first_not_of('\0');
    if (other == content.npos) return out;
    throw BadContent("offset " + std::to_string(whole.size() - content.size() + other) +
                     ": other bytes after the gzip file");
}

std::string gzip(std::string_view content) {
    if (content.size() > 0x7FFFFFFF) throw Failure("more than 2 GiB to compress");
    unsigned char* packed = nullptr;
    int size = static_cast<int>(content.size());
    GZlibCompressor::comp(content.data(), packed, size);
    const std::unique_ptr<unsigned char[]> owner(packed);
    const std::string out(reinterpret_cast<const char*>(packed),
                          static_cast<std::size_t>(std::max(size, 0)));
    if (!out.ends_with(endOfGzip(content))) throw Failure("the compressed content has no room");
    return out;
}

Format formatOfName(std::string_view name) {
    constexpr struct {
        std::string_view ending;
        Format format;
    } kEndings[] = {{".nbr", Format::Nbr},   {".hex", Format::Hex}, {".pml", Format::Pml},
                    {".json", Format::Json}, {".xml", Format::Xml}, {".frames", Format::Frames}};
    if (name.ends_with(".gz")) name.remove_suffix(3);
    for (const auto& [ending, format] : kEndings) {
        if (name.ends_with(ending)) return format;
    }
    return Format::Guess;
}

Format formatOfContent(std::string_view content) {
    const auto first = std::find_if_not(content.begin(), content.end(), isBlank);
    if (first == content.end()) return Format::Nbr;
    if (*first == '<') return Format::Xml;
    if (*first == '{' || *first == '[') return Format::Json;
    const auto isHexText = [](char c) {
        return isBlank(c) || std::isxdigit(static_cast<unsigned char>(c)) != 0;
    };
    if (std::all_of(content.begin(), content.end(), isHexText)) return Format::Hex;
    if (isFrames(content)) return Format::Frames;
    const bool hasControls = std::any_of(content.begin(), content.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && !isBlank(c);
    });
    return !hasControls && content.find('(') != content.npos ? Format::Pml : Format::Nbr;
}

void FrameReader::read(std::string& bytes, unsigned long size) {
    bytes.clear();
    // The memory grows with the bytes that have arrived, since the announced length may be wrong.
    while (bytes.size() < size) {
        const std::size_t before = bytes.size();
        bytes.resize(std::min<std::size_t>(size, before + std::max(kPiece, before)));
        source_.read(bytes.data() + before, static_cast<std::streamsize>(bytes.size() - before));
        const auto count = static_cast<std::size_t>(source_.gcount());
        position_ += count;
        if (count == bytes.size() - before) continue;
        bytes.resize(before + count);
        return;
    }
}

bool FrameReader::next(std::string& payload) {
    constexpr unsigned long kHead = 4;
    begin_ = position_;
    const auto cut = [this](const std::string& what) {
        throw BadContent("offset " + std::to_string(begin_) + ": the frame is cut off: " + what);
    };
    std::string head;
    read(head, kHead);
    if (head.empty()) return false;
    if (head.size() < kHead) cut("its length has " + std::to_string(head.size()) + " bytes");
    unsigned long length = 0;
    for (const char byte : head)
        length = length << 8 | static_cast<unsigned char>(byte);
    read(payload, length);
    if (payload.size() < length) {
        cut(std::to_string(payload.size()) + " of " + std::to_string(length) + " bytes are there");
    }
    ++count_;
    return true;
}

}  // namespace tools
