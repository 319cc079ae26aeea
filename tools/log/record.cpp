#include "log/record.h"

#include <algorithm>
#include <cstddef>

namespace tools {

namespace {

// The beginning of each entry, such as "[2021-03-04 05:06:07.008][P:"; "0" matches any digit.
constexpr std::string_view kBeginning = "[0000-00-00 00:00:00.000][P:";
constexpr std::string_view kBanner = "Scrivo(v";
constexpr std::size_t kTimeSize = 23;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool beginsRecord(std::string_view text) {
    if (text.starts_with(kBanner)) return true;
    if (text.size() < kBeginning.size()) return false;
    return std::equal(kBeginning.begin(), kBeginning.end(), text.begin(),
                      [](char wanted, char c) { return wanted == '0' ? isDigit(c) : wanted == c; });
}

// Removes "[...]" from the beginning and returns the text in it; empty if there is none.
std::string_view takeBrackets(std::string_view& text) {
    if (!text.starts_with('[')) return {};
    const std::size_t end = text.find(']');
    if (end == text.npos) return {};
    const std::string_view content = text.substr(1, end - 1);
    text.remove_prefix(end + 1);
    return content;
}

// Whether the text is a place, such as "file:12 function".
bool isPlace(std::string_view text) {
    const std::size_t blank = text.find(' ');
    const std::size_t colon = text.substr(0, blank).rfind(':');
    return blank != text.npos && colon != text.npos && colon + 1 < blank &&
           std::all_of(text.begin() + static_cast<std::ptrdiff_t>(colon) + 1,
                       text.begin() + static_cast<std::ptrdiff_t>(blank), isDigit);
}

std::string_view firstLine(std::string_view text) {
    return text.substr(0, std::min(text.find('\n'), text.size()));
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\r'))
        text.remove_suffix(1);
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    return text;
}

// Reads the tag and the name from the end of the first rule of a block:
// "...<12>[QOR][ERROR]{name}".
void parseRule(std::string_view rule, Record& record) {
    if (rule.ends_with('}')) {
        const std::size_t begin = rule.rfind('{');
        if (begin == rule.npos) return;
        record.name = rule.substr(begin + 1, rule.size() - begin - 2);
        rule = rule.substr(0, begin);
    }
    const std::size_t begin = rule.rfind('[');
    if (rule.ends_with(']') && begin != rule.npos) {
        record.tag = rule.substr(begin + 1, rule.size() - begin - 2);
    }
}

// Whether the entry is a line of tracing: "TIME<ID>[logger] TRACE  ...".
bool isTrace(std::string_view entry) {
    const std::size_t at = entry.find("] TRACE");
    return at != entry.npos && at < entry.find('(');
}

Severity severityOf(std::string_view tag, bool isBlock) {
    constexpr std::string_view kErrors[] = {"ERROR", "EXCEPTION", "THROWING", "FAILURE"};
    constexpr std::string_view kDebug[] = {"DEBUG", "TRACE", "DATA", "DIAG", "COMM", "CMD", "HB"};
    const auto has = [tag](std::string_view word) { return tag.find(word) != tag.npos; };
    if (std::any_of(std::begin(kErrors), std::end(kErrors), has)) return Severity::Error;
    if (has("WARN")) return Severity::Warning;
    if (isBlock || has("INFO") || has("NOTICE")) return Severity::Info;
    const std::string_view last = tag.substr(tag.rfind('.') + 1);
    return std::find(std::begin(kDebug), std::end(kDebug), last) != std::end(kDebug)
               ? Severity::Debug
               : Severity::Info;
}

void parseEntry(Record& record) {
    std::string_view entry = record.entry;
    record.isBlock = entry.starts_with("\n") && entry.find('\n', 1) != entry.npos;
    if (record.isBlock) {
        parseRule(firstLine(entry.substr(1)), record);
    } else if (isTrace(entry)) {
        record.tag = "TRACE";
    } else {
        record.tag = takeBrackets(entry);
        if (!record.tag.empty() && entry.starts_with('{')) {
            const std::size_t end = entry.find('}');
            if (end != entry.npos) record.name = entry.substr(1, end - 1);
        }
    }
}

}  // namespace

Record parseRecord(std::string_view text) {
    Record record;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.remove_suffix(1);
    record.text = record.entry = text;
    if (!text.starts_with('[') || !beginsRecord(text)) return record;
    std::string_view rest = text;
    record.time = takeBrackets(rest).substr(0, kTimeSize);
    const std::string_view ids = takeBrackets(rest);
    const std::size_t thread = ids.find("/T:");
    if (thread != ids.npos) record.thread = ids.substr(thread + 3);
    const std::string_view level = takeBrackets(rest);
    // There may be a module before the place.
    std::string_view after = rest;
    const std::string_view first = takeBrackets(after);
    if (!first.empty() && !isPlace(first)) {
        std::string_view further = after;
        if (isPlace(takeBrackets(further))) after = further;
    }
    rest = after;
    record.head = text.substr(0, text.size() - rest.size());
    record.entry = rest;
    parseEntry(record);
    constexpr std::string_view kLevels[] = {"Err", "War", "Inf", "Dbg"};
    const auto* const known = std::find(std::begin(kLevels), std::end(kLevels), level);
    record.severity = known == std::end(kLevels) || level == "Inf"
                          ? severityOf(record.tag, record.isBlock)
                          : static_cast<Severity>(known - std::begin(kLevels));
    return record;
}

std::string folded(const Record& record) {
    if (record.text.find('\n') == record.text.npos) return std::string(record.text);
    std::string_view rest = record.entry;
    const auto lines = 1 + static_cast<std::size_t>(std::count(rest.begin(), rest.end(), '\n'));
    std::string line(record.head);
    if (!record.tag.empty()) line += '[' + std::string(record.tag) + ']';
    if (!record.name.empty()) line += '{' + std::string(record.name) + '}';
    // Skips the rules and the title, which the line has already.
    while (!rest.empty()) {
        const std::string_view whole = firstLine(rest);
        rest.remove_prefix(std::min(whole.size() + 1, rest.size()));
        const std::string_view text = trimmed(whole);
        const bool isRule = text.find_first_not_of("=_") == text.npos || text.starts_with("-----");
        if (isRule || text == record.tag) continue;
        line += ' ' + std::string(text);
        break;
    }
    return line + " (" + std::to_string(lines) + " lines)";
}

void RecordSplitter::feed(std::string_view bytes, const Take& take) {
    pending_ += bytes;
    std::size_t begin = 0;
    std::size_t at = std::max<std::size_t>(scanned_, 1);
    while ((at = pending_.find('\n', at - 1)) != pending_.npos) {
        ++at;
        const std::string_view rest = std::string_view(pending_).substr(at);
        // The beginning of the next entry may not have arrived completely.
        if (rest.size() < kBeginning.size()) {
            break;
        }
        if (beginsRecord(rest)) {
            take(std::string_view(pending_).substr(begin, at - begin));
            begin = at;
        }
        ++at;
    }
    scanned_ = at == pending_.npos ? pending_.size() : at;
    pending_.erase(0, begin);
    scanned_ -= begin;
    if (pending_.size() < kMostRecord) return;
    // The last line, of which the end has not arrived, may be the beginning of an entry.
    const std::size_t line = pending_.rfind('\n') + 1;
    std::string last;
    if (line != 0) {
        last = pending_.substr(line);
        pending_.resize(line);
    }
    flush(true, take);
    pending_ = std::move(last);
}

void RecordSplitter::flush(bool all, const Take& take) {
    if (pending_.empty() || (!all && pending_.back() != '\n')) return;
    const std::string text = std::move(pending_);
    pending_.clear();
    scanned_ = 0;
    // A beginning that was incomplete in feed() may be complete.
    std::size_t begin = 0;
    for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1)) {
        if (!beginsRecord(std::string_view(text).substr(at + 1))) continue;
        take(std::string_view(text).substr(begin, at + 1 - begin));
        begin = at + 1;
    }
    take(std::string_view(text).substr(begin));
}

}  // namespace tools
