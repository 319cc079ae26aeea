#include "qor/log/console.h"

#include <atomic>
#include <cstddef>
#include <iostream>
#include <list>
#include <new>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>

#include "log/console_end.h"
#include "mt/registry_lock.h"
#include "nuv_guard.h"
#include "platform/terminal.h"
#include "platform/thread.h"
#include "qor/base/base_type_convert.h"
#include "qor/mt/handle.h"
#include "qor/mt/mutex.h"
#include "qor/mt/thread.h"
#include "qor/util/singleton_T.h"

namespace qor {

namespace {

constinit std::atomic<bool> destroyed{false};

constexpr unsigned long kTick = 100;  // milliseconds
// readline takes at most this number of bytes in a call, so that input without line ends cannot
// block it.
constexpr std::size_t kMostAtOnce = 65536;

std::wstring_view viewOf(const wchar_t* text, unsigned long size) noexcept {
    if (text == nullptr) return {};
    return {text, isNpos(size) ? StrLen(text) : size};
}

// Output that failed once, on a full disk or pipe, must not end all later output. A stream that is
// bad gets the failbit too by the next output. The failbit alone may be
// meant by the program.
void forgetFailures() {
    if (std_out().bad()) std_out().clear();
}

// Whether a read returns at once, also with the end of the input. Reading from memory always does.
bool isWaiting(std::streambuf& input) {
    return input.in_avail() != 0 || dynamic_cast<std::stringbuf*>(&input) != nullptr ||
           platform::inputWaiting();
}

}  // namespace

std::ostream& std_out() {
    return std::cout;
}

std::ostream& std_err() {
    return std::cerr;
}

std::ostream& std_log() {
    return std::clog;
}

std::istream& std_in() {
    return std::cin;
}

// Releases a mutex that the thread has.
class Unlocking : noncopyable {
public:
    explicit Unlocking(const Mutex& mutex) : mutex_(mutex) {}
    ~Unlocking() { mutex_.unlock(); }

private:
    const Mutex& mutex_;
};

class ConsoleImpl : noncopyable {
public:
    static ConsoleImpl& instance() { return *CreateByAllocate<ConsoleImpl>::instance(); }
    ConsoleImpl() {
        const Guard guard(mutex_);
        present_ = this;
    }
    ~ConsoleImpl() {
        try {
            close();
        } catch (...) {
            // The end of the thread was requested; only the wait for it failed.
        }
        const Guard guard(mutex_);
        if (present_ == this) present_ = nullptr;
    }

    // Called when the library is loaded.
    static void watchForks();

    void open();
    void close();
    void flush();
    void print(std::wstring text);
    bool readline(std::wstring& line, std::wstring_view prompt);
    bool readline(String& line, std::wstring_view prompt);

private:
    class FlushThread;
    using Texts = std::list<std::wstring>;

    static void enterChild();
    Handle<FlushThread> thread() const;
    void write();
    void show(const String& text);
    void showPrompt(std::wstring_view prompt);
    bool takeInput();
    bool hasLine(std::wstring_view prompt);
    std::wstring wideLine() const;
    void endLine();

    inline static constinit ConsoleImpl* present_ = nullptr;  // guarded by mutex_

    // Held while writing, so that texts keep their order; locked before mutex_. A write may block,
    // so a fork does not wait for it.
    Mutex screen_;
    const Mutex& mutex_ = RegistryLock<ConsoleImpl>::get();  // guards the following members
    Texts queue_;
    std::wstring prompt_;
    bool onLine_ = false;  // the prompt is the last output on the screen
    Handle<FlushThread> thread_;
    std::string part_;  // of an incomplete line; used by the reading thread only
};

class ConsoleImpl::FlushThread : public SimpleThread {
public:
    explicit FlushThread(ConsoleImpl& console)
        : SimpleThread(nullptr, "screen"), console_(console) {}

protected:
    void onWork() override {
        try {
            console_.write();
        } catch (...) {
            // Texts are lost if memory runs out or the stream raises; the thread continues.
        }
        wait(Time::milliSeconds(kTick));
    }

private:
    ConsoleImpl& console_;
};

Handle<ConsoleImpl::FlushThread> ConsoleImpl::thread() const {
    const Guard guard(mutex_);
    return thread_;
}

void ConsoleImpl::watchForks() {
    RegistryLock<ConsoleImpl>::get();
    platform::callAtFork(nullptr, nullptr, enterChild);
}

// The parent writes its queue, and the part of it that is already in the stream's buffer, and reads
// the rest of its line. Its threads do not run here, and may have held screen_ or have been using
// the Handle and the line, so these are not released.
void ConsoleImpl::enterChild() {
    if (present_ == nullptr) return;
    present_->queue_.clear();
    if (!present_->screen_.tryLock()) platform::dropOutput();
    new (&present_->screen_) Mutex;
    new (&present_->thread_) Handle<FlushThread>;
    new (&present_->part_) std::string;
}

namespace {
// Before other locks but that of the leak table: a fork takes the locks in the reverse order,
// threads may print while they hold the others, and printing allocates.
[[gnu::constructor(102)]] void watchForks() {
    ConsoleImpl::watchForks();
}
}  // namespace

void ConsoleImpl::open() {
    if (!console::isOn()) return;
    close();
    const Handle<FlushThread> fresh(
        checkedNew<FlushThread>(__FILE__, __LINE__, "qor::console::open", *this));
    {
        const Guard guard(mutex_);
        if (thread_) return;
        thread_ = fresh;
    }
    try {
        fresh->startAndWait(0);
    } catch (...) {
        // flush() must not rely on a thread that does not exist.
        const Guard guard(mutex_);
        if (thread_ == fresh) thread_.reset();
        throw;
    }
}

void ConsoleImpl::close() {
    Handle<FlushThread> old;
    {
        const Guard guard(mutex_);
        old.swap(thread_);
    }
    if (old) old->stop();
}

void ConsoleImpl::flush() {
    if (const Handle<FlushThread> writer = thread()) {
        writer->notify();
    } else {
        write();
    }
}

void ConsoleImpl::print(std::wstring text) {
    if (platform::debuggerAttached()) {
        const nuv_uncancelled whole;
        std_err() << String(text) << std::flush;
    }
    if (!console::isOn()) return;
    Texts added;
    added.push_back(std::move(text));
    const Guard guard(mutex_);
    queue_.splice(queue_.end(), added);
}

void ConsoleImpl::write() {
    const nuv_uncancelled whole;
    const Guard screen(screen_);
    Texts texts;
    {
        const Guard guard(mutex_);
        if (queue_.empty()) return;
        texts.swap(queue_);
        // Output starts on a new line after the prompt.
        if (onLine_) texts.front().insert(texts.front().begin(), L'\n');
        onLine_ = false;
    }
    forgetFailures();
    for (const std::wstring& text : texts)
        show(String(text));
    std_out().flush();
}

// As a std::string: operator<< of a view would flush each time.
void ConsoleImpl::show(const String& text) {
    std_out() << static_cast<const std::string&>(text);
}

void ConsoleImpl::showPrompt(std::wstring_view prompt) {
    const nuv_uncancelled whole;
    {
        const Guard guard(mutex_);
        if (prompt_ != prompt) prompt_ = prompt;
        if (onLine_ || prompt_.empty()) return;
    }
    // While the screen accepts no output, readline must still return.
    if (!screen_.tryLock()) return;
    const Unlocking screen(screen_);
    const String text{std::wstring(prompt)};
    {
        const Guard guard(mutex_);
        onLine_ = true;
    }
    forgetFailures();
    show(text);
    std_out().flush();
}

// Reads the available part of a line without waiting for more. True if the line is complete, by a
// line feed or by the end of the input. Input may continue after its end, as a terminal's does
// after ^D.
bool ConsoleImpl::takeInput() {
    using Traits = std::char_traits<char>;
    std::streambuf& input = *std_in().rdbuf();
    for (std::size_t taken = 0; taken < kMostAtOnce && isWaiting(input); ++taken) {
        const Traits::int_type next = input.sgetc();
        if (Traits::eq_int_type(next, Traits::eof())) {
            platform::continueInput();
            if (part_.empty()) return false;
            part_.push_back('\n');
            return true;
        }
        part_.push_back(Traits::to_char_type(next));
        input.sbumpc();
        if (part_.back() == '\n') return true;
    }
    return false;
}

// Whether part_ is a complete line. If an earlier conversion failed, it is still there.
bool ConsoleImpl::hasLine(std::wstring_view prompt) {
    showPrompt(prompt);
    const std::size_t before = part_.size();
    const bool complete = before != 0 && part_.back() == '\n';
    if (complete || takeInput()) return true;
    if (part_.size() - before < kMostAtOnce) sleep(kTick);
    return false;
}

std::wstring ConsoleImpl::wideLine() const {
    std::wstring line;
    ansiToWstring(istr(part_).removeRight(1), line);
    return line;
}

void ConsoleImpl::endLine() {
    part_.clear();
    const Guard guard(mutex_);
    onLine_ = false;
}

bool ConsoleImpl::readline(std::wstring& line, std::wstring_view prompt) {
    if (!hasLine(prompt)) return false;
    line = wideLine();
    endLine();
    return true;
}

bool ConsoleImpl::readline(String& line, std::wstring_view prompt) {
    if (!hasLine(prompt)) return false;
    line = String(wideLine());
    endLine();
    return true;
}

bool isConsoleDestroyed() noexcept {
    return destroyed.load(std::memory_order_relaxed);
}

void console::create() {
    destroyed = false;
    CreateByAllocate<ConsoleImpl>::create();
}

void console::destroy() noexcept {
    destroyed = true;
    CreateByAllocate<ConsoleImpl>::destroy();
    setOn(false);
}

void console::open() {
    ConsoleImpl::instance().open();
}

void console::close() {
    ConsoleImpl::instance().close();
}

void console::flush() {
    ConsoleImpl::instance().flush();
}

void console::print(const String& text) {
    ConsoleImpl::instance().print(text.toWstring());
}

void console::print(const std::wstring& text) {
    ConsoleImpl::instance().print(text);
}

void console::print(const char* text, unsigned long size) {
    print(String(istr(text, size)));
}

void console::print(const wchar_t* text, unsigned long size) {
    ConsoleImpl::instance().print(std::wstring(viewOf(text, size)));
}

void console::println(const String& text) {
    println(text.toWstring());
}

void console::println(const std::wstring& text) {
    // What follows a zero would be cut off, and the line feed with it.
    ConsoleImpl::instance().print(text.substr(0, text.find(L'\0')) + L'\n');
}

void console::println(const char* text, unsigned long size) {
    println(String(istr(text, size)));
}

void console::println(const wchar_t* text, unsigned long size) {
    println(std::wstring(viewOf(text, size)));
}

bool console::readline(std::wstring& line, const wchar_t* prompt) {
    return ConsoleImpl::instance().readline(line, viewOf(prompt, npos));
}

bool console::readline(String& line, const char* prompt) {
    return ConsoleImpl::instance().readline(line, String(prompt).toWstring());
}

volatile std::atomic<bool>& console::on() {
    // Not a member of the console: the configuration of a logger may set it at any time.
    static volatile std::atomic<bool> flag{false};
    return flag;
}

}  // namespace qor
