#include "nuv_flat_log.h"

#include "support/child.h"
#include "support/small_disk.h"
#include "support/system_function.h"
#include "support/test.h"
#include "support/threads.h"

static std::atomic<bool> truncationFails{false};
static std::string unmovable;  // a file that cannot be renamed
static int failedMoves = 0;

extern "C" int rename(const char* from, const char* to) noexcept {
    static const auto real = support::systemFunction("rename", &rename);
    return from == unmovable ? (++failedMoves, errno = EBUSY, -1) : real(from, to);
}
// In the form for sources whose sizes have 64 bits.
extern "C" int ftruncate64(int file, off64_t size) noexcept {
    static const auto real = support::systemFunction("ftruncate64", &ftruncate64);
    return truncationFails ? (errno = EIO, -1) : real(file, size);
}
static std::string interrupted;  // the next opening of this file is interrupted
// By its label, since the headers of an optimized build may define the name.
extern "C" int openFile(const char* path, int flags, ...) asm("open64");
extern "C" int openFile(const char* path, int flags, ...) {
    static const auto real = support::systemFunction("open64", &openFile);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (path != interrupted) return real(path, flags, mode);
    interrupted.clear();
    return errno = EINTR, -1;
}

namespace {

namespace fs = std::filesystem;
using support::contentOf;
using support::statusOf;
using Lines = std::vector<std::string>;

// With "9" for each digit.
std::string shapeOf(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }, '9');
    return text;
}

const std::string kTimeShape = "9999-99-99 99:99:99.999";

// A line without its time and ids, or "banner". A torn or foreign line begins with "?".
std::string textOf(const std::string& line) {
    if (shapeOf(line) == "Scrivo(v9.9) Begin Time:" + kTimeShape) return "banner";
    int process = 0, thread = 0, size = 0;
    std::sscanf(line.c_str() + std::min<std::size_t>(line.size(), 24), "][P:%d/T:%d]%n", &process,
                &thread, &size);
    const bool isWhole = size != 0 && shapeOf(line.substr(0, 24)) == "[" + kTimeShape;
    return isWhole ? line.substr(24 + static_cast<std::size_t>(size)) : "?" + line;
}

Lines linesOf(const fs::path& path) {
    Lines lines;
    std::string content = contentOf(path);
    for (std::size_t end; (end = content.find("\r\n")) != content.npos; content.erase(0, end + 2))
        lines.push_back(textOf(content.substr(0, end)));
    if (!content.empty()) lines.push_back("?" + content);
    return lines;
}

// The call that the logger makes.
void say(nuv_flat_log_base* log, const std::string& text) {
    log->log("", "f", "l", 0, NUV_LOG_INFO, "%s", text.c_str());
}
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
    // The log looks at its file once in a millisecond.
    void sayUntil(const std::function<bool()>& isNoticed) const {
        while (!isNoticed())
            say(log, "again");
    }

    support::TempDir directory;
    std::string path;
    nuv_flat_log_base* log;
};

void limitFileSizes(rlim_t bytes) {
    const rlimit limit = {bytes, RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(1);
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
    log->log(L"", L"fä", L"a\\l", 0, NUV_LOG_INFO, L"%ls %d \xD800", L"€😀", 5);
    log->log("", "f", "l", 0, -1, "a");
    log->level(7);
    log->log("", "f", "l", 0, 7, "a");
    const Lines expected = {"banner",
                            said("100 %s %n\n\nmore"),
                            "[Err][c.cpp:-7 f]5 x%",
                            "[War][call][c.cpp:7 f](null)",
                            "[Dbg][own][l:0 f]a",
                            "[Dbg][own][l:7 f][Enter]",
                            "[Inf][" + std::string(255, 'm') + "][l:0 f]",
                            "[Dbg][l:7 f][Leave]",
                            "[Inf][l:0 fä]Content:€😀 5 \uFFFD",
                            "[Err][l:0 f]a",
                            "[Dbg][l:0 f]a"};
    EXPECT_EQ(linesOf(path), expected);
}

TEST_F(FlatLog, IdsAreThoseOfTheCaller) {
    const auto sayIds = [this] {
        const std::string thread = std::to_string(gettid());
        say(log, thread);
        const std::string ids = "][P:" + std::to_string(getpid()) + "/T:" + thread + "]";
        return contentOf(path).find(ids + said(thread)) != std::string::npos;
    };
    EXPECT_TRUE(sayIds());
    std::thread([&] { EXPECT_TRUE(sayIds()); }).join();
    EXPECT_EQ(statusOf([&] { _exit(!sayIds()); }), 0);
}

TEST_F(FlatLog, FollowsTheTimeZone) {
    const int status = statusOf([this] {
        alarm(30);
        say(log, "in another zone");
        setenv("TZ", "ABC-20", 1);
        sayUntil([this] {
            char hour[20];
            const time_t shifted = time(nullptr) + 20 * 3600;
            strftime(hour, sizeof hour, "\n[%F %H:", std::gmtime(&shifted));
            return contentOf(path).find(hour) != std::string::npos;
        });
    });
    EXPECT_EQ(status, 0);
}

TEST_F(FlatLog, LeavesOut) {
    log->log(nullptr, "f", "l", 0, NUV_LOG_INFO, "a");
    log->log("", nullptr, "l", 0, NUV_LOG_INFO, "a");
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

TEST_F(FlatLog, LongLinesAreCut) {
    say(log, "");
    auto before = static_cast<std::size_t>(fs::file_size(path));
    const std::size_t head = before - contentOf(path).find("\r\n") - 2;
    const auto added = [&] {
        return fs::file_size(path) - std::exchange(before, fs::file_size(path));
    };
    for (const std::size_t size : {2000u, 2048u, 2100u, 16383u, 16384u, 16385u, 100000u}) {
        const std::string text(size - head, 'x');
        say(log, text);
        EXPECT_EQ(added(), std::min<std::size_t>(size, 16384));
        log->log("", "f", "l", 0, NUV_LOG_INFO, "%s%d", text.c_str(), 1);
        EXPECT_EQ(added(), std::min<std::size_t>(size + 1, 16384));
    }
    log->log(L"", L"f", L"l", 0, NUV_LOG_INFO, L"%ls", std::wstring(9000, L'ä').c_str());
    EXPECT_EQ(linesOf(path).back().substr(16000).find_first_not_of("ä"), std::string::npos);
    EXPECT_GE(added(), 16383u);
    log->log("", std::string(20000, 'f').c_str(), "l", 0, NUV_LOG_INFO, "a");
    EXPECT_EQ(added(), 16384u);
}

TEST_F(FlatLog, LineTakesNoMemoryAndKeepsErrno) {
    say(log, "first");
    const support::AllocationCounter counter;
    errno = EXDEV;
    log->log("", "f", "l", 0, NUV_LOG_INFO, "%s", "short");
    log->log("", "f", "l", 0, NUV_LOG_INFO, "%2000d", 1);
    log->log(L"", L"f", L"l", 0, NUV_LOG_INFO, L"wide");
    EXPECT_EQ(counter.allocations(), 0u);
    nuv_flat_log_release(log);
    nuv_flat_log_get(directory.path("file/x.log").c_str());
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(FlatLog, Names) {
    const fs::path work = fs::canonical(directory.path());
    const fs::path program = fs::canonical("/proc/self/exe").parent_path();
    const std::string plain = "flat_log_test." + std::to_string(getpid()) + ".log";
    directory.file("file", "");
    fs::create_directory(work / "taken.log");
    const std::pair<std::string, fs::path> cases[] = {
        {plain, program / plain},
        {"a/b\\c.log", work / "a/b/c.log"},
        {work / "d\\e/f.log", work / "d/e/f.log"},
        {work / "taken.log", work / "MyLog.log"},
        {"file/x.log", work / "Log/MyLog.log"},
        {std::string(260, 'n') + "/x.log", work / "Log/MyLog.log"},
    };
    for (const auto& [name, file] : cases) {
        const int status = statusOf([&given = name, &work] {
            if (chdir(work.c_str()) != 0) _exit(1);
            nuv_flat_log_base* const named = nuv_flat_log_get(given.c_str());
            if (chdir("/") != 0) _exit(1);
            say(named, given);
        });
        EXPECT_EQ(status, 0);
        EXPECT_EQ(linesOf(file), (Lines{"banner", said(name)}));
        fs::remove(file);
    }
}

TEST_F(FlatLog, RotatesAtTheLimit) {
    log->max_file_size(1);
    log->max_file_size(0);
    say(log, "");
    const auto least = static_cast<std::size_t>(fs::file_size(path));
    for (const std::size_t size : {1023u, 1024u}) {
        fs::remove(path);
        nuv_flat_log_release(log);
        say(log, std::string(size - least, 'x'));
        say(log, "next");
        EXPECT_EQ(fs::exists(directory.path("my_1.log")), size == 1024);
    }
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("next")}));
    EXPECT_EQ(fs::file_size(directory.path("my_1.log")), 1024u);
}

TEST_F(FlatLog, RotationMovesOldFiles) {
    using Names = std::map<std::string, std::string>;  // the old ones by the new ones
    const struct {
        int count;
        Lines before;
        Names after;
    } cases[] = {
        {3, {"1", "2", "3"}, {{"1", "my.log"}, {"2", "1"}, {"3", "2"}}},
        {3, {"2"}, {{"1", "my.log"}, {"3", "2"}}},
        // Left by a higher count: only the file with the count as its number is removed.
        {1, {"1", "2", "10"}, {{"1", "my.log"}, {"3", "2"}, {"11", "10"}}},
    };
    const Lines others = {"my_.log",    "my_0.log",  "my_01.log", "my_1.txt",
                          "my_1x.log",  "my1.log",   "omy_1.log", "my_4294967295.log",
                          "my_1.2.log", "my_1.log.", "my_1",      "my_99999999999.log"};
    log->max_file_size(1);
    for (const auto& c : cases) {
        for (const std::string& name : names())
            fs::remove(directory.path(name));
        nuv_flat_log_release(log);
        for (const std::string& number : c.before)
            directory.file("my_" + number + ".log", number);
        for (const std::string& name : others)
            directory.file(name, name);
        directory.file("my.log", "my.log" + std::string(1024, ' '));
        log->max_file_count(c.count);
        log->max_file_count(-1);
        say(log, "last");
        say(log, "first");
        EXPECT_EQ(linesOf(path), (Lines{"banner", said("first")}));
        Names after;
        for (const std::string& name : names()) {
            const std::string content = contentOf(directory.path(name));
            if (std::find(others.begin(), others.end(), name) != others.end()) {
                EXPECT_EQ(content, name);
            } else if (name != "my.log") {
                after[name.substr(3, name.size() - 7)] = content.substr(0, content.find(' '));
            }
        }
        EXPECT_EQ(after, c.after);
    }
}

// Each second has one try. All tries together lose one old file.
TEST_F(FlatLog, FileThatCannotBeRotatedGrows) {
    log->max_file_size(1);
    log->max_file_count(3);
    directory.file("my_1.log", "1");
    directory.file("my_2.log", "2");
    fs::create_directories(directory.path("my_3.log/inside"));  // cannot be removed
    const auto sayMore = [this] {
        for (int i = 0; i < 100; ++i)
            say(log, "more");
    };
    say(log, std::string(1100, 'x'));
    sayMore();
    EXPECT_EQ(linesOf(path).size(), 102u);
    fs::remove_all(directory.path("my_3.log"));
    for (const std::string& stuck : {directory.path("my_1.log"), path}) {
        unmovable = stuck;
        failedMoves = 0;
        sayUntil([] { return failedMoves != 0; });
    }
    sayMore();
    EXPECT_LT(failedMoves, 50);
    unmovable.clear();
    sayUntil([&] { return fs::exists(directory.path("my_1.log")); });
    EXPECT_EQ(contentOf(directory.path("my_2.log")), "1");
    EXPECT_EQ(contentOf(directory.path("my_3.log")), "2");
    EXPECT_EQ(names().size(), 4u);
}

// Each line of all writers is in one of the files, whole and once.
TEST_F(FlatLog, ThreadsAndKilledProcessesLoseNoLine) {
    log->max_file_size(8);
    log->max_file_count(1000);
    const auto numbered = [](int writer, int i) {
        return std::to_string(writer) + " " + std::to_string(i);
    };
    const auto write = [&](int writer) {
        for (int i = 0; i < 500; ++i)
            say(log, numbered(writer, i));
    };
    write(0);  // opens the file for all
    std::vector<pid_t> children;
    for (int writer = 1; writer < 5; ++writer) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        write(writer);
        raise(SIGKILL);
    }
    support::inThreads(8, [&](int i) { write(5 + i); });
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, SIGKILL);
    }
    std::multiset<std::string> expected, seen;
    for (int i = 0; i < 13 * 500; ++i)
        expected.insert(said(numbered(i / 500, i % 500)));
    for (const std::string& name : names()) {
        for (const std::string& line : linesOf(directory.path(name)))
            seen.insert(line);
    }
    seen.erase("banner");
    EXPECT_EQ(seen, expected);
}

// The C library has a lock for the time zone.
TEST_F(FlatLog, WorksInAForkedChild) {
    const auto use = [this] {
        const nuv_flat_log_scope inCallback(log, "l", 7, "f", "", [](int, const char*) {});
        return true;
    };
    EXPECT_EQ(support::statusBesideThread(use, false), 0);
}

TEST_F(FlatLog, OneProcessRotates) {
    log->max_file_size(1);
    say(log, std::string(1100, 'x'));
    const int file = open(path.c_str(), O_RDWR);
    EXPECT_EQ(lockf(file, F_TLOCK, 0), 0);
    EXPECT_EQ(statusOf([&] { say(log, "child"); }), 0);
    EXPECT_EQ(linesOf(path).back(), said("child"));
    close(file);
    say(log, "a");
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("a")}));
}

void closeDescriptorsOf(const std::string& path) {
    for (int file = 3; file < 100; ++file) {
        std::error_code none;
        if (fs::read_symlink("/proc/self/fd/" + std::to_string(file), none) == path) close(file);
    }
}

TEST_F(FlatLog, IsReopenedWhenItsFileIsLost) {
    log = nuv_flat_log_get((path = directory.path("inner/my.log")).c_str());
    directory.file("new", "");
    const std::function<void()> harms[] = {
        [&] { fs::remove(path); },
        [&] { fs::rename(path, directory.path("elsewhere")); },
        [&] { fs::remove_all(directory.path("inner")); },
        [&] { fs::rename(directory.path("new"), path); },
        [&] {
            closeDescriptorsOf(path);
            fs::remove(path);
        },
    };
    for (const auto& harm : harms) {
        say(log, "before");
        harm();
        sayUntil([&] { return fs::exists(path) && fs::file_size(path) != 0; });
        EXPECT_EQ(linesOf(path), (Lines{"banner", said("again")}));
    }
    closeDescriptorsOf(path);
    say(log, "kept");
    EXPECT_EQ(linesOf(path).back(), said("kept"));
    // Another file gets the descriptor's number.
    closeDescriptorsOf(path);
    std::ofstream other(directory.path("other"), std::ios::app);
    sayUntil([&] { return linesOf(path).back() == said("again"); });
    other << "still open" << std::flush;
    EXPECT_TRUE(contentOf(directory.path("other")).ends_with("still open"));
}

constexpr uid_t kNobody = 65534;

TEST_F(FlatLog, HasTheRightsOfTheEffectiveUser) {
    if (geteuid() != 0) GTEST_SKIP() << "no right to be another user";
    fs::create_directory(directory.path("inner"));
    path = directory.path("inner/my.log");
    const int status = statusOf([this] {
        if (setresuid(kNobody, 0, 0) != 0) _exit(1);
        say(nuv_flat_log_get(path.c_str()), "a");
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("a")}));
}

TEST_F(FlatLog, IsOpenedAgainAfterAnInterruption) {
    interrupted = path;
    say(log, "a");
    EXPECT_EQ(interrupted, "");
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("a")}));
}

TEST_F(FlatLog, StaysOpenWhenItsDirectoryIsClosedToTheProcess) {
    if (geteuid() != 0) GTEST_SKIP() << "no rights that could be given up";
    say(log, "before");
    const int status = statusOf([this] {
        if (setuid(kNobody) != 0 || access(path.c_str(), F_OK) == 0) _exit(1);
        // The log looks at its file once in a millisecond.
        using Clock = std::chrono::steady_clock;
        for (const auto end = Clock::now() + std::chrono::milliseconds(3); Clock::now() < end;)
            say(log, "after");
    });
    EXPECT_EQ(status, 0);
    const Lines lines = linesOf(path);
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()),
              (std::set<std::string>{"banner", said("before"), said("after")}));
}

TEST_F(FlatLog, LeavesTheDescriptorsOfTheStandardStreamsFree) {
    const int status = statusOf([this] {
        for (int file = 0; file < 3; ++file)
            close(file);
        say(log, "a");
        for (int file = 0; file < 3; ++file) {
            if (fcntl(file, F_GETFD) != -1) _exit(1);
        }
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(linesOf(path), (Lines{"banner", said("a")}));
}

TEST_F(FlatLog, TruncatedFileIsNotRotated) {
    log->max_file_size(1);
    say(log, std::string(1100, 'x'));
    fs::resize_file(path, 0);
    say(log, "a");
    EXPECT_EQ(linesOf(path), Lines{said("a")});
}

TEST_F(FlatLog, DropsLinesThatCannotBeWritten) {
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);  // without a reader
    const unsigned before = support::openDescriptors();
    for (nuv_flat_log_base* const to : {log, nuv_flat_log_get("/dev/full")}) {
        for (int i = 0; i < 20; ++i)
            say(to, std::string(16000, 'x'));
        nuv_flat_log_release(to);
    }
    EXPECT_EQ(support::openDescriptors(), before);
}

// The beginning of a line that does not fit is removed again. If it cannot be, it stays, and the
// next line ends it first, so that no other line is cut.
TEST_F(FlatLog, LimitOfFileSizesDropsLines) {
    constexpr std::size_t kTorn = 10;
    for (const bool staysTorn : {false, true}) {
        const int status = statusOf([&] {
            say(log, "before");
            limitFileSizes(static_cast<rlim_t>(fs::file_size(path)) + kTorn);
            truncationFails = staysTorn;
            // For the second one not even the line end after a torn one can be written.
            say(log, "cut");
            say(log, "dropped");
            limitFileSizes(RLIM_INFINITY);
            say(log, "after");
            say(log, "last");
            sigset_t blocked;
            pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
            _exit(sigismember(&blocked, SIGXFSZ));
        });
        EXPECT_EQ(status, 0);
        Lines lines = linesOf(path);
        if (staysTorn) {
            ASSERT_EQ(lines.size(), 5u) << contentOf(path);
            EXPECT_EQ(lines[2].size(), 1 + kTorn);
            lines.erase(lines.begin() + 2);
        }
        EXPECT_EQ(lines, (Lines{"banner", said("before"), said("after"), said("last")}));
        fs::remove(path);
    }
    // A file that is open, and then one that is opened, are beyond the limit from the beginning.
    say(log, "before");
    const auto drop = [this] {
        limitFileSizes(10);
        say(log, "dropped");
    };
    EXPECT_EQ(statusOf(drop), 0);
    nuv_flat_log_release(log);
    EXPECT_EQ(statusOf(drop), 0);
}

// Each line in the files is whole, however often the disk is full and has room again. The smaller
// limit makes the log rotate.
TEST_F(FlatLog, FullDiskCutsNoLine) {
    for (const int kilobytes : {10000, 100}) {
        const support::SmallDisk disk;
        if (!disk.isThere()) GTEST_SKIP() << "no right to mount a file system";
        nuv_flat_log_base* const onDisk = nuv_flat_log_get(disk.path("my.log").c_str());
        onDisk->max_file_size(kilobytes);
        onDisk->max_file_count(30);
        const std::string other = disk.path("other");
        std::set<std::string> unseen;
        const auto sayNext = [&](const std::string& text) {
            const std::string numbered = std::to_string(unseen.size()) + text;
            say(onDisk, numbered);
            unseen.insert(said(numbered));
        };
        for (unsigned round = 0; round < 5; ++round) {
            std::ofstream(other) << std::string(300000 + 1000 * round, 'x');
            while (disk.free() != 0 || unseen.size() < 500 * (round + 1))
                sayNext(std::string(700, 'y'));
            fs::remove(other);
            sayNext("room again");
        }
        nuv_flat_log_release(onDisk);
        int files = 0;
        for (const auto& entry : fs::directory_iterator(disk.path(""))) {
            ++files;
            for (const std::string& line : linesOf(entry.path()))
                EXPECT_TRUE(line == "banner" || unseen.erase(line) == 1) << line;
        }
        std::erase_if(unseen, [](const std::string& line) { return line.ends_with("y"); });
        EXPECT_EQ(unseen, std::set<std::string>());
        EXPECT_EQ(files > 1, kilobytes == 100);
    }
}

TEST_F(FlatLog, Scope) {
    static Lines reported;
    reported.clear();
    {
        const nuv_flat_log_scope inLog(log, "l", 7, "f", "");
        const nuv_flat_log_scope inCallback(log, "l", 7, "f", "", [](int level, const char* text) {
            reported.push_back(std::to_string(level) + text);
            throw std::runtime_error("dropped");
        });
    }
    EXPECT_EQ(linesOf(path), (Lines{"banner", "[Dbg][l:7 f][Enter]", "[Dbg][l:7 f][Leave]"}));
    const std::string thread = "][T:" + std::to_string(gettid()) + "][f:7]";
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_EQ(shapeOf(reported[0]), shapeOf("7[" + kTimeShape + thread + "Enter f"));
    EXPECT_EQ(reported[0].substr(25), thread + "Enter f");
    EXPECT_EQ(reported[1][0] + reported[1].substr(25), "6" + thread + "Leave f");
}

}  // namespace
