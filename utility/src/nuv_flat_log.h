#ifndef NUV_FLAT_LOG_H
#define NUV_FLAT_LOG_H

#include <cstdarg>

// The file part of all logging: lines are written to a text file, which is rotated when it reaches
// its size limit. Nothing here raises or ends the process: lines that cannot be written are
// dropped.
//
// When the call returns, the kernel has the line: it was written by one write at the end of the
// file, and lines of different threads are never mixed. Any thread may log, also before main, in
// static destructors and in both processes after a fork, but no signal handler.
//
// If another program removes, renames, truncates or extends the file, this is noticed at the first
// line of a new millisecond; a missing file is then created again. A limit of the size of files
// (RLIMIT_FSIZE) is noticed then too, and whenever it has cut a line.

// The levels of lines.
enum { NUV_LOG_ERROR = 0, NUV_LOG_WARNING = 1, NUV_LOG_INFO = 2, NUV_LOG_DEBUG = 3 };

class nuv_flat_log_base {
public:
    // Writes a line of the level; module, function and file must not be null. The format is that of
    // printf: in the wide forms "%ls" takes wide text. A line is cut at 16384 bytes.
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
    // Writes a line for the begin or the end of a function.
    virtual void enter(const char* module, const char* function, const char* file, int line,
                       int entering) = 0;
    // For implementations of this interface: a log of the registry is never deleted.
    virtual ~nuv_flat_log_base() = default;
    // Nothing.
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    // In KiB, 5120 at first; a value below 1 changes nothing.
    virtual void max_file_size(int kibibytes) = 0;
    // How many old files are kept, 1 at first; a value below 1 changes nothing.
    virtual void max_file_count(int count) = 0;
    // Lines above the level are not written. 3 at first.
    virtual void level(int n) = 0;
    // Stands in every line, in place of the module that a call names; of at most 255 bytes. Null
    // and empty text is none.
    virtual void module(const char* text) = 0;
};

// The log of a file name, created if there is none; null for a null name and without memory. It
// lives as long as the process: the pointer stays valid after a release.
//
// A name without a separator is in the directory of the executable, one that begins with a
// separator is absolute, and any other is relative to the current working directory. "\" is a
// separator too. Missing directories are created; if that fails, the log is "Log/MyLog.log" in the
// working directory. A file that can't be opened is replaced by "MyLog.log" in the same directory.
nuv_flat_log_base* nuv_flat_log_get(const char* name);
// Closes the log's file. A line that follows opens it again.
void nuv_flat_log_release(nuv_flat_log_base* log);

// Logs that a function is entered and left: by the callback with the levels 7 and 6 if there is
// one, else by the log's `enter`. All that is given must live as long as the object.
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

    nuv_flat_log_base* log_;
    const char* file_;
    int line_;
    const char* function_;
    const char* module_;
    callback callback_;
};

#endif  // NUV_FLAT_LOG_H
