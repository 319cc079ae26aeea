#ifndef QOR_LOG_CONSOLE_H
#define QOR_LOG_CONSOLE_H

#include <atomic>
#include <iosfwd>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

// The standard streams. The library shows and reads everything through them.
QOR_API std::ostream& std_out();
QOR_API std::ostream& std_err();
QOR_API std::ostream& std_log();
QOR_API std::istream& std_in();

// The console of the process. Output is queued and written by its own thread within a tenth of a
// second, so that a slow terminal delays no other thread. Input is read without blocking, so that a
// reading thread can be stopped.
//
// It is off at first, and drops output. While it is on and not open, output is queued until a
// flush. An attached debugger is shown everything on the standard error.
//
// Any thread may print; one thread reads.
class QOR_API console {
public:
    console() = delete;
    static void create();
    static void destroy() noexcept;

    // If the console is on, starts the writing thread, again if there is one.
    static void open();
    // Stops that thread. Queued output is kept for the next flush.
    static void close();
    // Has the thread write the queued output, or writes it here if there is no thread.
    static void flush();

    // Narrow text is in the configured code page. A size of all ones is measured; null is empty.
    static void print(const String& text);
    static void print(const std::wstring& text);
    static void print(const char* text, unsigned long size = npos);
    static void print(const wchar_t* text, unsigned long size = npos);
    // Adds a line feed.
    static void println(const String& text);
    static void println(const std::wstring& text);
    static void println(const char* text, unsigned long size = npos);
    static void println(const wchar_t* text, unsigned long size = npos);

    // True with the next line, without its line feed, if the input has it; otherwise false after a
    // tenth of a second. Never waits for the rest of a line: an incomplete line is kept for the
    // next call, until its line feed or the end of the input arrives. Input that other readers of
    // std_in() take is lost here. Shows the prompt first unless it is on the screen already; null
    // means no prompt.
    static bool readline(String& line, const char* prompt = nullptr);
    static bool readline(std::wstring& line, const wchar_t* prompt = nullptr);

    // The flag itself, for bindings.
    static volatile std::atomic<bool>& on();
    static bool isOn() { return on(); }
    static void setOn(bool value) { on() = value; }
};

}  // namespace qor

#endif  // QOR_LOG_CONSOLE_H
