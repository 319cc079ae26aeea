#ifndef QOR_TOOLS_LOG_RECORD_H
#define QOR_TOOLS_LOG_RECORD_H

#include <functional>
#include <string>
#include <string_view>

namespace tools {

// The severity of an entry, the most serious one first.
enum class Severity { Error, Warning, Info, Debug };

// An entry of a log file, as views of its text.
struct Record {
    std::string_view text;    // the whole entry, without its line end
    std::string_view time;    // "2021-03-04 05:06:07.008"; empty for text that is no entry
    std::string_view thread;  // the number of the thread
    std::string_view name;    // the name of the thread; empty if the entry does not have it
    std::string_view tag;     // "TCP.DEBUG"; the title of a block; empty if there is none
    std::string_view head;    // the text before the entry
    std::string_view entry;
    Severity severity = Severity::Info;
    bool isBlock = false;

    bool isEntry() const noexcept { return !time.empty(); }
};

// Reads an entry. Its severity is the level in the head. If this is "Inf", which loggers always
// write, the tag, or the title of a block, decides.
Record parseRecord(std::string_view text);

// One line for a block: its head, its title, its first line, and its number of lines. Other entries
// are unchanged.
std::string folded(const Record& record);

// Splits text into entries. An entry ends where the next entry or the next file begins.
class RecordSplitter {
public:
    using Take = std::function<void(std::string_view)>;

    // A longer text is passed on in parts, since a file that is no log may not fit into memory. A
    // part ends at the end of a line, unless the line itself is longer.
    static constexpr std::size_t kMostRecord = 1U << 20;

    void feed(std::string_view bytes, const Take& take);
    // Passes on all pending text if it ends with a line feed, or if `all` is set.
    void flush(bool all, const Take& take);

private:
    std::string pending_;
    std::size_t scanned_ = 0;  // no entry begins in pending_ before this offset, except at 0
};

}  // namespace tools

#endif  // QOR_TOOLS_LOG_RECORD_H
