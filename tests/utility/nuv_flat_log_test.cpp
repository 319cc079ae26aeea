#include "nuv_flat_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

#include "support/allocation.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path) {
    std::stringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

const std::string kTime = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})";

bool isBanner(const std::string& line) {
    static const std::regex banner("Scrivo\\(v3\\.0\\) Begin Time:" + kTime);
    return std::regex_match(line, banner);
}

// The lines behind their time and ids, and "banner". Torn and foreign ones are "?".
std::vector<std::string> linesOf(const fs::path& path) {
    static const std::regex head("\\[" + kTime + R"(\]\[P:\d+/T:\d+\])");
    std::vector<std::string> lines;
    std::string content = contentOf(path);
    for (std::size_t end; (end = content.find("\r\n")) != std::string::npos;
         content.erase(0, end + 2)) {
        const std::string line = content.substr(0, end);
        std::smatch match;
        if (isBanner(line)) {
            lines.push_back("banner");
        } else if (std::regex_search(line, match, head, std::regex_constants::match_continuous)) {
            lines.push_back(match.suffix());
        } else {
            lines.push_back("?" + line);
        }
    }
    if (!content.empty()) lines.push_back("?" + content);
    return lines;
}

using Lines = std::vector<std::string>;

void say(nuv_flat_log_base* log, const std::string& text) {
    log->log("", "f", "l", 0, NUV_LOG_INFO, "%s", text.c_str());
}

// As the logger of the library has it.
std::string said(const std::string& text) {
    return "[Inf][l:0 f]" + text;
}

class FlatLog : public testing::Test {
protected:
    FlatLog() : path(directory.path("my.log")), log(nuv_flat_log_get(path.c_str())) {}
    ~FlatLog() override { nuv_flat_log_release(log); }

    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : fs::directory_iterator(directory.path()))
            all.insert(entry.path().filename());
        return all;
    }
    // Logs until something is noticed, which takes until the next millisecond.
    template <class Condition>
    void sayUntil(Condition condition) {
        while (!condition())
            say(log, "again");
    }

    support::TempDir directory;
    std::string path;
    nuv_flat_log_base* log;
};

// The wait status of a process that does the work.
template <class Work>
int statusOf(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

TEST_F(FlatLog, Lines) {
    say(log, "100 %s %n\n\nmore");
    log->log("", "f", "/a/b\\c.cpp", -7, NUV_LOG_ERROR, "%d %s%%", 5, "x");
    log->log("call", "f", "a/c.cpp", 7, NUV_LOG_WARNING, "%s", static_cast<const char*>(nullptr));
    log->module("own");
    log->log("call", "f", "l", 0, NUV_LOG_DEBUG, "a");
    log->enter("", "f", "l", 7, 1);
    log->module(std::string(300, 'm').c_str());
    say(log, "");
    log->module(nullptr);
    log->enter("", "f", "l", 7, 0);
    log->log(L"", L"fä", L"a\\l", 0, NUV_LOG_INFO, L"%ls %d \xD800", L"\u20AC\U0001F600", 5);
    log->log("", "f", "l", 0, -1, "a");
    log->level(7);
    log->log("", "f", "l", 0, 7, "a");
    EXPECT_EQ(
        linesOf(path),
        (Lines{"banner", said("100 %s %n\n\nmore"), "[Err][c.cpp:-7 f]5 x%",
               "[War][call][c.cpp:7 f](null)", "[Dbg][own][l:0 f]a", "[Dbg][own][l:7 f][Enter]",
               "[Inf][" + std::string(255, 'm') + "][l:0 f]", "[Dbg][l:7 f][Leave]",
               "[Inf][l:0 fä]Content:€😀 5 \xEF\xBF\xBD", "[Err][l:0 f]a", "[Dbg][l:0 f]a"}));
}

TEST_F(FlatLog, IdsAreThoseOfTheThread) {
    const auto start = [](pid_t thread) {
        return "][P:" + std::to_string(getpid()) + "/T:" + std::to_string(thread) + "]";
    };
    say(log, "main");
    std::string expected;
    std::thread([&] {
        say(log, "other");
        expected = start(gettid());
    }).join();
    const std::string content = contentOf(path);
    EXPECT_NE(content.find(start(gettid()) + said("main")), content.npos);
    EXPECT_NE(content.find(expected + said("other")), content.npos);
    EXPECT_EQ(statusOf([&] {
                  say(log, "child");
                  _exit(contentOf(path).find(start(getpid()) + said("child")) == content.npos);
              }),
              0);
}

TEST_F(FlatLog, LeavesOut) {
    log->log(nullptr, "f", "l", 0, NUV_LOG_INFO, "a");
    log->log("", nullptr, "l", 0, NUV_LOG_INFO, "a");
    log->log("", "f", nullptr, 0, NUV_LOG_INFO, "a");
    log->log(L"", L"f", nullptr, 0, NUV_LOG_INFO, L"a");
    log->enter("", nullptr, "l", 0, 1);
    log->level(NUV_LOG_INFO);
    log->log("", "f", "l", 0, NUV_LOG_DEBUG, "a");
    log->log(L"", L"f", L"l", 0, NUV_LOG_DEBUG, L"a");
    log->enter("", "f", "l", 0, 1);
    EXPECT_FALSE(fs::exists(path));
    say(log, "a");
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("a")}));
}

TEST_F(FlatLog, RegistryAndRelease) {
    EXPECT_EQ(nuv_flat_log_get(nullptr), nullptr);
    EXPECT_EQ(nuv_flat_log_get(path.c_str()), log);
    EXPECT_NE(nuv_flat_log_get(directory.path("other.log").c_str()), log);
    say(log, "a");
    nuv_flat_log_release(log);
    nuv_flat_log_release(nullptr);
    say(log, "b");
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("a"), "banner", said("b")}));
}

TEST_F(FlatLog, LongLinesAreCutAtTheirEnd) {
    say(log, "");
    const std::size_t head = contentOf(path).size() - contentOf(path).find("\r\n") - 4;
    for (const std::size_t size : {1900u, 2100u, 16384u, 16385u, 100000u}) {
        const std::string text(size - head - 2, 'x');
        const std::size_t before = contentOf(path).size();
        say(log, text);
        EXPECT_EQ(contentOf(path).size() - before, std::min<std::size_t>(size, 16384));
        log->log("", "f", "l", 0, NUV_LOG_INFO, "%s%d", text.c_str(), 1);
        EXPECT_EQ(contentOf(path).size() - before,
                  std::min<std::size_t>(size, 16384) + std::min<std::size_t>(size + 1, 16384));
    }
    log->log(L"", L"f", L"l", 0, NUV_LOG_INFO, L"%ls", std::wstring(9000, L'ä').c_str());
    log->log("", std::string(20000, 'f').c_str(), "l", 0, NUV_LOG_INFO, "a");
    const Lines lines = linesOf(path);
    EXPECT_EQ(lines.size(), 14u);
    EXPECT_EQ(lines[12].substr(lines[12].size() - 2), "ä");
    for (const std::string& line : lines)
        EXPECT_NE(line[0], '?');
}

TEST_F(FlatLog, LineTakesNoMemoryAndKeepsErrno) {
    say(log, "first");
    errno = EXDEV;
    const support::AllocationCounter counter;
    say(log, std::string_view("short").data());
    log->log("", "f", "l", 0, NUV_LOG_INFO, "%2000d", 1);
    log->log(L"", L"f", L"l", 0, NUV_LOG_INFO, L"wide");
    EXPECT_EQ(counter.allocations(), 0u);
    nuv_flat_log_release(log);
    nuv_flat_log_get(path.c_str());
    EXPECT_EQ(errno, EXDEV);
}

TEST(FlatLogName, Resolves) {
    const support::TempDir directory;
    const fs::path work = fs::canonical(directory.path());
    const fs::path program = fs::canonical("/proc/self/exe").parent_path();
    const std::string plain = "flat_log_test." + std::to_string(getpid()) + ".log";
    directory.file("file", "");
    fs::create_directory(work / "taken.log");
    const struct {
        std::string name;
        fs::path path;
    } cases[] = {
        {plain, program / plain},
        {"a/b\\c.log", work / "a/b/c.log"},
        {work / "d\\e/f.log", work / "d/e/f.log"},
        {work / "taken.log", work / "MyLog.log"},
        {"g/", work / "g/MyLog.log"},
        {"file/x.log", work / "Log/MyLog.log"},
        {std::string(260, 'n') + "/x.log", work / "Log/MyLog.log"},
        {"/proc/no/x.log", work / "Log/MyLog.log"},
        {std::string(300, 'n'), work / "Log/MyLog.log"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(statusOf([&] {
                      if (chdir(work.c_str()) != 0) _exit(1);
                      nuv_flat_log_base* const log = nuv_flat_log_get(c.name.c_str());
                      if (chdir("/") != 0) _exit(1);
                      say(log, c.name);
                  }),
                  0);
        const Lines lines = linesOf(c.path);
        EXPECT_TRUE(!lines.empty() && lines.back() == said(c.name)) << c.name;
        fs::remove(c.path);
    }
}

TEST_F(FlatLog, RotatesAtTheLimit) {
    log->max_file_size(0);
    log->max_file_count(-1);
    say(log, "");
    const std::size_t least = contentOf(path).size();
    const std::size_t head = least - contentOf(path).find("\r\n") - 2;
    log->max_file_size(1);
    for (const std::size_t size : {1023u, 1024u}) {
        fs::remove(path);
        nuv_flat_log_release(log);
        say(log, std::string(size - least, 'x'));
        ASSERT_EQ(fs::file_size(path), size);
        say(log, "next");
        EXPECT_EQ(fs::exists(directory.path("my_1.log")), size == 1024) << size;
    }
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("next")}));
    EXPECT_EQ(fs::file_size(directory.path("my_1.log")), 1024u);
    EXPECT_LT(head, least);
}

TEST_F(FlatLog, RotationMovesOldFiles) {
    const struct {
        int count;
        std::vector<std::string> before;
        std::map<std::string, std::string> after;  // the names from before, by the new ones
    } cases[] = {
        {1, {}, {{"my_1.log", "my.log"}}},
        {1, {"my_1.log"}, {{"my_1.log", "my.log"}}},
        {3,
         {"my_1.log", "my_2.log", "my_3.log"},
         {{"my_1.log", "my.log"}, {"my_2.log", "my_1.log"}, {"my_3.log", "my_2.log"}}},
        {3, {"my_2.log"}, {{"my_1.log", "my.log"}, {"my_3.log", "my_2.log"}}},
        // From a higher count; only the file of the very number is removed.
        {2,
         {"my_2.log", "my_3.log", "my_10.log"},
         {{"my_1.log", "my.log"}, {"my_4.log", "my_3.log"}, {"my_11.log", "my_10.log"}}},
    };
    // Of others, and out of reach.
    const std::vector<std::string> others = {
        "my_.log",   "my_0.log",    "my_01.log",         "my_1.txt",
        "my_1x.log", "my_1.2.log",  "my1.log",           "omy_1.log",
        "my_1",      "my_1.log.gz", "my_4294967295.log", "my_99999999999.log"};
    for (const auto& c : cases) {
        for (const std::string& name : names())
            fs::remove(directory.path(name));
        nuv_flat_log_release(log);
        std::map<std::string, std::string> expected = c.after;
        for (const std::string& name : others)
            expected[name] = name;
        for (const auto& list : {c.before, others}) {
            for (const std::string& name : list)
                directory.file(name, name);
        }
        directory.file("my.log", "my.log" + std::string(1024, ' '));
        log->max_file_size(1);
        log->max_file_count(c.count);
        say(log, "last");
        say(log, "first");
        EXPECT_EQ(linesOf(path), (Lines{"banner", said("first")}));
        std::map<std::string, std::string> after;
        for (const std::string& name : names()) {
            const std::string content = contentOf(directory.path(name));
            if (name != "my.log") after[name] = content.substr(0, content.find(' '));
        }
        EXPECT_EQ(after, expected) << c.count;
    }
}

TEST_F(FlatLog, FileThatCannotBeRotatedGoesOn) {
    fs::create_directory(directory.path("my_1.log"));
    directory.file("my_1.log/inside", "");
    log->max_file_size(1);
    say(log, std::string(1100, 'x'));
    for (int i = 0; i < 100; ++i)
        say(log, "more");
    EXPECT_EQ(linesOf(path).size(), 102u);
    fs::remove_all(directory.path("my_1.log"));
    sayUntil([&] { return fs::exists(directory.path("my_1.log")); });
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("again")}));
}

// By the texts "<writer> <number>", of all files.
void expectEachOnce(const support::TempDir& directory, int writers, int lines) {
    std::map<std::string, int> seen;
    for (const auto& entry : fs::directory_iterator(directory.path())) {
        for (const std::string& line : linesOf(entry.path())) {
            if (line != "banner") ++seen[line];
        }
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(writers * lines));
    for (int writer = 0; writer < writers; ++writer) {
        for (int i = 0; i < lines; ++i)
            EXPECT_EQ(seen[said(std::to_string(writer) + " " + std::to_string(i))], 1);
    }
}

void write(nuv_flat_log_base* log, int writer, int lines) {
    for (int i = 0; i < lines; ++i)
        say(log, std::to_string(writer) + " " + std::to_string(i));
}

TEST_F(FlatLog, ThreadsWriteThroughRotations) {
    log->max_file_size(8);
    log->max_file_count(1000);
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 8; ++writer)
        threads.emplace_back(write, log, writer, 500);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(names().size(), 20u);
    expectEachOnce(directory, 8, 500);
}

TEST_F(FlatLog, ProcessesWriteThroughRotations) {
    log->max_file_size(8);
    log->max_file_count(1000);
    say(log, "0 0");
    // A lock that a thread holds at the fork would be held in the child for good.
    std::atomic<bool> done = false;
    std::thread other([&] {
        for (int i = 0; !done; ++i)
            log->log("", "f", "l", 0, NUV_LOG_INFO, "other%d", i);
    });
    std::vector<pid_t> children;
    for (int writer = 1; writer < 6; ++writer) {
        children.push_back(fork());
        if (children.back() == 0) {
            write(log, writer, 300);
            _exit(0);
        }
    }
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    done = true;
    other.join();
    int lines = 0;
    std::set<std::string> seen;
    for (const std::string& name : names()) {
        for (const std::string& line : linesOf(directory.path(name))) {
            EXPECT_NE(line[0], '?') << line;
            if (line.find("other") != line.npos || line == "banner") continue;
            ++lines;
            seen.insert(line);
        }
    }
    EXPECT_EQ(lines, 1501);
    EXPECT_EQ(seen.size(), 1501u);
}

TEST_F(FlatLog, KilledProcessLosesNoLine) {
    const int status = statusOf([&] {
        write(log, 0, 500);
        raise(SIGKILL);
    });
    EXPECT_EQ(status, SIGKILL);
    expectEachOnce(directory, 1, 500);
}

TEST_F(FlatLog, LogsWhileTheProcessEnds) {
    static nuv_flat_log_base* late;
    late = log;
    const auto end = [] {
        struct Last {
            ~Last() { say(late, "destructor"); }
        };
        static Last last;
        std::atexit([] { say(late, "atexit"); });
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("atexit"), said("destructor")}));
}

TEST_F(FlatLog, GoesOnInANewFile) {
    const struct {
        const char* name;
        std::function<void()> harm;
    } cases[] = {
        {"removed", [&] { fs::remove(path); }},
        {"renamed", [&] { fs::rename(path, directory.path("elsewhere")); }},
        {"replaced",
         [&] {
             directory.file("new", "");
             fs::rename(directory.path("new"), path);
         }},
        {"closed with all descriptors",
         [&] {
             fs::remove(path);
             for (int file = 3; file < 100; ++file) {
                 std::error_code none;
                 if (fs::read_symlink("/proc/self/fd/" + std::to_string(file), none)
                         .string()
                         .find("my.log") != std::string::npos)
                     close(file);
             }
         }},
    };
    for (const auto& c : cases) {
        say(log, "before");
        c.harm();
        sayUntil([&] { return fs::exists(path) && fs::file_size(path) != 0; });
        EXPECT_EQ(linesOf(path), (Lines{"banner", said("again")})) << c.name;
    }
    const support::TempDir gone;
    fs::create_directory(gone.path("inner"));
    log = nuv_flat_log_get(gone.path("inner/x.log").c_str());
    say(log, "before");
    fs::remove_all(gone.path("inner"));
    sayUntil([&] { return fs::exists(gone.path("inner/x.log")); });
}

TEST_F(FlatLog, TruncatedFileIsNotRotated) {
    log->max_file_size(1);
    say(log, std::string(1100, 'x'));
    fs::resize_file(path, 0);
    say(log, "a");
    EXPECT_EQ(linesOf(path), Lines{said("a")});
}

TEST_F(FlatLog, FullDiskDropsLines) {
    const int before = static_cast<int>(support::openDescriptors());
    nuv_flat_log_base* const full = nuv_flat_log_get("/dev/full");
    for (int i = 0; i < 10; ++i)
        say(full, "a");
    nuv_flat_log_release(full);
    EXPECT_EQ(static_cast<int>(support::openDescriptors()), before);
    EXPECT_FALSE(fs::exists("/dev/MyLog.log"));
}

TEST_F(FlatLog, LimitOfFileSizesDropsLines) {
    const auto limit = [](rlim_t bytes) {
        rlimit now;
        getrlimit(RLIMIT_FSIZE, &now);
        now.rlim_cur = bytes;
        if (setrlimit(RLIMIT_FSIZE, &now) != 0) _exit(1);
    };
    EXPECT_EQ(statusOf([&] {
                  say(log, "before");
                  limit(400);  // in the middle of a line
                  for (int i = 0; i < 100; ++i)
                      say(log, "full");
                  limit(RLIM_INFINITY);
                  for (int i = 0; i < 3; ++i)
                      say(log, "after");
              }),
              0);
    const Lines lines = linesOf(path);
    ASSERT_GT(lines.size(), 6u);
    EXPECT_EQ(lines[1], said("before"));
    EXPECT_EQ(lines[2], said("full"));
    EXPECT_EQ(Lines(lines.end() - 3, lines.end()), Lines(3, said("after")));
    // Already above the limit, in a process of its own.
    EXPECT_EQ(statusOf([&] {
                  limit(100);
                  say(log, "full");
                  sigset_t pending;
                  sigpending(&pending);
                  _exit(sigismember(&pending, SIGXFSZ));
              }),
              0);
}

TEST_F(FlatLog, PipeNeitherBlocksNorKills) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const std::string text(16000, 'x');
    for (int i = 0; i < 20; ++i)
        say(log, text);
}

std::vector<std::pair<int, std::string>> reported;

TEST_F(FlatLog, Scope) {
    reported.clear();
    {
        const nuv_flat_log_scope inLog(log, "l", 7, "f", "");
        const nuv_flat_log_scope inCallback(log, "l", 7, "f", "", [](int level, const char* text) {
            reported.emplace_back(level, text);
        });
    }
    EXPECT_EQ(linesOf(path), (Lines{"banner", "[Dbg][l:7 f][Enter]", "[Dbg][l:7 f][Leave]"}));
    const std::string head = "\\[" + kTime + "\\]\\[T:" + std::to_string(gettid()) + "\\]\\[f:7\\]";
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_EQ(reported[0].first, 7);
    EXPECT_TRUE(std::regex_match(reported[0].second, std::regex(head + "Enter f")));
    EXPECT_EQ(reported[1].first, 6);
    EXPECT_TRUE(std::regex_match(reported[1].second, std::regex(head + "Leave f")));
}

}  // namespace
