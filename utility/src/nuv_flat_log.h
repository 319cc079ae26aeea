#ifndef NUV_FLAT_LOG_H
#define NUV_FLAT_LOG_H

#include <cstdarg>

// The file part of all logging: writes lines to a text file, which is rotated when it reaches its
// size limit. Nothing here throws or ends the process: lines that cannot be written are dropped.
//
// When a call returns, the kernel has the line. Each line is appended by one write, and lines of
// different threads are never mixed. Any thread may log, also before main, in static destructors,
// and in both processes after a fork. Signal handlers must not log.
//
// If another program removes, renames, truncates or extends the file, the first line of the next
// millisecond notices it and creates a missing file again. A new limit for the size of files
// (RLIMIT_FSIZE) is noticed then too, and whenever it has cut a line.

enum { NUV_LOG_ERROR = 0, NUV_LOG_WARNING = 1, NUV_LOG_INFO = 2, NUV_LOG_DEBUG = 3 };

class nuv_flat_log_base {
public:
    // Write a line. Nothing is written if module, function, file or format is null. The format is
    // that of printf: in the wide forms "%ls" takes wide text. A line is cut at 16384 bytes.
    virtual void log(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
                     int level, const wchar_t* format, ...) = 0;
    [[gnu::format(printf, 7, 8)]] virtual void log(const char* module, const char* function,
                                                   const char* file, int line, int level,
                                                   const char* format, ...) = 0;
    virtual void vlog(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
                      int level, const wchar_t* format, va_list arguments) = 0;
    [[gnu::format(printf, 7, 0)]] virtual void vlog(const char* module, const char* function,
                                                    const char* file, int line, int level,
                                                    const char* format, va_list arguments) = 0;
    // Writes a line of level 3 for the begin of a function, or for the end if `entering` is 0.
    virtual void enter(const char* module, const char* function, const char* file, int line,
                       int entering) = 0;
    // Public for other implementations of this interface. Never delete a log of nuv_flat_log_get.
    virtual ~nuv_flat_log_base() = default;
    // Reserved. They do nothing.
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    // The size limit in KiB. The default is 5120; values below 1 are ignored.
    virtual void max_file_size(int kibibytes) = 0;
    // The number of old files. The default is 1; values below 1 are ignored.
    virtual void max_file_count(int count) = 0;
    // Lines with a level above n are not written. The default is 3.
    virtual void level(int n) = 0;
    // Replaces the module of each call in all lines; cut at 255 bytes. Null or empty text ends
    // this.
    virtual void module(const char* text) = 0;
};

// Returns the log of a file name and creates it if there is none. Returns null for a null name or
// without memory. The log lives as long as the process, also after nuv_flat_log_release.
//
// A name without a separator is in the directory of the executable. A name that begins with a
// separator is absolute. Any other name is relative to the working directory at the first call with
// that name. "\" is a separator too. Missing directories are created; if that fails, the log is
// "Log/MyLog.log" in that working directory. If the file can't be opened, "MyLog.log" in the same
// directory is used.
nuv_flat_log_base* nuv_flat_log_get(const char* name);
// Closes the file of the log. The next line opens it again. Unknown pointers are ignored.
void nuv_flat_log_release(nuv_flat_log_base* log);

// Logs the begin (in the constructor) and the end (in the destructor) of a function. If there is a
// callback, it gets the line, with level 7 for the begin and 6 for the end; otherwise log->enter is
// called. Exceptions of the callback are dropped. All pointer arguments must stay valid as long as
// the object lives.
class nuv_flat_log_scope {
public:
    using callback = void (*)(int level, const char* text);

    nuv_flat_log_scope(nuv_flat_log_base* log, const char* file, int line, const char* function,
                       const char* module, callback take = nullptr);
    nuv_flat_log_scope(const nuv_flat_log_scope&) = delete;
    nuv_flat_log_scope& operator=(const nuv_flat_log_scope&) = delete;
    ~nuv_flat_log_scope();

private:
    void report(bool entering) const;
    void call(int level, const char* text) const;

    nuv_flat_log_base* log_;
    const char* file_;
    int line_;
    const char* function_;
    const char* module_;
    callback callback_;
};

#endif  // NUV_FLAT_LOG_H
