#ifndef QOR_SRC_PLATFORM_FILESYSTEM_H
#define QOR_SRC_PLATFORM_FILESYSTEM_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

// Files and directories of the system. A function that fails returns -1 or false and sets errno. A
// call that a signal interrupts is repeated. The thread is not cancelled in a call. Descriptors are
// not inherited by programs that the process starts (O_CLOEXEC). Sizes and positions have 64 bits.

namespace qor::platform {

// Converts a name to the form of the system: UTF-8, with "/" for both separators. The result is
// empty, and the system refuses it, if the name contains a zero or an invalid wide character: the
// converted name would be that of another file.
std::string nativePath(std::wstring_view name);

// `flags` are of OpenFlag. A new file gets the mode 0666 less the umask. Fails for a directory.
int openFile(const std::string& path, int flags) noexcept;
// Also false if earlier writes did not reach the file. The descriptor is closed in any case.
bool closeFile(int fd) noexcept;

// The form with a path opens the file for a moment, so the file must be readable.
long long fileSize(int fd) noexcept;
long long fileSize(const std::string& path) noexcept;
// Above the limit for the size of files it fails (EFBIG) and raises no SIGXFSZ, except
// within some milliseconds after the program has set the limit.
bool resizeFile(int fd, long long size) noexcept;
bool flushFile(int fd) noexcept;

// `whence` is 0 for the start, 1 for the current position, 2 for the end. Returns the new position;
// fails for pipes.
long long seekFile(int fd, long long offset, int whence) noexcept;

// Return the number of bytes read, which is 0 at the end. readFile returns the available bytes.
// readFileAt reads until the room is full or the file ends, and does not move the file's position.
long long readFile(int fd, void* out, std::size_t room) noexcept;
long long readFileAt(int fd, void* out, std::size_t room, long long position) noexcept;

// Write all bytes. Writing to a pipe without a reader fails and raises no SIGPIPE; writing above
// the limit for the size of files fails as in resizeFile.
bool writeFile(int fd, std::string_view bytes) noexcept;
bool writeFileAt(int fd, std::string_view bytes, long long position) noexcept;

struct FileStatus {
    bool isDirectory = false;
    long long size = -1;  // -1 for a directory
};
// Follows symbolic links.
bool fileStatus(const std::string& path, FileStatus& status) noexcept;

// Identifies a directory while it exists.
struct DirectoryId {
    unsigned long long device = 0;
    unsigned long long number = 0;
    friend bool operator==(const DirectoryId&, const DirectoryId&) noexcept = default;
};

// Directory entries read from the system but not yet returned by OpenDirectory::next. Can be used
// for several directories, one after another.
struct EntryBuffer {
    alignas(8) char bytes[32768];
    std::size_t size = 0;
    std::size_t next = 0;
};

// A directory that is open for reading, or none. child and parent open directories relative to this
// descriptor and not by path, so they work with paths of any length and after a directory was
// moved. The destructor closes the directory.
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

    // Not valid if the name is a symbolic link, even if it leads to a directory.
    OpenDirectory child(const char* name) const noexcept;
    OpenDirectory parent() const noexcept;
    DirectoryId id() const noexcept;

    // Reads the next entry, without "." and "..". Returns 1, 0 at the end, or -1 on failure. After
    // 0 and -1 the buffer can be used for another directory. `name` is valid until the next call.
    // `status` is that of a file of size -1 if it can't be read.
    int next(EntryBuffer& buffer, const char*& name, FileStatus& status) noexcept;

private:
    explicit OpenDirectory(int fd) noexcept : fd_(fd) {}

    int fd_ = -1;
};

// The path of the running program, or empty if the system does not provide it.
std::string programPath();

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FILESYSTEM_H
