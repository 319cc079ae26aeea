#include "log/log_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <functional>
#include <system_error>
#include <tuple>

#include "common/failure.h"

namespace tools {

namespace {

constexpr std::size_t kPiece = 1U << 18;

}  // namespace

LogFiles::LogFiles(std::string path, bool all, Report report)
    : path_(std::move(path)), report_(std::move(report)) {
    const std::size_t slash = path_.rfind('/');
    const std::size_t name = slash == path_.npos ? 0 : slash + 1;
    const std::size_t dot = path_.rfind('.');
    const std::size_t end = dot == path_.npos || dot < name ? path_.size() : dot;
    directory_ = slash == path_.npos ? "." : path_.substr(0, name);
    base_ = path_.substr(0, end);
    extension_ = path_.substr(end);
    const std::vector<unsigned> found = all ? numbers() : std::vector<unsigned>{0};
    for (const unsigned number : found) {
        struct stat status {};
        if (::stat(pathOf(number).c_str(), &status) == 0) {
            totalSize_ += static_cast<std::uint64_t>(status.st_size);
        }
    }
    for (const unsigned number : found) {
        const int file = open(number);
        if (file < 0) continue;
        use(file, number);
        return;
    }
    // Without the log, this raises the reason, unless the log has been created meanwhile.
    const int log = open(0);
    if (log < 0) throw Failure(path_ + ": " + std::strerror(ENOENT));
    use(log, 0);
}

LogFiles::~LogFiles() {
    if (file_ >= 0) ::close(file_);
}

std::string LogFiles::pathOf(unsigned number) const {
    return number == 0 ? path_ : base_ + '_' + std::to_string(number) + extension_;
}

std::vector<unsigned> LogFiles::numbers() {
    std::vector<unsigned> found;
    std::error_code error;
    const std::string prefix = base_.substr(base_.rfind('/') + 1) + '_';
    using Entries = std::filesystem::directory_iterator;
    for (Entries entry(directory_, error); !error && entry != Entries(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!name.starts_with(prefix) || !name.ends_with(extension_)) continue;
        unsigned number = 0;
        std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number);
        // A name such as pump_01.log is not the name of an old file.
        if (number != 0 && name == prefix + std::to_string(number) + extension_)
            found.push_back(number);
    }
    struct stat status {};
    if (::stat(path_.c_str(), &status) == 0) {
        found.push_back(0);
        if (error) report(directory_ + ": " + std::strerror(error.value()));
    }
    std::sort(found.begin(), found.end(), std::greater<>());
    return found;
}

// Whether the file with this number was last written after the present one, which was removed.
// Files written in the same tick of the clock are newer, except for those that were older when the
// log itself was removed.
bool LogFiles::isNewer(unsigned number) const {
    struct stat own {};
    struct stat other {};
    if (number == 0) return true;
    if (::fstat(file_, &own) != 0 || ::stat(pathOf(number).c_str(), &other) != 0) return false;
    const auto timeOf = [](const struct stat& status) {
        return std::tie(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
    };
    return number_ == 0 ? timeOf(other) > timeOf(own) : timeOf(other) >= timeOf(own);
}

bool LogFiles::isAt(unsigned number) const {
    struct stat status {};
    return ::stat(pathOf(number).c_str(), &status) == 0 &&
           identity_ == Identity{status.st_dev, status.st_ino};
}

void LogFiles::fail(unsigned number, int error) {
    const std::string fault = pathOf(number) + ": " + std::strerror(error);
    if (number == 0) throw Failure(fault);
    report(fault);
}

void LogFiles::report(const std::string& fault) {
    if (reported_.insert(fault).second) report_(fault);
}

int LogFiles::open(unsigned number) {
    const std::string path = pathOf(number);
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const int error = file < 0 ? errno : EISDIR;
    struct stat status {};
    // A link to a missing file is not missing itself. The log may have been created meanwhile.
    if (file < 0 && error == ENOENT &&
        (number == 0 || ::lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)))
        return kMissing;
    if (file >= 0 && ::fstat(file, &status) == 0 && !S_ISDIR(status.st_mode)) return file;
    if (file >= 0) ::close(file);
    fail(number, error);
    return kUnreadable;
}

// Reads this file from now on.
void LogFiles::use(int file, unsigned number) {
    struct stat status {};
    ::fstat(file, &status);
    if (file_ >= 0) ::close(file_);
    file_ = file;
    identity_ = {status.st_dev, status.st_ino};
    number_ = number;
    offset_ = 0;
    isMoved_ = false;
}

bool LogFiles::readSome(std::string& bytes) {
    bytes.resize(kPiece);
    ssize_t count = -1;
    do {
        count = ::read(file_, bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) fail(number_, errno);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    offset_ += bytes.size();
    position_ += bytes.size();
    return !bytes.empty();
}

// Opens the file after this one, without the old files that cannot be read. If the files are
// rotated meanwhile, the wrong file may be opened. Then the name of this file has changed too, and
// the search starts again.
bool LogFiles::openNext() {
    constexpr int kAttempts = 100;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::vector<unsigned> found = numbers();
        const auto own = std::find_if(found.begin(), found.end(),
                                      [this](unsigned number) { return isAt(number); });
        if (own != found.end()) number_ = *own;
        if (own != found.end() && *own == 0) return false;
        auto next = own != found.end()
                        ? own + 1
                        : std::find_if(found.begin(), found.end(),
                                       [this](unsigned number) { return isNewer(number); });
        int file = kUnreadable;
        while (next != found.end() && (file = open(*next)) == kUnreadable)
            ++next;
        if (next == found.end()) return false;
        if (file >= 0 && (own == found.end() || isAt(*own))) {
            use(file, *next);
            return true;
        }
        if (file >= 0) ::close(file);
    }
    return false;
}

// Files such as those in /proc always have the size 0, but have bytes.
bool LogFiles::isTruncated() const {
    struct stat status {};
    if (::fstat(file_, &status) != 0) return false;
    char first = 0;
    return static_cast<std::uint64_t>(status.st_size) < offset_ &&
           (status.st_size != 0 || ::pread(file_, &first, 1, 0) == 0);
}

LogFiles::Read LogFiles::read(std::string& bytes) {
    if (readSome(bytes)) return Read::Bytes;
    if (isTruncated()) {
        ::lseek(file_, 0, SEEK_SET);
        offset_ = 0;
        return Read::FileEnd;
    }
    if (isAt(0)) return Read::End;
    // Lines may have been written between the last reading and the rotation.
    if (!isMoved_) {
        isMoved_ = true;
        if (readSome(bytes)) return Read::Bytes;
    }
    return openNext() ? Read::FileEnd : Read::End;
}

}  // namespace tools
