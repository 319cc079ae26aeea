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
#include <tuple>

#include "common/failure.h"

namespace tools {

namespace {

constexpr std::size_t kPiece = 1U << 18;

}  // namespace

LogFiles::LogFiles(std::string path, bool all) : path_(std::move(path)) {
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
    const bool opened = !found.empty() && std::any_of(found.begin(), found.end(),
                                                      [this](unsigned n) { return open(n); });
    if (!opened) throw Failure(path_ + ": " + std::strerror(ENOENT));
}

LogFiles::~LogFiles() {
    close();
}

std::string LogFiles::pathOf(unsigned number) const {
    return number == 0 ? path_ : base_ + '_' + std::to_string(number) + extension_;
}

std::vector<unsigned> LogFiles::numbers() const {
    std::vector<unsigned> found;
    std::error_code error;
    const std::string prefix = base_.substr(base_.rfind('/') + 1) + '_';
    for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with(prefix) || !name.ends_with(extension_)) continue;
        unsigned number = 0;
        std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number);
        // A name such as pump_01.log is not the name of an old file.
        if (number != 0 && name == prefix + std::to_string(number) + extension_)
            found.push_back(number);
    }
    struct stat status {};
    if (::stat(path_.c_str(), &status) == 0) found.push_back(0);
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

bool LogFiles::open(unsigned number) {
    const std::string path = pathOf(number);
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 && errno == ENOENT) return false;
    if (file < 0) throw Failure(path + ": " + std::strerror(errno));
    struct stat status {};
    if (::fstat(file, &status) != 0 || S_ISDIR(status.st_mode)) {
        ::close(file);
        throw Failure(path + ": " + std::strerror(EISDIR));
    }
    close();
    file_ = file;
    identity_ = {status.st_dev, status.st_ino};
    number_ = number;
    offset_ = 0;
    isMoved_ = false;
    return true;
}

void LogFiles::close() noexcept {
    if (file_ >= 0) ::close(file_);
    file_ = -1;
}

bool LogFiles::readSome(std::string& bytes) {
    bytes.resize(kPiece);
    ssize_t count = -1;
    do {
        count = ::read(file_, bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw Failure(path_ + ": " + std::strerror(errno));
    bytes.resize(static_cast<std::size_t>(count));
    offset_ += bytes.size();
    position_ += bytes.size();
    return count != 0;
}

// Opens the file after this one. If the files are rotated meanwhile, the wrong file may be opened.
// Then the name of this file has changed too, and the search starts again.
bool LogFiles::openNext() {
    constexpr int kAttempts = 100;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::vector<unsigned> found = numbers();
        const auto own = std::find_if(found.begin(), found.end(),
                                      [this](unsigned number) { return isAt(number); });
        if (own != found.end()) number_ = *own;
        if (own != found.end() && *own == 0) return false;
        const auto next = own != found.end()
                              ? own + 1
                              : std::find_if(found.begin(), found.end(),
                                             [this](unsigned number) { return isNewer(number); });
        if (next == found.end()) return false;
        const unsigned number = *next;
        const Identity before = identity_;
        const unsigned numberBefore = number_;
        const int held = ::dup(file_);
        const bool opened = open(number);
        const bool still = own == found.end() || [&] {
            struct stat status {};
            return ::stat(pathOf(*own).c_str(), &status) == 0 &&
                   before == Identity{status.st_dev, status.st_ino};
        }();
        if (opened && still) {
            ::close(held);
            return true;
        }
        close();
        file_ = held;
        identity_ = before;
        number_ = numberBefore;
        isMoved_ = true;
    }
    return false;
}

LogFiles::Read LogFiles::read(std::string& bytes) {
    if (readSome(bytes)) return Read::Bytes;
    struct stat status {};
    if (::fstat(file_, &status) == 0 && static_cast<std::uint64_t>(status.st_size) < offset_) {
        // The file was truncated.
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
