#ifndef QOR_SRC_PLATFORM_FILESYSTEM_H
#define QOR_SRC_PLATFORM_FILESYSTEM_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

// Files and directories of the system. What fails gives -1 or false, with the reason in errno; a
// signal is no failure. Descriptors are closed in a program that the process starts. Sizes and
// positions have 64 bits.

namespace qor::platform {

// A name as the system takes it: UTF-8, with "/" for either separator. A name that contains a zero
// or an invalid wide character would name another file: the result is empty, which the system
// refuses.
std::string nativePath(std::wstring_view name);

// By OpenFlag; new files get 0666 before the umask. A directory is refused.
int openFile(const std::string& path, int flags) noexcept;
// False also if data that was written before did not reach the file.
bool closeFile(int fd) noexcept;

// The path is opened for a moment, and so must be readable.
long long fileSize(int fd) noexcept;
long long fileSize(const std::string& path) noexcept;
bool resizeFile(int fd, long long size) noexcept;
bool flushFile(int fd) noexcept;

// From the start, the current position or the end: 0, 1, 2. The new position; pipes have none.
long long seekFile(int fd, long long offset, int whence) noexcept;

// Returns the number of bytes read. One read gives the available bytes, and 0 at the end; the form
// with a position reads until the room is full or the file ends, and does not move the file's
// position.
long long readFile(int fd, void* out, std::size_t room) noexcept;
long long readFileAt(int fd, void* out, std::size_t room, long long position) noexcept;

// Writes all bytes. A pipe without a reader is a failure and sends no signal.
bool writeFile(int fd, std::string_view bytes) noexcept;
bool writeFileAt(int fd, std::string_view bytes, long long position) noexcept;

struct FileStatus {
    bool isDirectory = false;
    long long size = -1;  // of anything but a directory
};
// Follows links.
bool fileStatus(const std::string& path, FileStatus& status) noexcept;

// Identifies a directory while it exists.
struct DirectoryId {
    unsigned long long device = 0;
    unsigned long long number = 0;
    friend bool operator==(const DirectoryId&, const DirectoryId&) noexcept = default;
};

// Where the system puts the entries of directories, of one after another.
struct EntryBuffer {
    alignas(8) char bytes[32768];
    std::size_t size = 0;
    std::size_t next = 0;
};

// A directory open for reading, or none. Other directories are opened relative to its descriptor
// and not by path, so long paths and directories that are moved meanwhile do no harm.
class OpenDirectory {
public:
    OpenDirectory() noexcept = default;
    explicit OpenDirectory(const std::string& path) noexcept;
    OpenDirectory(OpenDirectory&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    OpenDirectory& operator=(OpenDirectory&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~OpenDirectory() { close(); }

    bool valid() const noexcept { return fd_ != -1; }
    void close() noexcept;

    // None when the name is a link, also one to a directory.
    OpenDirectory child(const char* name) const noexcept;
    OpenDirectory parent() const noexcept;
    DirectoryId id() const noexcept;

    // Reads the next entry except "." and "..". Returns 1, 0 at the end, or -1; after 0 and -1 the
    // buffer is free for another directory. The name is valid until the next call. The status is
    // empty if it can't be read.
    int next(EntryBuffer& buffer, const char*& name, FileStatus& status) noexcept;

private:
    explicit OpenDirectory(int fd) noexcept : fd_(fd) {}

    int fd_ = -1;
};

// The path of the running program; empty if the system does not provide it.
std::string programPath();

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FILESYSTEM_H
