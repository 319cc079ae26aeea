#include "qor/util/file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/filesystem.h"
#include "platform/utf8.h"
#include "qor/base/base_type_convert.h"

namespace qor {

namespace {

bool fail(int error) noexcept {
    errno = error;
    return false;
}

std::size_t roomFor(unsigned long size, std::size_t capacity) {
    if (isNpos(size)) return cutSize(capacity);
    if (size > npos32) throw std::bad_alloc();
    return size;
}

// One way to fill each kind of target.
void* sized(Bytes& out, std::size_t size) {
    out.init(size);
    return out.buffer();
}
void* sized(String& out, std::size_t size) {
    out.resize(size);
    return out.data();
}
void cut(Bytes& out, std::size_t size) noexcept {
    out.size(size);
}
void cut(String& out, std::size_t size) noexcept {
    out.resize(size);
}

template <class Out>
bool failEmpty(Out& out, int error) noexcept {
    cut(out, 0);
    return fail(error);
}

template <class Out>
bool readOnce(int fd, Out& out, std::size_t room) {
    void* const target = sized(out, room);
    const long long got = platform::readFile(fd, target, room);
    cut(out, static_cast<std::size_t>(std::max(got, 0LL)));
    return got >= 0;
}

template <class Out>
bool readWhole(int fd, Out& out) {
    const long long size = platform::fileSize(fd);
    if (size < 0) return failEmpty(out, errno);
    if (size >= npos32) return failEmpty(out, EFBIG);
    const auto room = static_cast<std::size_t>(size);
    void* const target = sized(out, room);
    const long long got = platform::readFileAt(fd, target, room, 0);
    const bool whole = got >= 0 && platform::seekFile(fd, got, 0) == got;
    cut(out, whole ? static_cast<std::size_t>(got) : 0);
    return whole;
}

// What a line is read in: bytes, or pairs of them.
struct Utf16Unit {
    unsigned char low;
    unsigned char high;
    wchar_t value() const noexcept { return static_cast<wchar_t>(high << 8 | low); }
};
bool is(char unit, char c) noexcept {
    return unit == c;
}
bool is(Utf16Unit unit, char c) noexcept {
    return unit.low == c && unit.high == 0;
}

// What lies ahead of a file's position, which stays until commit(). In a pipe what is looked at is
// gone, so there it is one unit at a time.
template <class Unit>
class Lookahead {
public:
    explicit Lookahead(int fd) noexcept : fd_(fd), start_(platform::seekFile(fd, 0, 1)) {}

    bool isPipe() const noexcept { return start_ < 0; }
    // A first guess at the length of a line, then more; less at the end, and -1 for a failure.
    long long next() noexcept {
        wanted_ = isPipe() ? 1 : wanted_ == 0 ? shortLine : room;
        return fill();
    }
    bool atEnd(long long count) const noexcept { return count < wanted_; }
    const Unit* units() const noexcept { return units_; }

    void use(std::size_t n) noexcept { used_ += static_cast<long long>(n * sizeof(Unit)); }
    bool commit() const noexcept {
        return isPipe() || platform::seekFile(fd_, start_ + used_, 0) == start_ + used_;
    }

private:
    static constexpr long long shortLine = 512;
    static constexpr long long room = 4096;

    long long fill() noexcept {
        const std::size_t size = static_cast<std::size_t>(wanted_) * sizeof(Unit);
        const long long got =
            isPipe() ? fillFromPipe(size) : platform::readFileAt(fd_, units_, size, start_ + used_);
        return got < 0 ? -1 : got / static_cast<long long>(sizeof(Unit));
    }
    long long fillFromPipe(std::size_t size) noexcept {
        std::size_t got = 0;
        while (got < size) {
            char* const rest = reinterpret_cast<char*>(units_) + got;
            const long long n = platform::readFile(fd_, rest, size - got);
            if (n < 0) return -1;
            if (n == 0) break;
            got += static_cast<std::size_t>(n);
        }
        return static_cast<long long>(got);
    }

    int fd_;
    long long start_;
    long long used_ = 0;
    long long wanted_ = 0;
    Unit units_[room];
};

std::size_t lineEnd(const char* units, std::size_t n) noexcept {
    for (const char c : {'\n', '\r'}) {
        const void* const found = std::memchr(units, c, n);
        if (found != nullptr) n = static_cast<std::size_t>(static_cast<const char*>(found) - units);
    }
    return n;
}

std::size_t lineEnd(const Utf16Unit* units, std::size_t n) noexcept {
    const auto ends = [](Utf16Unit unit) { return is(unit, '\n') || is(unit, '\r'); };
    return static_cast<std::size_t>(std::find_if(units, units + n, ends) - units);
}

void append(std::string& line, const char* units, std::size_t n) {
    line.append(units, n);
}

void append(std::wstring& line, const Utf16Unit* units, std::size_t n) {
    const auto isHigh = [](wchar_t c) { return c >> 10 == 0xD800 >> 10; };
    const auto isLow = [](wchar_t c) { return c >> 10 == 0xDC00 >> 10; };
    for (std::size_t i = 0; i < n; ++i) {
        const wchar_t c = units[i].value();
        if (isLow(c) && !line.empty() && isHigh(line.back())) {
            line.back() = 0x10000 + ((line.back() & 0x3FF) << 10 | (c & 0x3FF));
        } else {
            line += c;
        }
    }
}

// Behind a CR: a line feed belongs to it. False if what stands there is lost.
template <class Unit>
bool skipLineFeed(Lookahead<Unit>& ahead, const Unit* rest, std::size_t n) {
    if (n == 0) {
        const long long more = ahead.next();
        if (more < 0) return false;
        rest = ahead.units();
        n = static_cast<std::size_t>(more);
    }
    if (n == 0) return true;
    const bool isLineFeed = is(*rest, '\n');
    if (isLineFeed) ahead.use(1);
    return isLineFeed || !ahead.isPipe();
}

enum class LineRead { Failed, Unended, Ended };

template <class Unit, class Text>
LineRead readLineOf(int fd, Text& line) {
    Lookahead<Unit> ahead(fd);
    for (;;) {
        const long long count = ahead.next();
        if (count < 0) return LineRead::Failed;
        const auto n = static_cast<std::size_t>(count);
        const Unit* const units = ahead.units();
        const std::size_t end = lineEnd(units, n);
        append(line, units, end);
        if (end < n) {
            ahead.use(end + 1);
            const bool kept =
                is(units[end], '\n') || skipLineFeed(ahead, units + end + 1, n - end - 1);
            if (!ahead.commit()) return LineRead::Failed;
            return kept ? LineRead::Ended : LineRead::Unended;
        }
        ahead.use(n);
        if (ahead.atEnd(count)) return ahead.commit() ? LineRead::Unended : LineRead::Failed;
    }
}

}  // namespace

File::File(const iwstr& name, int flags) : name_(name), flags_(flags) {
    open();
}

File::File(const File& other) : name_(other.name_), flags_(other.flags_) {
    if (other.valid()) become(name_, flags_, flags_ & ~OpenTruncate);
}

File::File(File&& other) noexcept
    : handle_(std::exchange(other.handle_, invalidHandle)),
      name_(std::move(other.name_)),
      flags_(other.flags_) {}

File& File::operator=(const File& other) {
    if (this == &other) return *this;
    if (!other.valid()) return *this = File(other);
    become(other.name_, other.flags_, other.flags_ & ~OpenTruncate);
    return *this;
}

File& File::operator=(File&& other) noexcept {
    if (this == &other) return *this;
    close();
    handle_ = std::exchange(other.handle_, invalidHandle);
    name_ = std::move(other.name_);
    flags_ = other.flags_;
    return *this;
}

// What can raise comes first.
bool File::become(std::wstring name, int flags, int openFlags) {
    const std::string path = platform::nativePath(name);
    if (valid()) close();
    name_ = std::move(name);
    flags_ = flags;
    handle_ = platform::openFile(path, openFlags);
    return valid();
}

bool File::open() {
    return valid() || reopen();
}

bool File::open(int flags) {
    return become(name_, flags, flags);
}

bool File::open(const iwstr& name) {
    return become(name, flags_, flags_);
}

bool File::open(const iwstr& name, int flags) {
    return become(name, flags, flags);
}

bool File::reopen() {
    return become(name_, flags_, flags_);
}

bool File::close() noexcept {
    return platform::closeFile(std::exchange(handle_, invalidHandle));
}

long long File::filesize() const {
    return valid() ? platform::fileSize(handle_) : platform::fileSize(platform::nativePath(name_));
}

bool File::truncate(long long size) noexcept {
    return platform::resizeFile(handle_, size);
}

bool File::flush() noexcept {
    return platform::flushFile(handle_);
}

long long File::seek(long long offset, SeekWhence whence) const noexcept {
    return platform::seekFile(handle_, offset, static_cast<int>(whence));
}

long long File::putback(long long n) const noexcept {
    // The one number without a negative is no distance in any file.
    return advance(-std::max(n, -std::numeric_limits<long long>::max()));
}

bool File::read(Bytes& out, unsigned long size) const {
    return valid() ? readOnce(handle_, out, roomFor(size, out.max_size())) : failEmpty(out, EBADF);
}

bool File::read(String& out, unsigned long size) const {
    return valid() ? readOnce(handle_, out, roomFor(size, out.capacity())) : failEmpty(out, EBADF);
}

bool File::read(std::wstring& out, unsigned long size) const {
    Bytes bytes;
    if (!read(bytes, roomFor(size, out.capacity()))) {
        out.clear();
        return false;
    }
    try {
        ansiToWstring(bytes, out);
    } catch (const std::bad_alloc&) {
        putback(static_cast<long long>(bytes.size()));
        throw;
    }
    return true;
}

int File::readByte() const noexcept {
    unsigned char byte;
    return platform::readFile(handle_, &byte, 1) == 1 ? byte : -1;
}

bool File::readLine(String& line) const {
    String read;
    const LineRead result = readLineOf<char, std::string>(handle_, read);
    if (result == LineRead::Failed) read.clear();
    line.swap(read);
    return result == LineRead::Ended;
}

bool File::readLine(std::wstring& line) const {
    std::wstring read;
    const LineRead result = readLineOf<Utf16Unit>(handle_, read);
    if (result == LineRead::Failed) read.clear();
    std::replace_if(
        read.begin(), read.end(), [](wchar_t c) { return platform::characterOf(c) != c; },
        platform::replacementCharacter);
    line.swap(read);
    return result == LineRead::Ended;
}

bool File::readAll(Bytes& out) const {
    return readWhole(handle_, out);
}

bool File::readAll(String& out) const {
    return readWhole(handle_, out);
}

bool File::readAll(std::wstring& out) const {
    const long long position = advance(0);
    Bytes bytes;
    if (!readAll(bytes)) {
        out.clear();
        return false;
    }
    try {
        ansiToWstring(bytes, out);
    } catch (const std::bad_alloc&) {
        rewind(position);
        throw;
    }
    return true;
}

bool File::write(istr text) noexcept {
    return platform::writeFile(handle_, std::string_view(text));
}

bool File::write(iwstr text, long codepage) {
    const String converted = to_ansi(text, codepage);
    const bool isText = !text.empty() && text[0] != L'\0';
    if (isText && converted.empty()) return fail(EINVAL);
    return write(istr(converted));
}

}  // namespace qor
