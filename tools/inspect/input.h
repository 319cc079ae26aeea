#ifndef QOR_TOOLS_INSPECT_INPUT_H
#define QOR_TOOLS_INSPECT_INPUT_H

#include <istream>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

enum class Format { Guess, Nbr, Hex, Pml, Json, Xml, Frames, Directory };

// The maximum size of an input in bytes, which is that of the library's views.
inline constexpr unsigned long kMostContent = 0xFFFFFFFE;

// Reads a file, or the standard input for "-", without a stream or as the source of one. Its
// constructor and all reads raise Failure.
class FileSource : public std::streambuf {
public:
    explicit FileSource(const std::string& path);
    FileSource(const FileSource&) = delete;
    FileSource& operator=(const FileSource&) = delete;
    ~FileSource() override;

    // The next bytes, as soon as there are any; empty at the end. Valid until the next call.
    std::string_view read();

protected:
    int_type underflow() override;

private:
    bool isOwn_;  // a new descriptor, which may be that of a closed standard input
    int file_;
    std::vector<char> piece_;
};

// The whole content of a file, or of the standard input for "-". Raises Failure.
std::string readContent(const std::string& path);

// Whether the content begins like a gzip file.
bool isGzip(std::string_view content);
// The content of all members of a gzip file, which may be followed by zeros. Raises BadContent,
// with the offset in the file, for damaged or cut data.
std::string gunzip(std::string_view content);
// A gzip file with one member. Raises Failure for more than 2 GiB, and std::bad_alloc.
std::string gzip(std::string_view content);

// The format that the extension of the name means, without a ".gz" after it; Guess if it is
// unknown.
Format formatOfName(std::string_view name);
// The most likely format of the content.
Format formatOfContent(std::string_view content);

// Reads frames, one after another. A frame is the length of the payload in 4 bytes, most
// significant first, and then the payload.
class FrameReader {
public:
    explicit FrameReader(std::istream& source) : source_(source) {
        // A failure of a FileSource is not the end of the input.
        source_.exceptions(std::ios::badbit);
    }

    // Reads the next payload. False at the end of the input. If the input ends inside a frame,
    // raises BadContent with the offset of that frame. Passes on the Failure of a FileSource.
    bool next(std::string& payload);
    // The number of the last frame, from 0 on, and its offset in the input.
    unsigned long number() const noexcept { return count_ - 1; }
    unsigned long long offset() const noexcept { return begin_; }

private:
    // Reads `size` bytes, or fewer at the end of the input.
    void read(std::string& bytes, unsigned long size);

    std::istream& source_;
    unsigned long count_ = 0;
    unsigned long long begin_ = 0;
    unsigned long long position_ = 0;
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_INPUT_H
