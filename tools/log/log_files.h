#ifndef QOR_TOOLS_LOG_LOG_FILES_H
#define QOR_TOOLS_LOG_LOG_FILES_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace tools {

// Reads a log and its old files as one text, the oldest file first:
//
//     pump_2.log -> pump_1.log -> pump.log
//
// The files may be rotated during reading. The reader keeps its file open, and finds the present
// name of this file by device and inode; the name tells which file is next.
class LogFiles {
public:
    // Called with the message for each old file that cannot be read, and is therefore left out;
    // also if the directory cannot be listed.
    using Report = std::function<void(const std::string& fault)>;

    // With `all`, the old files are read too. Raises Failure if there is no file.
    LogFiles(std::string path, bool all, Report report);
    LogFiles(const LogFiles&) = delete;
    LogFiles& operator=(const LogFiles&) = delete;
    ~LogFiles();

    enum class Read {
        Bytes,    // more bytes
        FileEnd,  // no bytes; the next call begins the next file
        End       // no bytes at present; there may be more later
    };
    // Reads the next bytes into `bytes`. Raises Failure if the log itself cannot be read.
    Read read(std::string& bytes);

    // The size of all files when reading began, and the number of bytes read so far.
    std::uint64_t totalSize() const noexcept { return totalSize_; }
    std::uint64_t position() const noexcept { return position_; }

private:
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        bool operator==(const Identity&) const = default;
    };

    // The path of the old file with this number; 0 is the log file itself.
    std::string pathOf(unsigned number) const;
    // The existing files, the oldest first. If there is a log, but its directory cannot be listed,
    // reports this.
    std::vector<unsigned> numbers();
    bool isAt(unsigned number) const;
    bool isNewer(unsigned number) const;
    // For the log itself, raises Failure; reports an old file.
    void fail(unsigned number, int error);
    void report(const std::string& fault);  // the first time
    // The descriptor, or one of these two values if the file does not exist or fail() reports it.
    int open(unsigned number);
    static constexpr int kMissing = -1, kUnreadable = -2;
    void use(int file, unsigned number);
    bool openNext();
    bool readSome(std::string& bytes);
    bool isTruncated() const;

    std::string path_;
    std::string directory_;
    std::string base_;       // the file name without its extension
    std::string extension_;  // with the dot
    Report report_;
    std::set<std::string> reported_;
    int file_ = -1;
    Identity identity_;
    unsigned number_ = 0;       // when the file was last found
    std::uint64_t offset_ = 0;  // in the file
    std::uint64_t totalSize_ = 0;
    std::uint64_t position_ = 0;
    bool isMoved_ = false;  // whether the file was found under the name of an old file
};

}  // namespace tools

#endif  // QOR_TOOLS_LOG_LOG_FILES_H
