#ifndef QOR_TOOLS_LOG_FILTER_H
#define QOR_TOOLS_LOG_FILTER_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "log/record.h"

namespace tools {

// Which entries are shown: those that pass all of it.
struct LogFilter {
    Severity level = Severity::Debug;  // the least serious one
    std::vector<std::string> tags;     // patterns with "*"; none for all
    std::vector<std::string> threads;  // numbers or names
    std::string since;                 // beginnings of a time; empty for no bound
    std::string until;                 // the last ones that it begins are still shown

    bool passes(const Record& record) const;
};

// Whether the text fits a pattern, in which "*" stands for any text. Angle brackets around a tag do
// not matter unless the pattern has them.
bool fitsTag(std::string_view pattern, std::string_view tag);

// A point in time as an entry has it, or its beginning: "2021-03-04 05:06". "90s", "15m", "2h" and
// "3d" are so long before `now`, in seconds since the epoch; "05:06" is of the day of `now`. Raises
// UsageError.
std::string parseMoment(const char* option, std::string_view text, std::int64_t now);

// How many entries there are of each tag.
class TagCounts {
public:
    void add(const Record& record);
    // A line for each tag, the most frequent first.
    std::string table() const;

private:
    std::map<std::string, unsigned long, std::less<>> counts_;
    unsigned long total_ = 0;
};

}  // namespace tools

#endif  // QOR_TOOLS_LOG_FILTER_H
