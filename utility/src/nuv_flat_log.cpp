#include "nuv_flat_log.h"

#include <cxxabi.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>

#include "nuv_flat_file.h"
#include "nuv_guard.h"
#include "nuv_os_adapter.h"

namespace {

constexpr std::size_t kLineRoom = 16384;
// Maximum size of a line that is formatted outside of the lock, without its time.
constexpr std::size_t kShortRoom = 2048;
constexpr std::size_t kLineEndSize = 2;
constexpr std::size_t kModuleRoom = 256;

const char* levelName(int level) {
    static constexpr const char* names[] = {"Err", "War", "Inf", "Dbg"};
    return names[std::clamp<int>(level, NUV_LOG_ERROR, NUV_LOG_DEBUG)];
}

// Restores errno at the end.
class Unnoticed {
public:
    Unnoticed() : error_(errno) {}
    Unnoticed(const Unnoticed&) = delete;
    Unnoticed& operator=(const Unnoticed&) = delete;
    ~Unnoticed() { errno = error_; }

private:
    int error_;
};

// Guards `now`, `wideText`, `newest`, and the file, line and module of each log. A thread that
// holds it takes no other lock of this library or of its callers, but that of the time zone.
constinit std::mutex lock;
constinit nuv_local_time now;
// The formatted text of the wide forms.
wchar_t wideText[kLineRoom];

// The text "][P:1234/T:5678]" with the process and the calling thread. Empty until first used.
struct Identity {
    int size;
    char text[60];
};
thread_local Identity identity;

const Identity& ownIdentity() {
    if (identity.size == 0) {
        identity.size = nuv_sprintf_s(identity.text, sizeof identity.text, "][P:%llu/T:%llu]",
                                      static_cast<unsigned long long>(getpid()),
                                      static_cast<unsigned long long>(gettid()));
    }
    return identity;
}

// Appends to the array from `begin` to `end`, after which there is room for a terminator. Text that
// does not fit is cut.
class Text {
public:
    Text(char* begin, char* end) : at_(begin), end_(end) {}

    void append(const char* text, std::size_t size) {
        if (size > room()) {
            size = room();
            cut_ = true;
        }
        std::memcpy(at_, text, size);
        at_ += size;
    }
    // For names: they are short, so a simple loop is fast enough.
    void append(const char* name) {
        while (*name != '\0' && !cut_)
            append(*name++);
    }
    // Appends the bytes before the terminator, but at most `most`.
    void appendLong(const char* text, std::size_t most) {
        append(text, strnlen(text, std::min(most, room() + 1)));
    }
    void append(char c) {
        if (at_ != end_) {
            *at_++ = c;
        } else {
            cut_ = true;
        }
    }
    void append(int number) {
        char digits[16];
        append(digits, static_cast<std::size_t>(
                           std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
    }
    void append(const wchar_t* text) {
        while (*text != L'\0' && !cut_)
            appendCharacter(static_cast<char32_t>(*text++));
    }
    void format(const char* format, va_list arguments) {
        const int size = nuv_vsprintf_s(at_, room() + 1, format, arguments);
        // Text that fits exactly counts as cut: the size does not show the difference.
        cut_ = cut_ || static_cast<std::size_t>(size) == room();
        at_ += size;
    }

    bool cut() const { return cut_; }
    char* at() const { return at_; }

private:
    std::size_t room() const { return static_cast<std::size_t>(end_ - at_); }

    // In UTF-8, and never in part. An invalid value becomes U+FFFD.
    void appendCharacter(char32_t c) {
        const bool isSurrogate = c >= 0xD800 && c <= 0xDFFF;
        if (isSurrogate || c > 0x10FFFF) c = 0xFFFD;
        const unsigned more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        static constexpr unsigned leads[] = {0, 0xC0, 0xE0, 0xF0};
        char bytes[4];
        for (unsigned i = more; i > 0; --i, c >>= 6)
            bytes[i] = static_cast<char>(0x80 | (c & 0x3F));
        bytes[0] = static_cast<char>(leads[more] | c);
        if (room() > more) return append(bytes, more + 1);
        cut_ = true;
    }

    char* at_;
    char* end_;
    bool cut_ = false;
};

template <class Char>
const Char* withoutPath(const Char* file) {
    const Char* name = file;
    for (; *file != Char(); ++file) {
        if (*file == Char('/') || *file == Char('\\')) name = file + 1;
    }
    return name;
}

template <class Char>
struct Place {
    bool given() const { return module != nullptr && function != nullptr && file != nullptr; }

    const Char* module;
    const Char* function;
    const Char* file;
    int line;
    int level;
};

class FlatLog final : public nuv_flat_log_base {
public:
    FlatLog(char* key, char* line, FlatLog* next)
        : key_(key), line_(line), next_(next), file_(key) {}
    FlatLog(const FlatLog&) = delete;
    FlatLog& operator=(const FlatLog&) = delete;

    void log(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
             int level, const wchar_t* format, ...) override {
        va_list arguments;
        va_start(arguments, format);
        vlog(module, function, file, line, level, format, arguments);
        va_end(arguments);
    }
    void log(const char* module, const char* function, const char* file, int line, int level,
             const char* format, ...) override {
        va_list arguments;
        va_start(arguments, format);
        vlog(module, function, file, line, level, format, arguments);
        va_end(arguments);
    }
    void vlog(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
              int level, const wchar_t* format, va_list arguments) override;
    void vlog(const char* module, const char* function, const char* file, int line, int level,
              const char* format, va_list arguments) override;
    void enter(const char* module, const char* function, const char* file, int line,
               int entering) override;
    void reserved1() override {}
    void reserved2() override {}
    void max_file_size(int kibibytes) override {
        const std::lock_guard guard(lock);
        if (kibibytes > 0) file_.limit(kibibytes * 1024LL);
    }
    void max_file_count(int count) override {
        const std::lock_guard guard(lock);
        if (count > 0) file_.count(static_cast<unsigned>(count));
    }
    void level(int n) override { level_.store(n, std::memory_order_relaxed); }
    void module(const char* text) override;

    // Call with `lock` held.
    const char* key() const { return key_; }
    FlatLog* next() const { return next_; }
    nuv_flat_file& file() { return file_; }

private:
    // The log lives as long as the process.
    ~FlatLog() override = default;

    bool isWritten(int level) const { return level <= level_.load(std::memory_order_relaxed); }
    template <class Char>
    void head(Text& text, const Place<Char>& place, const char* module) const;
    template <class Message>
    void writeShortOrLong(const Place<char>& place, Message message);
    template <class Char, class Message>
    void writeLong(const Place<Char>& place, Message message);

    char* const key_;
    char* const line_;
    FlatLog* const next_;
    nuv_flat_file file_;
    char module_[kModuleRoom] = "";
    std::atomic<bool> hasModule_ = false;
    std::atomic<int> level_ = NUV_LOG_DEBUG;
};

// Appends all fields of a line but the time and the message. A `module` that is not empty replaces
// that of the call.
template <class Char>
void FlatLog::head(Text& text, const Place<Char>& place, const char* module) const {
    const Identity& own = ownIdentity();
    text.append(own.text, static_cast<std::size_t>(own.size));
    text.append('[');
    text.append(levelName(place.level));
    if (*module != '\0') {
        text.append("][");
        text.append(module);
    } else if (*place.module != Char()) {
        text.append("][");
        text.append(place.module);
    }
    text.append("][");
    text.append(withoutPath(place.file));
    text.append(':');
    text.append(place.line);
    text.append(' ');
    text.append(place.function);
    text.append(']');
}

// Makes a short line on the stack, so that only its time and the write need the lock. For long
// lines, and for logs with a module, it calls writeLong.
template <class Message>
void FlatLog::writeShortOrLong(const Place<char>& place, Message message) {
    constexpr std::size_t timeRoom = nuv_local_time::room + 1;
    char buffer[timeRoom + kShortRoom];
    Text text(buffer + timeRoom, buffer + sizeof buffer - kLineEndSize);
    const bool isFree = !hasModule_.load(std::memory_order_relaxed);
    if (isFree) {
        head(text, place, "");
        message(text);
    }
    if (!isFree || text.cut()) return writeLong(place, message);
    std::memcpy(text.at(), "\r\n", kLineEndSize);

    const std::lock_guard guard(lock);
    now.read();
    char* const begin = buffer + timeRoom - now.size() - 1;
    *begin = '[';
    std::memcpy(begin + 1, now.text(), now.size());
    file_.append(begin, static_cast<std::size_t>(text.at() + kLineEndSize - begin), now);
}

// Makes the line in the memory of the log, under the lock.
template <class Char, class Message>
void FlatLog::writeLong(const Place<Char>& place, Message message) {
    const int error = errno;
    const std::lock_guard guard(lock);
    now.read();
    Text text(line_, line_ + kLineRoom - kLineEndSize);
    text.append('[');
    text.append(now.text(), now.size());
    head(text, place, module_);
    errno = error;  // for "%m"
    message(text);
    std::memcpy(text.at(), "\r\n", kLineEndSize);
    file_.append(line_, static_cast<std::size_t>(text.at() + kLineEndSize - line_), now);
}

void FlatLog::vlog(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
                   int level, const wchar_t* format, va_list arguments) {
    const Place<wchar_t> place = {module, function, file, line, level};
    if (!isWritten(level) || !place.given() || format == nullptr) return;
    const Unnoticed unnoticed;
    writeLong(place, [&](Text& text) {
        text.append("Content:");
        nuv_vswprintf_s(wideText, std::size(wideText), format, arguments);
        text.append(wideText);
    });
}

void FlatLog::vlog(const char* module, const char* function, const char* file, int line, int level,
                   const char* format, va_list arguments) {
    const Place<char> place = {module, function, file, line, level};
    if (!isWritten(level) || !place.given() || format == nullptr) return;
    const Unnoticed unnoticed;
    // The two most frequent formats are copied without vsnprintf.
    const bool isText = std::strcmp(format, "%s") == 0;
    const bool isPart = std::strcmp(format, "%.*s") == 0;
    writeShortOrLong(place, [&](Text& text) {
        va_list again;
        va_copy(again, arguments);
        if (isText || isPart) {
            const int most = isPart ? va_arg(again, int) : -1;
            const char* const argument = va_arg(again, const char*);
            text.appendLong(argument != nullptr ? argument : "(null)",
                            most >= 0 ? static_cast<std::size_t>(most) : kLineRoom);
        } else {
            text.format(format, again);
        }
        va_end(again);
    });
}

void FlatLog::enter(const char* module, const char* function, const char* file, int line,
                    int entering) {
    const Place<char> place = {module, function, file, line, NUV_LOG_DEBUG};
    if (!isWritten(NUV_LOG_DEBUG) || !place.given()) return;
    const Unnoticed unnoticed;
    writeShortOrLong(place,
                     [&](Text& text) { text.append(entering != 0 ? "[Enter]" : "[Leave]"); });
}

void FlatLog::module(const char* text) {
    const std::lock_guard guard(lock);
    const std::size_t size = text != nullptr ? strnlen(text, kModuleRoom - 1) : 0;
    if (size != 0) std::memcpy(module_, text, size);
    module_[size] = '\0';
    hasModule_.store(size != 0, std::memory_order_relaxed);
}

// All logs, the newest first.
FlatLog* newest = nullptr;

// A fork waits until no line is being written. The child then writes its own process id.
void beforeFork() {
    lock.lock();
}

void afterForkInParent() {
    lock.unlock();
}

void afterForkInChild() {
    identity.size = 0;
    for (FlatLog* log = newest; log != nullptr; log = log->next())
        log->file().suspect();
    lock.unlock();
}

// Registered when the library is loaded, so that fork handlers of other code may log.
[[maybe_unused]] const int forkIsHandled =
    pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);

// Call with `lock` held.
FlatLog* make(const char* name) {
    char* const key = strdup(name);
    char* const line = static_cast<char*>(NUVA_MemMallocS(kLineRoom));
    if (key != nullptr && line != nullptr) {
        FlatLog* const log = new (std::nothrow) FlatLog(key, line, newest);
        if (log != nullptr) return newest = log;
    }
    std::free(key);
    std::free(line);
    return nullptr;
}

}  // namespace

nuv_flat_log_base* nuv_flat_log_get(const char* name) {
    if (name == nullptr) return nullptr;
    const Unnoticed unnoticed;
    const std::lock_guard guard(lock);
    FlatLog* log = newest;
    while (log != nullptr && std::strcmp(log->key(), name) != 0)
        log = log->next();
    return log != nullptr ? log : make(name);
}

void nuv_flat_log_release(nuv_flat_log_base* log) {
    const Unnoticed unnoticed;
    const std::lock_guard guard(lock);
    for (FlatLog* known = newest; known != nullptr; known = known->next()) {
        if (known == log) known->file().close();
    }
}

nuv_flat_log_scope::nuv_flat_log_scope(nuv_flat_log_base* log, const char* file, int line,
                                       const char* function, const char* module, callback take)
    : log_(log), file_(file), line_(line), function_(function), module_(module), callback_(take) {
    report(true);
}

nuv_flat_log_scope::~nuv_flat_log_scope() {
    report(false);
}

void nuv_flat_log_scope::report(bool entering) const {
    if (callback_ == nullptr) {
        if (log_ != nullptr) log_->enter(module_, function_, file_, line_, entering ? 1 : 0);
        return;
    }
    if (function_ == nullptr) return;
    nuv_local_time time;
    {
        const std::lock_guard guard(lock);
        now.read();
        time = now;
    }
    char text[4096];
    const int size =
        nuv_sprintf_s(text, sizeof text,
                      entering ? "[%.*s][T:%lu][%s:%d]Enter %s" : "[%.*s][T:%lu][%s:%d]Leave %s",
                      static_cast<int>(time.size()), time.text(),
                      static_cast<unsigned long>(gettid()), function_, line_, function_);
    if (size > 0) call(entering ? 7 : 6, text);
}

// The destructor must not be unwound, so that a cancellation takes effect later.
void nuv_flat_log_scope::call(int level, const char* text) const {
    const nuv_uncancelled whole;
    try {
        callback_(level, text);
#ifdef __GLIBCXX__
    } catch (const abi::__forced_unwind&) {
        throw;  // pthread_exit
#endif
    } catch (...) {
        // What the callback raises ends here.
    }
}
