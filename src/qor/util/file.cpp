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

// The same operations for each type of target.
void* sized(Bytes& out, std::size_t size) {
    out.init(size);
    return out.buffer();
}
void* sized(String& out, std::size_t size) {
    if (size > out.max_size()) throw std::bad_alloc();
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

// Converts what was read. If that fails, `goBack` restores the position.
template <class GoBack>
bool widen(const Bytes& bytes, std::wstring& out, GoBack goBack) {
    try {
        ansiToWstring(bytes, out);
        // Only a code page that cannot be converted gives no text.
        if (!out.empty() || bytes.empty() || bytes[0] == 0) return true;
    } catch (const std::bad_alloc&) {
        goBack();
        throw;
    } catch (const Exception&) {
        out.clear();  // the settings, which have the code page, are malformed
    }
    goBack();
    return fail(EINVAL);
}

// A unit of UTF-16. Lines are read in units: chars or these.
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

void gather(std::string& line, const char* units, std::size_t n) {
    line.append(units, n);
}

void gather(std::wstring& line, const Utf16Unit* units, std::size_t n) {
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

// Appends the end of a line to the text gathered before.
void finish(std::string& line, std::string& gathered, const char* units, std::size_t n) {
    if (gathered.empty()) {
        line.assign(units, n);
    } else {
        line.swap(gathered.append(units, n));
    }
}

void finish(std::wstring& line, std::wstring& gathered, const Utf16Unit* units, std::size_t n) {
    gather(gathered, units, n);
    line.swap(gathered);
}

bool convert(iwstr text, long codepage, String& converted) {
    try {
        converted = to_ansi(text, codepage);
    } catch (const Exception&) {
        return fail(EINVAL);  // the settings are malformed
    }
    const bool isText = !text.empty() && text[0] != L'\0';
    return !isText || !converted.empty() || fail(EINVAL);
}

}  // namespace

// Reads the units of one line from the file's position. Unless commit is called, the destructor
// moves the position back to the start; in a pipe the units are lost.
template <class Unit>
class File::LineSource : noncopyable {
public:
    LineSource(int fd, ReadAhead& ahead) noexcept : fd_(fd), ahead_(ahead) {}
    ~LineSource() {
        if (taken_ == 0 || ahead_.ofPipe) return;
        const int error = errno;
        const std::size_t back = taken_ + ahead_.end - ahead_.next;
        ahead_.next = ahead_.end = 0;
        platform::seekFile(fd_, -static_cast<long long>(back), 1);
        errno = error;
    }

    // The units that were read ahead; at least one after fill() has returned 1.
    const Unit* units() const noexcept {
        return reinterpret_cast<const Unit*>(ahead_.bytes + ahead_.next);
    }
    std::size_t count() const noexcept { return (ahead_.end - ahead_.next) / sizeof(Unit); }
    void take(std::size_t n) noexcept {
        ahead_.next += n * sizeof(Unit);
        taken_ += n * sizeof(Unit);
    }
    // Reads more units; all earlier ones must have been taken. Returns 1; 0 at the end of the file,
    // perhaps with half a unit; -1 on failure. From a pipe it reads one unit.
    int fill() noexcept {
        std::copy(ahead_.bytes + ahead_.next, ahead_.bytes + ahead_.end, ahead_.bytes);
        ahead_.end -= std::exchange(ahead_.next, 0);
        if (!std::exchange(known_, true)) ahead_.ofPipe = platform::seekFile(fd_, 0, 1) < 0;
        while (count() == 0) {
            const std::size_t room = ahead_.ofPipe ? sizeof(Unit) : ReadAhead::kRoom;
            const long long got =
                platform::readFile(fd_, ahead_.bytes + ahead_.end, room - ahead_.end);
            if (got <= 0) return static_cast<int>(got);
            ahead_.end += static_cast<std::size_t>(got);
        }
        return 1;
    }
    void commit() noexcept { taken_ = 0; }

private:
    const int fd_;
    ReadAhead& ahead_;
    std::size_t taken_ = 0;
    bool known_ = false;  // whether it is a pipe
};

File::File(const PathName& name, int flags) : name_(name.text()), flags_(flags) {
    open();
}

File::File(const File& other) : name_(other.name_), flags_(other.flags_) {
    if (other.valid()) become(name_, flags_, flags_ & ~OpenTruncate);
}

File::File(File&& other) noexcept
    : handle_(std::exchange(other.handle_, invalidHandle)),
      name_(std::move(other.name_)),
      flags_(other.flags_),
      ahead_(std::move(other.ahead_)) {}

File& File::operator=(const File& other) {
    if (this == &other) return *this;
    if (!other.valid()) return *this = File(other);
    become(other.name_, other.flags_, other.flags_ & ~OpenTruncate);
    return *this;
}

File& File::operator=(File&& other) noexcept {
    if (this == &other) return *this;
    if (valid()) close();
    handle_ = std::exchange(other.handle_, invalidHandle);
    name_ = std::move(other.name_);
    flags_ = other.flags_;
    ahead_ = std::move(other.ahead_);
    return *this;
}

// The conversion of the name may raise, so it comes first.
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

bool File::open(const PathName& name) {
    return become(name.text(), flags_, flags_);
}

bool File::open(const PathName& name, int flags) {
    return become(name.text(), flags, flags);
}

bool File::reopen() {
    return become(name_, flags_, flags_);
}

bool File::close() noexcept {
    forgetUnread();
    return platform::closeFile(std::exchange(handle_, invalidHandle));
}

long long File::filesize() const {
    return valid() ? platform::fileSize(handle_) : platform::fileSize(platform::nativePath(name_));
}

bool File::truncate(long long size) noexcept {
    return settle() && platform::resizeFile(handle_, size);
}

bool File::flush() noexcept {
    return platform::flushFile(handle_);
}

// A seek to the present position keeps the bytes that were read ahead.
long long File::seek(long long offset, SeekWhence whence) const noexcept {
    const bool relative = whence == SeekWhence::Current;
    const long long ahead = relative ? unread() : 0;
    if (relative && offset == 0) {
        const long long end = platform::seekFile(handle_, 0, 1);
        return end < 0 ? end : end - ahead;
    }
    long long distance;
    if (__builtin_sub_overflow(offset, ahead, &distance)) {
        errno = EINVAL;
        return -1;
    }
    const long long position = platform::seekFile(handle_, distance, static_cast<int>(whence));
    if (position >= 0) forgetUnread();
    return position;
}

long long File::putback(long long n) const noexcept {
    // The lowest number has no negative, and is too large for any file.
    return advance(-std::max(n, -std::numeric_limits<long long>::max()));
}

long long File::unread() const noexcept {
    return ahead_ ? static_cast<long long>(ahead_->end - ahead_->next) : 0;
}

void File::forgetUnread() const noexcept {
    if (ahead_) ahead_->next = ahead_->end = 0;
}

// Discards the bytes that were read ahead, and moves the system's position back to the caller's.
// Does nothing for a pipe: it has no position, and its bytes would be lost.
bool File::settle() const noexcept {
    const long long ahead = unread();
    if (ahead == 0 || ahead_->ofPipe) return true;
    if (platform::seekFile(handle_, -ahead, 1) < 0) return false;
    forgetUnread();
    return true;
}

// Returns the bytes that were read ahead, then those of one read. For a pipe, reads only if none
// were read ahead: otherwise it could wait without end.
long long File::readBytes(void* out, std::size_t room) const noexcept {
    const std::size_t got = std::min(room, static_cast<std::size_t>(unread()));
    if (got == 0) return platform::readFile(handle_, out, room);
    std::memcpy(out, ahead_->bytes + ahead_->next, got);
    ahead_->next += got;
    const auto all = static_cast<long long>(got);
    if (got == room || ahead_->ofPipe) return all;
    return all +
           std::max(platform::readFile(handle_, static_cast<char*>(out) + got, room - got), 0LL);
}

template <class Out>
bool File::readOnce(Out& out, std::size_t room) const {
    void* const target = sized(out, room);
    const long long got = readBytes(target, room);
    cut(out, static_cast<std::size_t>(std::max(got, 0LL)));
    return got >= 0;
}

template <class Out>
bool File::readWhole(Out& out) const {
    const long long size = platform::fileSize(handle_);
    if (size < 0) return failEmpty(out, errno);
    if (size >= npos32) return failEmpty(out, EFBIG);
    const auto room = static_cast<std::size_t>(size);
    void* const target = sized(out, room);
    const long long got = platform::readFileAt(handle_, target, room, 0);
    const bool whole = got >= 0 && rewind(got) == got;
    cut(out, whole ? static_cast<std::size_t>(got) : 0);
    return whole;
}

bool File::read(Bytes& out, unsigned long size) const {
    return valid() ? readOnce(out, roomFor(size, out.max_size())) : failEmpty(out, EBADF);
}

bool File::read(String& out, unsigned long size) const {
    return valid() ? readOnce(out, roomFor(size, out.capacity())) : failEmpty(out, EBADF);
}

bool File::read(std::wstring& out, unsigned long size) const {
    Bytes bytes;
    if (!read(bytes, roomFor(size, out.capacity()))) {
        out.clear();
        return false;
    }
    return widen(bytes, out, [&] { putback(static_cast<long long>(bytes.size())); });
}

int File::readByte() const noexcept {
    unsigned char byte;
    return readBytes(&byte, 1) == 1 ? byte : -1;
}

template <class Unit, class Text>
File::LineRead File::readLineOf(Text& line) const {
    if (!valid()) return fail(EBADF), LineRead::Failed;
    if (!ahead_) ahead_ = std::make_unique_for_overwrite<ReadAhead>();
    LineSource<Unit> source(handle_, *ahead_);
    Text gathered;
    for (;;) {
        const Unit* const units = source.units();
        const std::size_t n = source.count();
        const std::size_t end = lineEnd(units, n);
        if (end < n) {
            const bool isCr = is(units[end], '\r');
            finish(line, gathered, units, end);
            source.take(end + 1);
            // A line feed after a CR belongs to the line end.
            if (isCr && source.count() == 0 && source.fill() < 0) return LineRead::Failed;
            if (isCr && source.count() != 0 && is(*source.units(), '\n')) source.take(1);
            source.commit();
            return LineRead::Ended;
        }
        gather(gathered, units, n);
        source.take(n);
        const int filled = source.fill();
        if (filled > 0) continue;
        if (filled < 0) return LineRead::Failed;
        line.swap(gathered);
        source.commit();
        return LineRead::Unended;
    }
}

bool File::readLine(String& line) const {
    const LineRead result = readLineOf<char, std::string>(line);
    if (result == LineRead::Failed) line.clear();
    return result == LineRead::Ended;
}

bool File::readLine(std::wstring& line) const {
    const LineRead result = readLineOf<Utf16Unit>(line);
    if (result == LineRead::Failed) line.clear();
    std::replace_if(
        line.begin(), line.end(), [](wchar_t c) { return platform::characterOf(c) != c; },
        platform::replacementCharacter);
    return result == LineRead::Ended;
}

bool File::readAll(Bytes& out) const {
    return readWhole(out);
}

bool File::readAll(String& out) const {
    return readWhole(out);
}

bool File::readAll(std::wstring& out) const {
    const long long position = advance(0);
    Bytes bytes;
    if (!readAll(bytes)) {
        out.clear();
        return false;
    }
    return widen(bytes, out, [&] { rewind(position); });
}

bool File::write(istr text) noexcept {
    return settle() && platform::writeFile(handle_, std::string_view(text));
}

bool File::write(iwstr text, long codepage) {
    String converted;
    return convert(text, codepage, converted) && write(istr(converted));
}

bool File::append(iwstr text, long codepage) {
    String converted;
    return convert(text, codepage, converted) && append(istr(converted));
}

}  // namespace qor
