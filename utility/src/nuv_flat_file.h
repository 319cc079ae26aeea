#ifndef NUV_FLAT_FILE_H
#define NUV_FLAT_FILE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <ctime>

// The local time as "2021-03-04 05:06:07.008". The text of a second is made once.
class nuv_local_time {
public:
    static constexpr std::size_t room = 32;

    void read();
    // Not terminated; empty if the time can't be determined.
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

// A text file that lines are appended to, with the old files beside it:
//
//     my.log    the file itself; when it has reached its limit, it becomes
//     my_1.log  which becomes
//     my_2.log  and so on; the one whose number is the count is removed
//
// Not for several threads at a time, but several processes may share a file. errno is changed.
class nuv_flat_file {
public:
    static constexpr std::size_t room = 260;

    // Finds the directory, or makes it; the file is opened by the first line.
    explicit nuv_flat_file(const char* name);

    void append(const char* line, std::size_t size, const nuv_local_time& now);
    void close();
    void limit(long long bytes) { limit_ = bytes; }
    void count(unsigned files) { count_ = files; }
    // Lets the next line look after the file.
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

    bool fresh_ = true;  // the next line opens the file, whenever it comes
    char name_[room] = "";
    char directory_[room] = "";  // with a separator at the end
    const char* opened_ = name_;
    int handle_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    bool isRegular_ = false;
    long long size_ = 0;  // as counted since the last look
    long long limit_ = 0x500000;
    unsigned count_ = 1;
    bool torn_ = false;      // the last line lacks its end
    bool limited_ = false;   // a write may raise SIGXFSZ
    long long looked_ = -1;  // the millisecond of the last look
    long long stuck_ = -1;   // the second of the last rotation that failed
};

#endif  // NUV_FLAT_FILE_H
