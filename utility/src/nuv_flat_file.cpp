#include "nuv_flat_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>
#include <system_error>
#include <vector>

#include "nuv_guard.h"
#include "nuv_os_adapter.h"
#include "nuv_zone.h"

namespace {

constexpr mode_t kDirectoryMode = 493;
constexpr mode_t kFileMode = 0666;
constexpr char kFallbackName[] = "MyLog.log";
constexpr std::string_view kLineEnd = "\r\n";

using Path = char[3 * nuv_flat_file::room];

// A path with a separator at the end exists only if it is a directory.
bool exists(const char* path) {
    struct stat status;
    return stat(path, &status) == 0;
}

// Creates each missing directory of a path, which must end with a separator.
bool makeDirectory(const char* directory) {
    if (exists(directory)) return true;
    Path path;
    for (std::size_t i = 0; directory[i] != '\0'; ++i) {
        path[i] = directory[i];
        path[i + 1] = '\0';
        if (directory[i] != '/' || exists(path)) continue;
        // Another process may create it at the same time.
        if (mkdir(path, kDirectoryMode) != 0 && !exists(path)) return false;
    }
    return true;
}

// The directory of the executable, with a separator at the end.
bool ownDirectory(char* directory, std::size_t room) {
    const ssize_t size = readlink("/proc/self/exe", directory, room);
    if (size <= 0 || static_cast<std::size_t>(size) >= room) return false;
    directory[size] = '\0';
    char* const separator = std::strrchr(directory, '/');
    if (separator == nullptr) return false;
    separator[1] = '\0';
    return true;
}

bool workingDirectory(char* directory, std::size_t room) {
    return getcwd(directory, room) != nullptr && nuv_strcat_s(directory, room, "/") == 0;
}

// The part of a name before the last point, and the rest.
struct NameParts {
    explicit NameParts(std::string_view name)
        : base(name.substr(0, name.rfind('.'))), extension(name.substr(base.size())) {}

    std::string_view base;
    std::string_view extension;
};

// The number in the name of an old file of this log; 0 for the files of other logs, whose names
// have another base or extension.
unsigned numberOf(std::string_view name, const NameParts& parts) {
    if (name.size() <= parts.base.size() + 1 + parts.extension.size()) return 0;
    if (!name.starts_with(parts.base) || !name.ends_with(parts.extension)) return 0;
    name.remove_prefix(parts.base.size());
    name.remove_suffix(parts.extension.size());
    if (name[0] != '_') return 0;
    unsigned number = 0;
    const char* const end = name.data() + name.size();
    const auto [stop, error] = std::from_chars(name.data() + 1, end, number);
    const bool movable = error == std::errc() && stop == end && number < UINT_MAX;
    return movable ? number : 0;
}

bool listNumbers(const char* directory, const NameParts& parts, std::vector<unsigned>& numbers) {
    DIR* const list = opendir(directory);
    if (list == nullptr) return false;
    bool complete = true;
    try {
        while (const dirent* const entry = readdir(list)) {
            const unsigned number = numberOf(entry->d_name, parts);
            if (number != 0) numbers.push_back(number);
        }
    } catch (const std::bad_alloc&) {
        complete = false;
    }
    closedir(list);
    return complete;
}

// Moves a descriptor away from those of the standard streams. A program may run without these, but
// must not print into the log.
int aboveStandard(int handle) {
    if (handle < 0 || handle > STDERR_FILENO) return handle;
    const int moved = fcntl(handle, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(handle);
    errno = error;
    return moved;
}

// Whether a rename or removal succeeded. A file that does not exist counts as moved.
bool moved(int result) {
    return result == 0 || errno == ENOENT;
}

}  // namespace

void nuv_local_time::read() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const int fraction = static_cast<int>(now.tv_nsec / 1000000);
    milliseconds_ = static_cast<long long>(now.tv_sec) * 1000 + fraction;
    if (now.tv_sec != second_ || size_ == 0) readSecond(now.tv_sec);
    if (size_ == 0) return;
    char* const digits = text_ + size_ - 3;
    digits[0] = static_cast<char>('0' + fraction / 100);
    digits[1] = static_cast<char>('0' + fraction / 10 % 10);
    digits[2] = static_cast<char>('0' + fraction % 10);
}

void nuv_local_time::readSecond(std::time_t second) {
    const nuv_uncancelled whole;
    second_ = second;
    size_ = 0;
    std::tm local;
    if (!nuv_local_time_of(second, local)) return;
    const int size = nuv_sprintf_s(text_, room, "%lld-%02d-%02d %02d:%02d:%02d.%03d",
                                   local.tm_year + 1900LL, local.tm_mon + 1, local.tm_mday,
                                   local.tm_hour, local.tm_min, local.tm_sec, 0);
    if (size > 0) size_ = static_cast<std::size_t>(size);
}

nuv_flat_file::nuv_flat_file(const char* name) {
    const nuv_uncancelled whole;
    if (!resolve(name) || !makeDirectory(directory_)) fallBack();
}

bool nuv_flat_file::resolve(const char* name) {
    const std::size_t size = std::strlen(name);
    if (size >= room) return false;
    char given[room];
    std::replace_copy(name, name + size + 1, given, '\\', '/');
    if (given[0] == '/') return split(given);
    char path[2 * room];
    const bool isPlain = std::strchr(given, '/') == nullptr;
    const bool found = isPlain ? ownDirectory(path, room) : workingDirectory(path, room);
    return found && nuv_strcat_s(path, sizeof path, given) == 0 && split(path);
}

bool nuv_flat_file::split(const char* path) {
    const std::size_t size = static_cast<std::size_t>(std::strrchr(path, '/') - path) + 1;
    if (size >= room || std::strlen(path + size) >= room) return false;
    nuv_strncpy_s(directory_, room - 1, path, size);
    directory_[size] = '\0';
    name_[0] = '\0';
    return nuv_strcat_s(name_, room, path + size) == 0;
}

void nuv_flat_file::fallBack() {
    constexpr char folder[] = "Log/";
    if (!workingDirectory(directory_, room) || nuv_strcat_s(directory_, room, folder) != 0)
        nuv_strncpy_s(directory_, room, folder, sizeof folder);
    nuv_strncpy_s(name_, room, kFallbackName, sizeof kFallbackName);
    makeDirectory(directory_);
}

void nuv_flat_file::append(const char* line, std::size_t size, const nuv_local_time& now) {
    const bool isReady = handle_ >= 0 && size_ < limit_ && now.milliseconds() == looked_;
    if (!isReady && !prepare(now)) return;
    if (write(line, size) || errno != EBADF) return;
    // Other code has closed the descriptor, such as a daemon that closes all of them.
    forget();
    if (prepare(now)) write(line, size);
}

// Opens the file, or checks that its name still leads to it, and rotates it when needed. Returns
// false if no file can be written.
bool nuv_flat_file::prepare(const nuv_local_time& now) {
    const nuv_uncancelled whole;
    const bool due = now.milliseconds() != looked_;
    looked_ = now.milliseconds();
    if (handle_ >= 0 && due) look();
    const long long second = looked_ / 1000;
    // After a failed rotation the file grows beyond its limit. The next try is in another second.
    if (handle_ >= 0 && size_ >= limit_ && second != stuck_ && !rotate()) stuck_ = second;
    if (handle_ < 0 && (fresh_ || due)) open(now);
    return handle_ >= 0;
}

void nuv_flat_file::open(const nuv_local_time& now) {
    fresh_ = false;
    opened_ = name_;
    handle_ = openBeside(opened_);
    if (handle_ < 0 && errno == ENOENT && makeDirectory(directory_)) handle_ = openBeside(opened_);
    if (handle_ < 0) handle_ = openBeside(opened_ = kFallbackName);
    if (handle_ < 0) return;
    struct stat status = {};
    fstat(handle_, &status);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    isRegular_ = S_ISREG(status.st_mode);
    size_ = status.st_size;
    limited_ = nuv_size_is_limited();
    torn_ = false;
    if (now.size() == 0) return;
    char banner[100];
    const int size = nuv_sprintf_s(banner, sizeof banner, "Scrivo(v3.0) %s%.*s\r\n",
                                   "Begin Time:", static_cast<int>(now.size()), now.text());
    if (size > 0) write(banner, static_cast<std::size_t>(size));
}

int nuv_flat_file::openBeside(const char* name) {
    Path path;
    if (nuv_sprintf_s(path, sizeof path, "%s%s", directory_, name) < 0) return -1;
    // Also opened for reading, so that a pipe always has a reader and raises no SIGPIPE.
    // O_NONBLOCK: writing to a pipe does not block.
    constexpr int flags = O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    int handle = -1;
    do {
        handle = ::open(path, flags, kFileMode);
    } while (handle < 0 && errno == EINTR);
    return aboveStandard(handle);
}

void nuv_flat_file::close() {
    const nuv_uncancelled whole;
    struct stat status;
    // If the descriptor now belongs to another file, it must not be closed here.
    if (handle_ >= 0 && fstat(handle_, &status) == 0 && isOurs(status)) ::close(handle_);
    forget();
}

void nuv_flat_file::forget() {
    handle_ = -1;
    fresh_ = true;
}

// Closes the file if the handle or the name no longer leads to it. If the name cannot be examined
// (EACCES, after the process has given up its rights), the file stays open.
void nuv_flat_file::look() {
    struct stat status;
    if (fstat(handle_, &status) != 0 || !isOurs(status)) return close();
    size_ = status.st_size;
    limited_ = nuv_size_is_limited();
    Path path;
    nuv_sprintf_s(path, sizeof path, "%s%s", directory_, opened_);
    const bool found = stat(path, &status) == 0;
    if (found ? !isOurs(status) : errno == ENOENT || errno == ENOTDIR) close();
}

bool nuv_flat_file::isOurs(const struct stat& status) const {
    return status.st_dev == device_ && status.st_ino == inode_;
}

// Returns false if the rotation failed. A lock is held until the file is closed, so that another
// process that shares the file does not rotate the new file again.
bool nuv_flat_file::rotate() {
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    const bool taken = fcntl(handle_, F_SETLK, &whole) == -1;
    // Another process is rotating the file: the next line tries again.
    if (taken && (errno == EAGAIN || errno == EACCES)) return true;
    look();
    const bool needed = handle_ >= 0 && size_ >= limit_;
    if (needed && shift()) {
        close();
        return true;
    }
    if (handle_ >= 0) {
        whole.l_type = F_UNLCK;
        fcntl(handle_, F_SETLK, &whole);
    }
    return !needed;
}

// Deliberate (compatibility): files with numbers above the count (left from an earlier, higher
// count) are renamed like the others. Only the file with the number `count_` is removed.
//
// After a failure, the next try continues with the file that could not be renamed: else each try
// would remove one more of the old files.
bool nuv_flat_file::shift() {
    const NameParts parts(opened_);
    std::vector<unsigned> numbers;
    if (!listNumbers(directory_, parts, numbers)) return false;
    std::sort(numbers.begin(), numbers.end(), std::greater<>());

    const auto pathOf = [&](Path& path, unsigned number) {
        nuv_sprintf_s(path, sizeof path, "%s%.*s%s%u%s", directory_,
                      static_cast<int>(parts.base.size()), parts.base.data(), "_", number,
                      parts.extension.data());
    };
    // Another process has moved the files since the failure.
    if (std::find(numbers.begin(), numbers.end(), unmoved_ + 1) != numbers.end())
        unmoved_ = UINT_MAX;
    Path from, to;
    pathOf(to, count_);
    if (unmoved_ == UINT_MAX && !moved(unlink(to))) return false;
    for (const unsigned number : numbers) {
        if (number == count_ || number > unmoved_) continue;
        pathOf(from, number);
        pathOf(to, number + 1);
        if (!moved(rename(from, to))) {
            unmoved_ = number;
            return false;
        }
    }
    unmoved_ = 0;
    nuv_sprintf_s(from, sizeof from, "%s%s", directory_, opened_);
    pathOf(to, 1);
    if (rename(from, to) != 0) return false;
    unmoved_ = UINT_MAX;
    return true;
}

// Returns false with the reason in errno if not all of the text was written.
bool nuv_flat_file::write(const char* text, std::size_t size) {
    if (torn_) {
        torn_ = false;
        if (!write(kLineEnd.data(), kLineEnd.size())) {
            torn_ = true;
            return false;
        }
    }
    std::size_t done = 0;
    errno = 0;
    while (done < size) {
        const ssize_t some = writeSome(text + done, size - done);
        if (some < 0 && errno == EINTR) continue;
        if (some <= 0) break;
        done += static_cast<std::size_t>(some);
        size_ += some;
        // The next byte may exceed the limit for the file size.
        if (done < size) limited_ = nuv_size_is_limited();
    }
    if (done == size) return true;
    const int error = errno;
    torn_ = done != 0 && !takeBack(done);
    errno = error;
    return false;
}

// Removes the last `count` bytes of the file, which are the first part of a line that did not fit.
// Returns false if they stay: in a pipe, or after another process has written to the file.
bool nuv_flat_file::takeBack(std::size_t count) {
    struct stat status;
    if (!isRegular_ || fstat(handle_, &status) != 0 || status.st_size != size_) return false;
    const long long before = size_ - static_cast<long long>(count);
    if (ftruncate(handle_, before) != 0) return false;
    size_ = before;
    return true;
}

ssize_t nuv_flat_file::writeSome(const char* text, std::size_t size) const {
    if (!limited_) return writeAtEnd(text, size);
    const nuv_uncancelled whole;
    const nuv_signal_held held(SIGXFSZ);
    return writeAtEnd(text, size);
}

// syscall() is used because it is not a cancellation point. On Linux, pwrite to a file that is open
// for appending ignores the offset and writes at the end, without the lock of the file position.
ssize_t nuv_flat_file::writeAtEnd(const char* text, std::size_t size) const {
    if (!isRegular_) return syscall(SYS_write, handle_, text, size);
    return syscall(SYS_pwrite64, handle_, text, size, static_cast<off_t>(size_));
}
