#ifndef QOR_TOOLS_INSPECT_INPUT_H
#define QOR_TOOLS_INSPECT_INPUT_H

#include <iosfwd>
#include <string>
#include <string_view>

namespace tools {

enum class Format { Guess, Nbr, Hex, Pml, Json, Xml, Frames, Directory };

// The most bytes of an input, as the library's views have it.
inline constexpr unsigned long kMostContent = 0xFFFFFFFE;

// All of a file, or of the standard input for "-". Raises Failure.
std::string readContent(const std::string& path);

// Whether the content begins as a gzip file does.
bool isGzip(std::string_view content);
// The content of all members of a gzip file. Raises BadContent, with the offset in the file, for
// damaged or cut data.
std::string gunzip(std::string_view content);
// One member. Raises Failure when there is no memory.
std::string gzip(std::string_view content);

// By the end of the name, ".gz" left aside; Guess if it says nothing.
Format formatOfName(std::string_view name);
// By the content alone.
Format formatOfContent(std::string_view content);

// Frames, one after another: 4 bytes of length, most significant first, and then that many bytes.
class FrameReader {
public:
    explicit FrameReader(std::istream& source) : source_(source) {}

    // False at the end. Raises BadContent with the offset where the input ends inside a frame.
    bool next(std::string& payload);
    // Of the payload that was read last, from 0 on; its place in the input.
    unsigned long number() const noexcept { return count_ - 1; }
    unsigned long long offset() const noexcept { return begin_; }

private:
    // What is there, up to the size.
    void read(std::string& bytes, unsigned long size);

    std::istream& source_;
    unsigned long count_ = 0;
    unsigned long long begin_ = 0;
    unsigned long long position_ = 0;
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_INPUT_H
