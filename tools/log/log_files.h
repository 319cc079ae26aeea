#ifndef QOR_TOOLS_LOG_LOG_FILES_H
#define QOR_TOOLS_LOG_LOG_FILES_H

#include <cstdint>
#include <string>
#include <vector>

namespace tools {

// A log and its old files, read as one text from the oldest byte to the newest:
//
//     pump_2.log -> pump_1.log -> pump.log
//
// The files may be rotated meanwhile. The reader keeps its file open and finds its present name by
// device and inode, and so the next file.
class LogFiles {
public:
    // With `all`, the old files are read too. Raises Failure if there is no file.
    LogFiles(std::string path, bool all);
    LogFiles(const LogFiles&) = delete;
    LogFiles& operator=(const LogFiles&) = delete;
    ~LogFiles();

    enum class Read {
        Bytes,    // more bytes
        FileEnd,  // nothing, and the next file follows
        End       // nothing, as of now; there may be more later
    };
    // Replaces `bytes`. Raises Failure.
    Read read(std::string& bytes);

    // The size of all files when reading began, and the bytes read so far.
    std::uint64_t totalSize() const noexcept { return totalSize_; }
    std::uint64_t position() const noexcept { return position_; }

private:
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        bool operator==(const Identity&) const = default;
    };

    // The file itself is 0.
    std::string pathOf(unsigned number) const;
    std::vector<unsigned> numbers() const;  // of the files that exist, the oldest first
    bool isAt(unsigned number) const;
    bool open(unsigned number);
    void close() noexcept;
    bool openNext();
    bool readSome(std::string& bytes);

    std::string path_;
    std::string directory_;
    std::string base_;       // of the name, up to its extension
    std::string extension_;  // with its dot
    int file_ = -1;
    Identity identity_;
    std::uint64_t offset_ = 0;  // in the file
    std::uint64_t totalSize_ = 0;
    std::uint64_t position_ = 0;
    bool isMoved_ = false;  // it was seen under an old name
};

}  // namespace tools

#endif  // QOR_TOOLS_LOG_LOG_FILES_H
