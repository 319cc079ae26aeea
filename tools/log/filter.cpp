#include "log/filter.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "common/failure.h"
#include "common/options.h"

namespace tools {

namespace {

bool fits(std::string_view pattern, std::string_view text) {
    // The position of the last "*", and the text that it matches so far.
    std::size_t star = pattern.npos;
    std::size_t taken = 0;
    std::size_t p = 0;
    std::size_t t = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            taken = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p;
            ++t;
        } else if (star != pattern.npos) {
            p = star + 1;
            t = ++taken;
        } else {
            return false;
        }
    }
    return pattern.substr(p).find_first_not_of('*') == pattern.npos;
}

std::string calendar(std::int64_t seconds, const char* format) {
    const auto time = static_cast<std::time_t>(seconds);
    std::tm fields{};
    char text[32] = "";
    if (localtime_r(&time, &fields) != nullptr) std::strftime(text, sizeof text, format, &fields);
    return text;
}

// Whether the text is a beginning of the shape, in which "0" matches any digit.
bool looksLike(std::string_view shape, std::string_view text) {
    return text.size() <= shape.size() &&
           std::equal(text.begin(), text.end(), shape.begin(), [](char c, char wanted) {
               return wanted == '0' ? c >= '0' && c <= '9' : c == wanted;
           });
}

}  // namespace

bool fitsTag(std::string_view pattern, std::string_view tag) {
    if (fits(pattern, tag)) return true;
    const bool isAngled = tag.size() > 1 && tag.front() == '<' && tag.back() == '>';
    return isAngled && fits(pattern, tag.substr(1, tag.size() - 2));
}

bool LogFilter::passes(const Record& record) const {
    const auto any = [](const std::vector<std::string>& wanted, auto test) {
        return wanted.empty() || std::any_of(wanted.begin(), wanted.end(), test);
    };
    const bool isBound = !tags.empty() || !threads.empty() || !since.empty() || !until.empty() ||
                         level != Severity::Debug;
    if (!record.isEntry()) return !isBound;
    if (record.severity > level) return false;
    if (!since.empty() && record.time < since) return false;
    if (!until.empty() && record.time.substr(0, until.size()) > until) return false;
    return any(tags, [&](const std::string& tag) { return fitsTag(tag, record.tag); }) &&
           any(threads, [&](const std::string& thread) {
               return thread == record.thread || fits(thread, record.name);
           });
}

std::string parseMoment(const char* option, std::string_view text, std::int64_t now) {
    constexpr std::size_t kMinute = 16;
    constexpr std::string_view kTimes = "00:00:00.000";
    if (looksLike("0000-00-00 00:00:00.000", text) && text.size() >= 4) return std::string(text);
    if (looksLike("0000-00-00T00:00:00.000", text) && text.size() >= kMinute) {
        std::string moment(text);
        moment[10] = ' ';
        return moment;
    }
    if (looksLike(kTimes, text) && text.size() >= 5) {
        return calendar(now, "%Y-%m-%d ") + std::string(text);
    }
    constexpr std::string_view kUnits = "smhd";
    constexpr std::int64_t kSeconds[] = {1, 60, 3600, 86400};
    const std::size_t unit = text.empty() ? kUnits.npos : kUnits.find(text.back());
    if (unit == kUnits.npos) {
        throw UsageError(std::string("--") + option +
                         " takes a time as 2021-03-04 05:06:07, 05:06, 15m or 2h, not " +
                         std::string(text));
    }
    const auto count = parseCount(option, text.substr(0, text.size() - 1), 1000000);
    const auto moment = now - static_cast<std::int64_t>(count) * kSeconds[unit];
    // The text of a year before 1000 has fewer digits, and cannot be compared with other times.
    return calendar(std::max<std::int64_t>(moment, 0), "%Y-%m-%d %H:%M:%S");
}

void TagCounts::add(const Record& record) {
    ++total_;
    const std::string_view tag = record.tag.empty() ? "(none)" : record.tag;
    const auto found = counts_.find(tag);
    if (found != counts_.end()) {
        ++found->second;
    } else {
        counts_.emplace(tag, 1);
    }
}

std::string TagCounts::table() const {
    std::vector<std::pair<std::string_view, unsigned long>> rows(counts_.begin(), counts_.end());
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto& a, const auto& b) { return a.second > b.second; });
    std::string text;
    const auto row = [&text](unsigned long count, std::string_view name) {
        char number[24];
        std::snprintf(number, sizeof number, "%10lu  ", count);
        text.append(number).append(name).append("\n");
    };
    for (const auto& [tag, count] : rows)
        row(count, tag);
    row(total_, "in all");
    return text;
}

}  // namespace tools
