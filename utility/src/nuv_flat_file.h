#ifndef NUV_FLAT_FILE_H
#define NUV_FLAT_FILE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <climits>
#include <cstddef>
#include <ctime>

// The local time as text, such as "2021-03-04 05:06:07.008". Within the same second only the
// milliseconds are formatted again.
class nuv_local_time {
public:
    static constexpr std::size_t room = 32;

    void read();
    // Not terminated: see size(). Empty if the local time can't be determined.
    const char* text() const { return text_; }
    std::size_t size() const { return size_; }
    long long milliseconds() const { return milliseconds_; }

private:
    void readSecond(std::time_t second);

    char text_[room] = {};
    std::size_t size_ = 0;
    long long milliseconds_ = 0;
    std::time_t second_ = 0;
};

// A text file to which lines are appended. Old files are kept in the same directory:
//
//     my.log    the current file; when it has reached the limit, it is renamed to
//     my_1.log, which was renamed to
//     my_2.log before, and so on; the file with the number `count` is removed
//
// Only one thread at a time may use an object, but several processes may share a file. All
// functions change errno.
class nuv_flat_file {
public:
    static constexpr std::size_t room = 260;

    // Finds or creates the directory. The first line opens the file.
    explicit nuv_flat_file(const char* name);

    void append(const char* line, std::size_t size, const nuv_local_time& now);
    void close();
    void limit(long long bytes) { limit_ = bytes; }
    void count(unsigned files) { count_ = files; }
    // Makes the next line check whether the file is still in its place.
    void suspect() { looked_ = -1; }

private:
    bool resolve(const char* name);
    bool split(const char* path);
    void fallBack();
    bool prepare(const nuv_local_time& now);
    void open(const nuv_local_time& now);
    int openBeside(const char* name);
    void look();
    bool isOurs(const struct stat& status) const;
    void forget();
    bool rotate();
    bool shift();
    bool write(const char* text, std::size_t size);
    bool takeBack(std::size_t count);
    ssize_t writeSome(const char* text, std::size_t size) const;
    ssize_t writeAtEnd(const char* text, std::size_t size) const;

    bool fresh_ = true;  // open at the next line; else at the next new millisecond
    char name_[room] = "";
    char directory_[room] = "";  // with a separator at the end
    const char* opened_ = name_;
    int handle_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    bool isRegular_ = false;
    long long size_ = 0;  // at the last check, plus the bytes written since
    long long limit_ = 0x500000;
    unsigned count_ = 1;
    bool torn_ = false;      // the last line was written only in part
    bool limited_ = false;   // a write may raise SIGXFSZ
    long long looked_ = -1;  // the time of the last check, in ms
    long long stuck_ = -1;   // the time of the last failed rotation, in s
    // A rotation that failed has moved the old files with larger numbers than this one; UINT_MAX if
    // none.
    unsigned unmoved_ = UINT_MAX;
};

#endif  // NUV_FLAT_FILE_H
