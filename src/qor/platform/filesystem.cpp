#include "platform/filesystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "nuv_guard.h"
#include "platform/clock.h"
#include "platform/codepage.h"
#include "platform/uninterrupted.h"
#include "platform/utf8.h"
#include "qor/base/open_flags.h"

namespace qor::platform {

namespace {

static_assert(sizeof(off_t) == sizeof(long long));

constexpr int invalid = -1;

int fail(int error) noexcept {
    errno = error;
    return invalid;
}

// Returns -1 for unsupported flags.
int systemFlags(int flags) noexcept {
    constexpr int access[] = {O_RDONLY, O_WRONLY, O_RDWR, -1};
    const int asked = access[flags & 3];
    if (asked == -1) return asked;
    return asked | ((flags & OpenCreate) != 0 ? O_CREAT : 0) |
           ((flags & OpenTruncate) != 0 ? O_TRUNC : 0) | O_CLOEXEC | O_NOCTTY;
}

int openNoDirectory(const std::string& path, int flags) noexcept {
    const int fd = uninterrupted([&] { return ::open(path.c_str(), flags, 0666); });
    if (fd == invalid) return invalid;
    struct stat status;
    const bool known = ::fstat(fd, &status) == 0;
    if (known && !S_ISDIR(status.st_mode)) return fd;
    const int error = known ? EISDIR : errno;
    closeFile(fd);
    return fail(error);
}

FileStatus statusOf(const struct stat& status) noexcept {
    if (S_ISDIR(status.st_mode)) return {true, -1};
    return {false, status.st_size};
}

// Maximum number of bytes per system call; a larger transfer needs several calls.
constexpr std::size_t largestTransfer = 0x7FFFF000;

constinit AnswerOfTime sizeLimited;

// At the limit for the size of files the call only fails (EFBIG) and raises no SIGXFSZ. The limit
// is read once in some milliseconds, since that takes half the time of a short write.
template <class Call>
auto withinSizeLimit(Call call) noexcept {
    if (!sizeLimited.at(coarseNanoseconds(), nuv_size_is_limited)) return call();
    const nuv_signal_held held(SIGXFSZ);
    return call();
}

// Also calls the system for 0 bytes, to check whether the file can be written.
template <class Write>
bool writeAll(std::string_view bytes, Write write) noexcept {
    std::size_t written = 0;
    do {
        const std::string_view rest = bytes.substr(written, largestTransfer);
        const ssize_t n = uninterrupted([&] { return write(rest.data(), rest.size(), written); });
        if (n < 0 || (n == 0 && !rest.empty())) return false;
        written += static_cast<std::size_t>(n);
    } while (written < bytes.size());
    return true;
}

bool isDots(const char* name) noexcept {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

}  // namespace

std::string nativePath(std::wstring_view name) {
    const auto isOfOtherName = [](wchar_t c) { return c == L'\0' || characterOf(c) != c; };
    if (std::any_of(name.begin(), name.end(), isOfOtherName)) return std::string();
    std::string path(name.size() * maxBytesPerCharacter, '\0');
    path.resize(wideToUtf8(name, path.data(), path.size()).written);
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

int openFile(const std::string& path, int flags) noexcept {
    const int asked = systemFlags(flags);
    return asked == -1 ? fail(EINVAL) : openNoDirectory(path, asked);
}

bool closeFile(int fd) noexcept {
    const nuv_uncancelled whole;
    // After EINTR the descriptor is closed too.
    return ::close(fd) == 0 || errno == EINTR;
}

long long fileSize(int fd) noexcept {
    struct stat status;
    return ::fstat(fd, &status) == 0 ? status.st_size : -1;
}

long long fileSize(const std::string& path) noexcept {
    // O_NONBLOCK: does not wait for the other end of a pipe.
    const int fd = openNoDirectory(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd == invalid) return -1;
    const long long size = fileSize(fd);
    closeFile(fd);
    return size;
}

bool resizeFile(int fd, long long size) noexcept {
    const auto resize = [&] { return ::ftruncate(fd, size); };
    return withinSizeLimit([&] { return uninterrupted(resize); }) == 0;
}

bool flushFile(int fd) noexcept {
    return uninterrupted([&] { return ::fsync(fd); }) == 0;
}

long long seekFile(int fd, long long offset, int whence) noexcept {
    constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (whence < 0 || whence > 2) return fail(EINVAL);
    return ::lseek(fd, offset, origins[whence]);
}

long long readFile(int fd, void* out, std::size_t room) noexcept {
    char* const begin = static_cast<char*>(out);
    std::size_t got = 0;
    for (;;) {
        const std::size_t asked = std::min(room - got, largestTransfer);
        const ssize_t n = uninterrupted([&] { return ::read(fd, begin + got, asked); });
        if (n < 0 && got == 0) return -1;
        if (n > 0) got += static_cast<std::size_t>(n);
        if (n < static_cast<ssize_t>(largestTransfer)) return static_cast<long long>(got);
    }
}

long long readFileAt(int fd, void* out, std::size_t room, long long position) noexcept {
    char* const begin = static_cast<char*>(out);
    std::size_t got = 0;
    for (;;) {
        const std::size_t asked = std::min(room - got, largestTransfer);
        const off_t place = position + static_cast<long long>(got);
        const ssize_t n = uninterrupted([&] { return ::pread(fd, begin + got, asked, place); });
        if (n < 0) return -1;
        got += static_cast<std::size_t>(n);
        if (n == 0 || got == room) return static_cast<long long>(got);
    }
}

bool writeFile(int fd, std::string_view bytes) noexcept {
    const auto write = [fd](const char* data, std::size_t size, std::size_t) {
        return ::write(fd, data, size);
    };
    if (::lseek(fd, 0, SEEK_CUR) != -1)
        return withinSizeLimit([&] { return writeAll(bytes, write); });
    const nuv_signal_held held(SIGPIPE);
    return writeAll(bytes, write);
}

bool writeFileAt(int fd, std::string_view bytes, long long position) noexcept {
    const auto write = [&](const char* data, std::size_t size, std::size_t written) {
        return ::pwrite(fd, data, size, position + static_cast<long long>(written));
    };
    return withinSizeLimit([&] { return writeAll(bytes, write); });
}

bool fileStatus(const std::string& path, FileStatus& status) noexcept {
    struct stat found;
    if (::stat(path.c_str(), &found) != 0) return false;
    status = statusOf(found);
    return true;
}

OpenDirectory::OpenDirectory(const std::string& path) noexcept
    : OpenDirectory(
          uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); })) {
}

void OpenDirectory::close() noexcept {
    if (valid()) closeFile(std::exchange(fd_, invalid));
}

OpenDirectory OpenDirectory::child(const char* name) const noexcept {
    return OpenDirectory(uninterrupted(
        [&] { return ::openat(fd_, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); }));
}

OpenDirectory OpenDirectory::parent() const noexcept {
    return child("..");
}

DirectoryId OpenDirectory::id() const noexcept {
    struct stat status;
    if (::fstat(fd_, &status) != 0) return {};
    return {status.st_dev, status.st_ino};
}

int OpenDirectory::next(EntryBuffer& buffer, const char*& name, FileStatus& status) noexcept {
    const dirent64* entry;
    do {
        if (buffer.next == buffer.size) {
            const ssize_t size = ::getdents64(fd_, buffer.bytes, sizeof buffer.bytes);
            buffer.next = 0;
            buffer.size = static_cast<std::size_t>(std::max<ssize_t>(size, 0));
            if (size <= 0) return static_cast<int>(size);
        }
        entry = reinterpret_cast<const dirent64*>(buffer.bytes + buffer.next);
        buffer.next += entry->d_reclen;
    } while (isDots(entry->d_name));
    name = entry->d_name;
    status = {entry->d_type == DT_DIR, -1};
    struct stat found;
    if (!status.isDirectory && ::fstatat(fd_, name, &found, 0) == 0) status = statusOf(found);
    return 1;
}

std::string programPath() {
    std::string path(256, '\0');
    for (;;) {
        const ssize_t size = ::readlink("/proc/self/exe", path.data(), path.size());
        if (size < 0) return std::string();
        const bool fits = static_cast<std::size_t>(size) < path.size();
        path.resize(fits ? static_cast<std::size_t>(size) : path.size() * 2);
        if (fits) return path;
    }
}

}  // namespace qor::platform
