#ifndef QOR_TOOLS_LOG_FILTER_H
#define QOR_TOOLS_LOG_FILTER_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "log/record.h"

namespace tools {

// Selects the entries that are shown: those that match all members.
struct LogFilter {
    Severity level = Severity::Debug;       // the least serious level
    std::vector<std::string> tags = {};     // patterns with "*"; if empty, all tags
    std::vector<std::string> threads = {};  // numbers or names; if empty, all threads
    std::string since = {};                 // a time or its beginning; if empty, no limit
    std::string until = {};                 // the same; times that begin with it are still shown

    bool passes(const Record& record) const;
};

// Whether a tag matches a pattern, in which "*" matches any text. The pattern may leave out the
// angle brackets around a tag.
bool fitsTag(std::string_view pattern, std::string_view tag);

// Converts an argument to a time as in an entry, or to the beginning of one: "2021-03-04 05:06".
// "90s", "15m", "2h" and "3d" are durations before `now`, which is in seconds since the epoch.
// "05:06" is on the day of `now`. Raises UsageError.
std::string parseMoment(const char* option, std::string_view text, std::int64_t now);

// Counts the entries of each tag.
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
