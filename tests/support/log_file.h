#ifndef QOR_TESTS_SUPPORT_LOG_FILE_H
#define QOR_TESTS_SUPPORT_LOG_FILE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "qor/log/log_factory.h"
#include "qor/mt/thread.h"
#include "support/temp_dir.h"

namespace support {

// Whether the text has the part. A check that fails shows the text.
inline testing::AssertionResult contains(const std::string& text, const std::string& part) {
    const bool found = text.find(part) != std::string::npos;
    return testing::AssertionResult(found) << '"' << part << "\" in\n" << text;
}

// A logger with a file of its own.
class LogFile {
public:
    explicit LogFile(const char* name) : log_(qor::logger_factory::instance(name)) {
        log_.open(path().c_str());
    }
    ~LogFile() { log_.close(); }

    qor::logger& log() { return log_; }
    std::string path() const { return dir_.path("test.log"); }

    // The entries so far, without the heads that the file gives them and without the banner. The
    // time and the thread's id, which differ from run to run, are replaced.
    std::string entries() const {
        const std::string text = contentOf(path());
        constexpr char kHead[] = "[Inf][l:0 f]";
        std::string entries;
        std::size_t at = text.find(kHead);
        while (at != std::string::npos) {
            at += sizeof kHead - 1;
            const std::size_t next = text.find(kHead, at);
            // The head of the next line begins after the last line end before its end.
            const std::string_view rest(text.data() + at, std::min(next, text.size()) - at);
            const std::size_t size =
                next == std::string::npos ? rest.size() - 2 : rest.rfind("\r\n");
            entries.append(rest.substr(0, size)) += '\n';
            at = next;
        }
        return normalized(std::move(entries));
    }

private:
    // "2026-11-24 10:20:30.123" and "<12.0034>", which precede a logger's name.
    static std::string normalized(std::string text) {
        const qor::String& id = qor::SimpleThread::current().sThreadId_;
        for (std::size_t at = 0; (at = text.find(id, at)) != std::string::npos;) {
            constexpr std::size_t kTime = sizeof "2026-11-24 10:20:30.123" - 1;
            if (at < kTime) break;
            text.replace(at - kTime, kTime + id.size(), "TIME<ID>");
            at = at - kTime + 1;
        }
        return text;
    }

    TempDir dir_;
    qor::logger& log_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_LOG_FILE_H
