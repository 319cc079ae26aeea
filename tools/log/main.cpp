// qor-log: shows the logs of the library's loggers.

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <optional>

#include "common/failure.h"
#include "common/options.h"
#include "common/output.h"
#include "common/progress.h"
#include "common/run.h"
#include "log/filter.h"
#include "log/log_files.h"
#include "log/record.h"

namespace {

using namespace tools;

constexpr const char* kTool = "qor-log";
constexpr std::uint64_t kLargeFile = 8U << 20;
constexpr std::size_t kPiece = 1U << 16;

struct LogOptions {
    LogFilter filter;
    ColorMode color = ColorMode::Auto;
    bool follow = false;
    bool fold = false;
    bool count = false;
    bool onlyCurrent = false;
};

Role roleOf(Severity severity) {
    switch (severity) {
        case Severity::Error:
            return Role::Error;
        case Severity::Warning:
            return Role::Warning;
        case Severity::Debug:
            return Role::Note;
        default:
            return Role::Plain;
    }
}

// Shows or counts the entries that pass the filter.
class Viewer {
public:
    Viewer(const LogOptions& options, Output& out) : options_(options), out_(out) {}

    void take(std::string_view text) {
        const Record record = parseRecord(text);
        if (!options_.filter.passes(record)) return;
        if (options_.count) {
            if (record.isEntry()) counts_.add(record);
            return;
        }
        const std::string line = options_.fold ? folded(record) : std::string(record.text);
        out_.put(roleOf(record.severity), withoutReturns(line)).raw("\n");
    }
    void finish() {
        if (options_.count) out_.put(Role::Plain, counts_.table());
        out_.flush();
    }

private:
    // A carriage return at the end of a line belongs to the line end.
    static std::string withoutReturns(const std::string& text) {
        std::string plain;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '\r' || (i + 1 != text.size() && text[i + 1] != '\n')) plain += text[i];
        }
        return plain;
    }

    const LogOptions& options_;
    Output& out_;
    TagCounts counts_;
};

void pause() {
    constexpr timespec kPause = {0, 200'000'000};
    ::nanosleep(&kPause, nullptr);
}

// Returns false if an old file cannot be read.
bool readLog(const std::string& path, const LogOptions& options, Output& out, Viewer& viewer) {
    bool good = true;
    std::optional<Progress> progress;
    LogFiles files(path, !options.onlyCurrent, [&](const std::string& fault) {
        if (progress) progress->erase();
        complain(kTool, fault);
        good = false;
    });
    // The progress bar is shown only on a terminal.
    const bool isShown =
        out.isTerminal() && isatty(STDERR_FILENO) == 1 && files.totalSize() >= kLargeFile;
    progress.emplace(isShown ? STDERR_FILENO : -1, files.totalSize());
    RecordSplitter splitter;
    const auto take = [&](std::string_view text) { viewer.take(text); };
    std::string bytes;
    for (;;) {
        LogFiles::Read result = LogFiles::Read::End;
        try {
            result = files.read(bytes);
        } catch (const Failure&) {
            splitter.flush(true, take);
            throw;
        }
        if (result == LogFiles::Read::Bytes) {
            splitter.feed(bytes, take);
            progress->erase();
            if (out.isTerminal()) out.flush();
            progress->show(files.position());
            continue;
        }
        const bool isLast = result == LogFiles::Read::End && !options.follow;
        splitter.flush(isLast || result == LogFiles::Read::FileEnd, take);
        progress->erase();
        out.flush();
        if (isLast) return good;
        if (result == LogFiles::Read::End) pause();
    }
}

// Whether standard input has more bytes, or ends, before a short pause is over.
bool isMoreComing() {
    constexpr int kPauseMs = 20;
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, kPauseMs) != 0;
}

void readStandardInput(Output& out, Viewer& viewer) {
    RecordSplitter splitter;
    const auto take = [&](std::string_view text) { viewer.take(text); };
    std::string bytes(kPiece, '\0');
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0) splitter.flush(true, take);
        if (count < 0) throw Failure("standard input cannot be read");
        if (count == 0) return;
        splitter.feed(std::string_view(bytes.data(), static_cast<std::size_t>(count)), take);
        out.flush();
        // The last entry is complete unless the rest of it arrives at once.
        if (isMoreComing()) continue;
        splitter.flush(false, take);
        out.flush();
    }
}

void addWords(std::vector<std::string>& words, std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(','), text.size());
        if (end != 0) words.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

int showLogs(const std::vector<std::string>& arguments) {
    LogOptions options;
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    Options line(
        kTool, "[OPTION]... FILE...",
        "Shows the log of a logger, and before it its old files FILE_1, FILE_2 and so on.",
        {{'l', "level", "LEVEL",
          "error, warning, info or debug: entries of this level or a\nmore serious one",
          [&](std::string_view text) {
              options.filter.level = static_cast<Severity>(
                  parseChoice("level", text, {"error", "warning", "info", "debug"}));
          }},
         {'t', "tag", "TAG", "entries with a tag, such as TCP.DEBUG or TCP.*; several with commas",
          [&](std::string_view text) { addWords(options.filter.tags, text); }},
         {'T', "thread", "THREAD", "entries of a thread, by its name or its number",
          [&](std::string_view text) { addWords(options.filter.threads, text); }},
         {'s', "since", "TIME",
          "entries from this time on: 2021-03-04 05:06:07, a beginning\nof that, 05:06 for today, "
          "or 15m for 15 minutes ago (s, m, h, d)",
          [&](std::string_view text) { options.filter.since = parseMoment("since", text, now); }},
         {'u', "until", "TIME", "entries up to this time; 2021-03-04 is all of that day",
          [&](std::string_view text) { options.filter.until = parseMoment("until", text, now); }},
         {'F', "fold", nullptr, "show each block as one line",
          [&](std::string_view) { options.fold = true; }},
         {'c', "count", nullptr, "show only the number of entries of each tag",
          [&](std::string_view) { options.count = true; }},
         {'f', "follow", nullptr, "wait for new entries, also when the file is rotated",
          [&](std::string_view) { options.follow = true; }},
         {0, "current", nullptr, "do not read the old files",
          [&](std::string_view) { options.onlyCurrent = true; }},
         {0, "color", "WHEN", "auto, always or never",
          [&](std::string_view text) { options.color = parseColorMode(text); }}},
        "\nFor entries of loggers, which all have the level Inf, the tag decides the level.\n"
        "The exit status is 0; or 1 if a file cannot be read; or 2 after a mistake in the command\n"
        "line.\n");
    const std::vector<std::string> files = line.parse(arguments);
    Output out = Output::standard(options.color);
    if (!line.answer().empty()) {
        out.raw(line.answer()).flush();
        return kSuccess;
    }
    if (files.empty()) throw UsageError("no file given");
    if (options.follow && files.size() > 1) throw UsageError("--follow takes one file");
    if (options.follow && options.count) throw UsageError("--follow has no end to count up to");
    Viewer viewer(options, out);
    int status = kSuccess;
    for (const std::string& path : files) {
        try {
            if (path == "-") {
                readStandardInput(out, viewer);
            } else if (!readLog(path, options, out, viewer)) {
                status = kFailure;
            }
        } catch (const WriteFailure&) {
            throw;
        } catch (const Failure& e) {
            complain(kTool, e.what());
            status = kFailure;
        }
    }
    viewer.finish();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    return run(kTool, argc, argv, showLogs);
}
