#ifndef NUV_FLAT_LOG_H
#define NUV_FLAT_LOG_H

#include <cstdarg>

// The file end of all logging: lines go to a text file, which is rotated when it has reached its
// size. Nothing here raises or ends the process: what cannot be written is dropped.
//
// A line is in the kernel's hands when the call returns, by one write at the end of the file, and
// lines of all threads stand whole, one behind the other. Any thread may log, before main, in
// static destructors and in both processes behind a fork, but no signal handler.
//
// A file that somebody removes, renames, truncates or appends to is noticed at the first line of a
// new millisecond; the log then goes on in a new file of its name. A limit of the size of files
// (RLIMIT_FSIZE) is noticed then too, and whenever it has cut a line.

// The levels of lines.
enum { NUV_LOG_ERROR = 0, NUV_LOG_WARNING = 1, NUV_LOG_INFO = 2, NUV_LOG_DEBUG = 3 };

class nuv_flat_log_base {
public:
    // A line of the level; module, function and file must be given. The format is printf's: in the
    // wide forms "%ls" is what takes wide text. A line has at most 16384 bytes, and is cut there.
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
    // The line that tells of a function's begin or end.
    virtual void enter(const char* module, const char* function, const char* file, int line,
                       int entering) = 0;
    // For those who implement the face: a log of the registry is never deleted.
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

// The log of a file name, made if there is none; null for a null name and without memory. It lives
// as long as the process, and the pointer stays good behind a release.
//
// A name without a separator lies in the directory of the executable, one with a separator in front
// is absolute, and any other goes by the working directory of the moment. "\" is a separator
// too. Missing directories are made; where that fails, the log is "Log/MyLog.log" in the working
// directory. A file that can't be opened is replaced by "MyLog.log" in the same directory.
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
