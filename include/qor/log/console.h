#ifndef QOR_LOG_CONSOLE_H
#define QOR_LOG_CONSOLE_H

#include <atomic>
#include <iosfwd>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

// The standard streams; the library does all its console input and output through them.
QOR_API std::ostream& std_out();
QOR_API std::ostream& std_err();
QOR_API std::ostream& std_log();
QOR_API std::istream& std_in();

// The console of the process. Output is queued, and a thread of the console writes it within 100
// ms, so that a slow terminal does not delay other threads. Input is read without blocking, so that
// a reading thread can be stopped.
//
// The console is off by default; then output is dropped. While it is on and not open, output is
// queued until flush(). If a debugger is attached, all output also goes to the standard error.
//
// Text that cannot be written is lost; later text is written as before the failure. For that, the
// console clears all error flags of std_out() if the stream is bad, also if the program's own
// output failed. If only the failbit is set, by the program or by a failed `<<` of a stream buffer,
// the console clears nothing and its output is lost.
//
// Any thread may print. Only one thread may read. After a fork, the parent writes the queued
// output; in the child the console is not open and its queue is empty.
class QOR_API console {
public:
    console() = delete;
    static void create();
    // The next console is off, as the first one is.
    static void destroy() noexcept;

    // Starts the writing thread if the console is on. A running one is stopped first.
    static void open();
    // Stops the writing thread. Queued output is kept for the next flush.
    static void close();
    // Wakes the writing thread, or writes the queued output itself if there is no such thread.
    static void flush();

    // Narrow text is in the configured code page. If the size is npos, the text is measured; null
    // is empty text.
    static void print(const String& text);
    static void print(const std::wstring& text);
    static void print(const char* text, unsigned long size = npos);
    static void print(const wchar_t* text, unsigned long size = npos);
    // Adds a line feed.
    static void println(const String& text);
    static void println(const std::wstring& text);
    static void println(const char* text, unsigned long size = npos);
    static void println(const wchar_t* text, unsigned long size = npos);

    // Returns true and the next line, without its line feed, if the input has it; otherwise false
    // after 100 ms. Does not wait for the rest of a line: an incomplete line is kept for the next
    // call, until its line feed or the end of the input arrives. Other readers of std_in() take
    // input away from these functions. Shows the prompt first unless it is already on the screen;
    // null means no prompt.
    static bool readline(String& line, const char* prompt = nullptr);
    static bool readline(std::wstring& line, const wchar_t* prompt = nullptr);

    // The flag itself, for code that binds it to a setting.
    static volatile std::atomic<bool>& on();
    static bool isOn() { return on(); }
    static void setOn(bool value) { on() = value; }
};

}  // namespace qor

#endif  // QOR_LOG_CONSOLE_H
