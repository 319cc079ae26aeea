#ifndef NUV_FLAT_LOG_H
#define NUV_FLAT_LOG_H

#include <cstdarg>

// The file end of all logging: lines go to a text file, which is rotated when it has reached its
// size. Nothing here raises or ends the process: what cannot be written is dropped.
//
// A line is in the kernel's hands when the call returns, and lines of all threads stand whole,
// one behind the other.

// The levels of lines.
enum { NUV_LOG_ERROR = 0, NUV_LOG_WARNING = 1, NUV_LOG_INFO = 2, NUV_LOG_DEBUG = 3 };

class nuv_flat_log_base {
public:
    // A line of the level; module, function and file must be given. The format is printf's.
    virtual void log(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
                     int level, const wchar_t* format, ...) = 0;
    virtual void log(const char* module, const char* function, const char* file, int line,
                     int level, const char* format, ...) = 0;
    virtual void vlog(const wchar_t* module, const wchar_t* function, const wchar_t* file, int line,
                      int level, const wchar_t* format, va_list arguments) = 0;
    virtual void vlog(const char* module, const char* function, const char* file, int line,
                      int level, const char* format, va_list arguments) = 0;
    // The line that tells of a function's begin or end.
    virtual void enter(const char* module, const char* function, const char* file, int line,
                       int entering) = 0;
    virtual ~nuv_flat_log_base() = default;
    // Nothing.
    virtual void reserved1() = 0;
    virtual void reserved2() = 0;
    // In KiB.
    virtual void max_file_size(int kibibytes) = 0;
    // How many old files are kept.
    virtual void max_file_count(int count) = 0;
    // Lines above the level are not written.
    virtual void level(int n) = 0;
    // Stands in every line; null and empty text is none.
    virtual void module(const char* text) = 0;
};

// The log of a file name, made if there is none; null for a null name. It lives as long as the
// process, and the pointer stays good behind a release.
nuv_flat_log_base* nuv_flat_log_get(const char* name);
// Closes the log's file. A line that follows opens it again.
void nuv_flat_log_release(nuv_flat_log_base* log);

#endif  // NUV_FLAT_LOG_H
