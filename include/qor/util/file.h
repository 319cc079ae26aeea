#ifndef QOR_UTIL_FILE_H
#define QOR_UTIL_FILE_H

#include <concepts>
#include <memory>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_string.h"
#include "qor/base/open_flags.h"
#include "qor/util/path_name.h"

namespace qor {

// The position from which the offset of File::seek counts.
enum class SeekWhence : int { Begin = 0, Current = 1, End = 2 };

// An open file, or none; the destructor closes it. Positions and sizes are in bytes, with 64 bits.
//
// Written data is visible at once through every other handle of the file. readLine reads up to 16
// KiB ahead: changes by another handle in that part are visible only after a seek to another
// position, a write or a truncate. Positions count the bytes that the caller has read, not those
// read ahead.
//
//     FileWriter out(L"notes.txt", true);
//     out.writeLine("first");
//     FileReader in(L"notes.txt");
//     for (String line; in.readLine(line) || !line.empty();) ...
//
// Names are wide text or a std::filesystem::path, with "\" or "/" between their parts. They are
// passed to the system as UTF-8; a name with a zero or an invalid character names no file. New
// files have the mode 0666 without the bits of the process's umask. A directory cannot be opened.
//
// Operations report failure by false or -1, with the system's reason in errno; on a closed file
// they fail. After a failed read the target is empty. The only exception is std::bad_alloc; the
// target and, in files that can seek, the position are then unchanged. Signals do not interrupt an
// operation, nor does the cancellation of the thread. Writing to a pipe without a reader, or above
// the limit for the size of files, fails and raises no signal (a limit that the program sets counts
// after some milliseconds).
//
// Use an object from one thread only. Programs that the process starts do not inherit the handle.
class QOR_API File {
public:
    // No open file.
    File() noexcept = default;
    explicit File(int flags) noexcept : flags_(flags) {}
    // Open the file; valid() is whether that succeeded. Flags are those of OpenFlag; the default
    // opens for reading.
    explicit File(const PathName& name) : File(name, OpenRead) {}
    File(const PathName& name, int flags);
    // Copies name and flags. If the source is open, the copy opens its own handle, at the start of
    // the file, without OpenTruncate. A later reopen() uses all flags.
    File(const File& other);
    File(File&& other) noexcept;
    // Both close this file first.
    File& operator=(const File& other);
    File& operator=(File&& other) noexcept;
    ~File() {
        if (valid()) close();
    }

    // Opens the file if it is not open. Returns valid().
    bool open();
    // These store their arguments and reopen.
    bool open(int flags);
    bool open(const PathName& name);
    bool open(const PathName& name, int flags);
    bool reopen();
    // Returns false if the system could not store earlier written data; the file is closed in any
    // case.
    bool close() noexcept;
    bool valid() const noexcept { return handle_ != invalidHandle; }

    const std::wstring& filename() const noexcept { return name_; }

    // In bytes; -1 on failure. If no file is open, the size of the file filename(). Pipes and
    // devices have 0.
    long long filesize() const;
    // The position does not change.
    bool truncate(long long size) noexcept;
    // Waits until all written data is on the device.
    bool flush() noexcept;

    // Each returns the new position, or -1.
    long long seek(long long offset, SeekWhence whence) const noexcept;
    long long rewind(long long offset) const noexcept { return seek(offset, SeekWhence::Begin); }
    long long advance(long long n) const noexcept { return seek(n, SeekWhence::Current); }
    long long putback(long long n) const noexcept;
    long long seekEnd(long long offset) const noexcept { return seek(offset, SeekWhence::End); }

    // Read once, at most `size` bytes; npos means the capacity of `out`. Set the size of `out` to
    // the number of bytes read: fewer at the end of the file, and those available in a pipe. Return
    // true also at the end of the file, with `out` empty.
    bool read(Bytes& out, unsigned long size) const;
    bool read(String& out, unsigned long size) const;
    // Reads `size` bytes as text in the configured code page. The text ends at its first zero; a
    // character that is read only in part becomes U+FFFD.
    bool read(std::wstring& out, unsigned long size) const;
    // The byte; -1 at the end and on failure.
    int readByte() const noexcept;

    // Reads the text up to a line end (LF, CR or CR LF), which is not part of the line; the
    // position is then after the line end. Returns false if the file ends before a line end, with
    // the text so far, and on failure, with empty text. A pipe is read byte by byte, so that a call
    // waits only for the bytes that it needs; after a CR it needs one more.
    bool readLine(String& line) const;
    // The same for UTF-16 with the low byte first. A pair of surrogates becomes one character, a
    // lone one U+FFFD; a byte order mark is a character; half a unit at the end is never read.
    bool readLine(std::wstring& line) const;

    // Read filesize() bytes from the start, fewer if the file shrinks meanwhile. Fail also for a
    // file of 4 GiB - 1 byte or more. Wide text is as for read().
    bool readAll(Bytes& out) const;
    bool readAll(String& out) const;
    bool readAll(std::wstring& out) const;

    // Writes all of the text at the position; false on failure.
    bool write(istr text) noexcept;
    // Converts the text, up to its first zero, to the code page; -1 is the configured one. Fails if
    // the page is unknown.
    bool write(iwstr text, long codepage = -1);
    // Writes at the end of the file. Another process may write between the seek and the write.
    bool append(istr text) noexcept { return seekEnd(0) >= 0 && write(text); }
    bool append(iwstr text, long codepage = -1);
    // Write the text, then the line end, which is not converted.
    bool writeLine(istr text, istr newline = File::newline()) noexcept {
        return write(text) && write(newline);
    }
    bool writeLine(iwstr text, long codepage = -1, istr newline = File::newline()) {
        return write(text, codepage) && write(newline);
    }

    static istr newline() noexcept { return {"\r\n", 2}; }
    static istr path_seperator() noexcept { return {"\\", 1}; }
    static constexpr int open_read_write_trunc(bool truncate, int flags) noexcept {
        return truncate ? flags | OpenTruncate : flags;
    }

private:
    static constexpr int invalidHandle = -1;

    // The bytes that were read ahead, from `next` to `end`. If the file can seek, the system's
    // position is that of `end`.
    struct ReadAhead {
        static constexpr std::size_t kRoom = 16384;

        std::size_t next = 0;
        std::size_t end = 0;
        bool ofPipe = false;
        char bytes[kRoom];
    };
    template <class Unit>
    class LineSource;
    enum class LineRead { Failed, Unended, Ended };

    bool become(std::wstring name, int flags, int openFlags);
    long long unread() const noexcept;
    void forgetUnread() const noexcept;
    bool settle() const noexcept;
    long long readBytes(void* out, std::size_t room) const noexcept;
    template <class Out>
    bool readOnce(Out& out, std::size_t room) const;
    template <class Out>
    bool readWhole(Out& out) const;
    template <class Unit, class Text>
    LineRead readLineOf(Text& line) const;

    int handle_ = invalidHandle;
    std::wstring name_;
    int flags_ = OpenRead;
    mutable std::unique_ptr<ReadAhead> ahead_;  // null until the first line is read
};

// Files with preset flags. A `truncate` parameter accepts only a bool, so that flags or a name
// cannot be passed by mistake.

class FileReader : public File {
public:
    explicit FileReader(int flags = OpenRead | OpenBinary) noexcept : File(flags) {}
    explicit FileReader(const PathName& name, int flags = OpenRead | OpenBinary)
        : File(name, flags) {}
};

// For append(). write() still writes at the position, which is at first the start of the file.
class FileAppender : public File {
public:
    explicit FileAppender(int flags = OpenWrite | OpenCreate | OpenBinary) noexcept : File(flags) {}
    explicit FileAppender(const PathName& name, int flags = OpenWrite | OpenCreate | OpenBinary)
        : File(name, flags) {}
};

class FileWriter : public File {
public:
    template <std::same_as<bool> Bool>
    explicit FileWriter(Bool truncate, int flags = OpenWrite | OpenCreate | OpenBinary) noexcept
        : File(open_read_write_trunc(truncate, flags)) {}
    FileWriter(const PathName& name, bool truncate, int flags = OpenWrite | OpenCreate | OpenBinary)
        : File(name, open_read_write_trunc(truncate, flags)) {}
};

class FileReadWriter : public File {
public:
    template <std::same_as<bool> Bool>
    explicit FileReadWriter(Bool truncate,
                            int flags = OpenReadWrite | OpenCreate | OpenBinary) noexcept
        : File(open_read_write_trunc(truncate, flags)) {}
    FileReadWriter(const PathName& name, bool truncate,
                   int flags = OpenReadWrite | OpenCreate | OpenBinary)
        : File(name, open_read_write_trunc(truncate, flags)) {}
};

}  // namespace qor

#endif  // QOR_UTIL_FILE_H
