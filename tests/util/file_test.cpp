#include "qor/util/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>
#include <vector>

#include "support/allocation.h"
#include "support/hex.h"
#include "support/temp_dir.h"

namespace qor {
namespace {

using support::TempDir;

std::string contentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Can be read and written without waiting for anybody.
std::wstring fifo(const TempDir& dir) {
    EXPECT_EQ(::mkfifo(dir.path("fifo").c_str(), 0600), 0);
    return dir.wide(L"fifo");
}

TEST(File, LinesEndWithLfCrAndCrLf) {
    const TempDir dir;
    const struct {
        const char* content;
        std::vector<std::pair<String, bool>> lines;
    } files[] = {
        {"a\r\nb\nc\rd", {{"a", true}, {"b", true}, {"c", true}, {"d", false}, {"", false}}},
        {"\r\r\n\n\r", {{"", true}, {"", true}, {"", true}, {"", true}, {"", false}}},
        {"a\r", {{"a", true}, {"", false}}},
        {"", {{"", false}}},
    };
    for (const auto& [content, lines] : files) {
        const FileReader file(dir.file("lines", content));
        for (const auto& [text, ended] : lines) {
            String line("old");
            EXPECT_EQ(file.readLine(line), ended) << content;
            EXPECT_EQ(line, text) << content;
        }
    }
}

// Whatever is read at once, the position is right behind the line end.
TEST(File, LongLinesEndWhereTheirLineEndIs) {
    const TempDir dir;
    for (const std::size_t border : {512U, 512U + 4096U, 512U + 2 * 4096U}) {
        for (std::size_t size = border - 2; size <= border + 1; ++size) {
            for (const std::string end : {"\n", "\r", "\r\n"}) {
                const std::string text(size, 'x');
                const FileReader file(dir.file("long", text + end + "yz"));
                String line;
                EXPECT_TRUE(file.readLine(line));
                EXPECT_EQ(line, text);
                EXPECT_EQ(file.readByte(), 'y');
                EXPECT_EQ(file.advance(0), static_cast<long long>(size + end.size() + 1));
            }
        }
    }
}

TEST(File, WideLinesAreUtf16) {
    const TempDir dir;
    const struct {
        const char* content;
        std::vector<std::pair<std::wstring, bool>> lines;
        long long end;
    } files[] = {
        {"61 00 0D 00 0A 00 0A 0D 0D 00 62 00",
         {{L"a", true}, {L"\u0D0A", true}, {L"b", false}},
         12},
        {"3D D8 00 DE 0A 00 3D D8 0A 00 00 DE",
         {{L"\U0001F600", true}, {L"\uFFFD", true}, {L"\uFFFD", false}},
         12},
        {"FF FE 61 00 0A", {{L"\uFEFFa", false}, {L"", false}}, 4},
    };
    for (const auto& [content, lines, end] : files) {
        const FileReader file(dir.file("wide", std::string_view(istr(support::bytes(content)))));
        for (const auto& [text, ended] : lines) {
            std::wstring line = L"old";
            EXPECT_EQ(file.readLine(line), ended) << content;
            EXPECT_EQ(line, text) << content;
        }
        EXPECT_EQ(file.advance(0), end);
    }
}

TEST(File, ReadsWhatIsAskedFor) {
    const TempDir dir;
    const File file(dir.file("five", "12345"));
    Bytes bytes(istr("abc"), 3, 0);
    EXPECT_TRUE(file.read(bytes, npos));
    EXPECT_EQ(bytes, "123");
    EXPECT_EQ(file.putback(1), 2);
    EXPECT_EQ(file.readByte(), '3');
    EXPECT_EQ(file.putback(1), 2);
    EXPECT_EQ(file.readByte(), '3');
    EXPECT_TRUE(file.read(bytes, 9));
    EXPECT_EQ(bytes, "45");
    EXPECT_TRUE(file.read(bytes, 9));
    EXPECT_TRUE(bytes.empty());
    EXPECT_EQ(file.readByte(), -1);
    EXPECT_EQ(file.seekEnd(-2), 3);
    String text;
    EXPECT_TRUE(file.read(text, 1));
    EXPECT_EQ(text, "4");
    EXPECT_EQ(file.seek(-1, SeekWhence::Begin), -1);
    EXPECT_EQ(file.putback(9), -1);
    EXPECT_EQ(file.putback(std::numeric_limits<long long>::min()), -1);
    EXPECT_EQ(file.advance(0), 4);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(file.readAll(bytes));
        EXPECT_EQ(bytes, "12345");
        EXPECT_TRUE(file.readAll(text));
        EXPECT_EQ(text, "12345");
    }
    EXPECT_THROW(file.read(bytes, 1UL << 32), std::bad_alloc);
    EXPECT_EQ(bytes, "12345");
}

TEST(File, OpensByItsOwnNumbersAndNames) {
    const TempDir dir;
    const std::wstring name = dir.wide() + L"\\\u00e9\U0001F600";
    const std::string path = dir.path("é😀");
    EXPECT_FALSE(File(name, OpenReadWrite).valid());
    EXPECT_FALSE(File(name, 3 | OpenCreate).valid());
    const mode_t mask = ::umask(0022);
    EXPECT_TRUE(File(name, 1 | 0x100 | 0x8000).write("abc"));
    ::umask(mask);
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0644U);

    File file(name, OpenReadWrite | OpenCreate);
    EXPECT_EQ(file.filename(), name);
    EXPECT_EQ(file.readByte(), 'a');
    EXPECT_TRUE(file.write("B"));
    EXPECT_TRUE(file.append("\n"));
    EXPECT_EQ(contentOf(path), "aBc\n");
    EXPECT_FALSE(FileReader(name).write("x"));
    EXPECT_EQ(FileWriter(name, true).readByte(), -1);
    EXPECT_EQ(file.filesize(), 0);
    EXPECT_EQ(File::open_read_write_trunc(true, 1), 513);
    EXPECT_EQ(FileReadWriter(false).filename(), L"");
}

TEST(File, ProgramsThatAreStartedGetNoHandle) {
    const TempDir dir;
    const int next = ::dup(0);
    ::close(next);
    const File file(dir.file("a", ""));
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
}

TEST(File, CopiesHaveTheirOwnHandleAndDestroyNothing) {
    const TempDir dir;
    FileReadWriter first(dir.wide(L"a"), true);
    EXPECT_TRUE(first.write("abc"));
    FileReadWriter copy(first);
    EXPECT_EQ(copy.readByte(), 'a');
    EXPECT_EQ(first.advance(0), 3);
    EXPECT_EQ(first.filesize(), 3);
    copy = *&copy;
    EXPECT_EQ(copy.readByte(), 'b');

    File other(dir.file("b", "other"));
    const unsigned before = support::openDescriptors();
    other = first;
    EXPECT_EQ(other.readByte(), 'a');
    EXPECT_EQ(support::openDescriptors(), before);
    EXPECT_TRUE(first.close());
    other = first;
    EXPECT_FALSE(other.valid());
    EXPECT_EQ(other.filename(), dir.wide(L"a"));
    const FileReadWriter moved(std::move(copy));
    EXPECT_EQ(moved.readByte(), 'c');
    EXPECT_TRUE(first.reopen());
    EXPECT_EQ(moved.filesize(), 0);
}

TEST(File, WritesTextInTheCodePageAsked) {
    const TempDir dir;
    FileReadWriter file(dir.wide(L"a"), true);
    EXPECT_TRUE(file.writeLine(L"\u00e9", 1252));
    EXPECT_TRUE(file.writeLine(L"\u00e9", -1, "|"));
    EXPECT_TRUE(file.writeLine("x"));
    EXPECT_TRUE(file.writeLine(L""));
    EXPECT_EQ(contentOf(dir.path("a")), "\xE9\r\né|x\r\n\r\n");
    errno = 0;
    EXPECT_FALSE(file.writeLine(L"y", 4711));
    EXPECT_EQ(errno, EINVAL);
    std::wstring wide;
    EXPECT_TRUE(file.readAll(wide));
    EXPECT_EQ(wide, L"\uFFFD\r\n\u00e9|x\r\n\r\n");
    EXPECT_GE(file.rewind(3), 3);
    EXPECT_TRUE(file.read(wide, 3));
    EXPECT_EQ(wide, L"\u00e9|");
    EXPECT_TRUE(file.truncate(1));
    EXPECT_FALSE(file.truncate(-1));
    EXPECT_TRUE(file.flush());
    EXPECT_EQ(file.filesize(), 1);
}

TEST(File, SizesAndPositionsHave64Bits) {
    const TempDir dir;
    FileReadWriter file(dir.wide(L"sparse"), true);
    constexpr long long size = 5LL << 30;
    ASSERT_TRUE(file.truncate(size));
    EXPECT_EQ(file.seekEnd(-1), size - 1);
    EXPECT_TRUE(file.write("xy"));
    EXPECT_EQ(file.putback(2), size - 1);
    EXPECT_EQ(file.readByte(), 'x');
    EXPECT_EQ(file.filesize(), size + 1);
    Bytes bytes(istr("old"));
    String text("old");
    std::wstring wide(L"old");
    errno = 0;
    EXPECT_FALSE(file.readAll(bytes) || file.readAll(text) || file.readAll(wide));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_TRUE(bytes.empty() && text.empty() && wide.empty());
}

TEST(File, FailuresAreResultsAndLeaveNoHandle) {
    const TempDir dir;
    const std::wstring present = dir.file("present", "x");
    ASSERT_EQ(::symlink("loop", dir.path("loop").c_str()), 0);
    const struct {
        std::wstring name;
        int error;
    } names[] = {
        {L"", ENOENT},
        {dir.wide(L"absent"), ENOENT},
        {dir.wide(), EISDIR},
        {present + L"/x", ENOTDIR},
        {dir.wide(L"loop"), ELOOP},
        {dir.wide(std::wstring(256, L'x')), ENAMETOOLONG},
        {present + std::wstring(1, L'\0'), ENOENT},
        {dir.wide(L"\xD800"), ENOENT},
    };
    dir.file("\uFFFD", "another one");
    const unsigned before = support::openDescriptors();
    for (const auto& [name, error] : names) {
        File file(OpenRead);
        errno = 0;
        EXPECT_FALSE(file.open(name));
        EXPECT_EQ(errno, error);
        errno = 0;
        EXPECT_EQ(file.filesize(), -1);
        EXPECT_EQ(errno, error);
        Bytes bytes(istr("old"));
        String text("old");
        EXPECT_FALSE(file.read(bytes, 1) || file.read(text, 1) || !bytes.empty() || !text.empty());
        text = "old";
        EXPECT_FALSE(file.readAll(bytes) || file.readLine(text) || !text.empty());
        EXPECT_FALSE(file.write("") || file.append("x") || file.writeLine("x"));
        EXPECT_FALSE(file.truncate(0) || file.flush() || file.close());
        EXPECT_EQ(file.readByte() + file.rewind(0) + file.seekEnd(0), -3);
    }
    EXPECT_EQ(support::openDescriptors(), before);
    EXPECT_EQ(File(OpenRead).open(present), true);
    EXPECT_EQ(File().filesize(), -1);
    File closed(present);
    closed.close();
    EXPECT_EQ(closed.filesize(), 1);

    // A process has nothing at its address 0.
    const File unreadable(L"/proc/self/mem");
    ASSERT_TRUE(unreadable.valid());
    String text("old");
    EXPECT_FALSE(unreadable.read(text, 1) || unreadable.readLine(text) || !text.empty());
    File full(L"/dev/full", OpenWrite);
    EXPECT_FALSE(full.write("x"));
    EXPECT_EQ(errno, ENOSPC);
}

TEST(File, MemoryThatRunsOutLeavesTargetAndPosition) {
    const TempDir dir;
    File file(dir.file("a", "x" + std::string(10000, 'y') + "\n"));
    EXPECT_EQ(file.rewind(1), 1);
    String text("old");
    std::wstring wide(L"old");
    const auto unchanged = [&] {
        EXPECT_EQ(file.advance(0), 1);
        EXPECT_EQ(text, "old");
        EXPECT_EQ(wide, L"old");
    };
    const auto operations = [&] {
        String line = text;
        std::wstring wideLine = wide;
        if (!file.read(line, 100) || file.rewind(1) < 0) return;
        if (!file.read(wideLine, 5000) || file.rewind(1) < 0) return;
        if (!file.readAll(wideLine) || file.rewind(1) < 0) return;
        if (file.readLine(wideLine) || file.rewind(1) < 0) return;
        if (!file.readLine(line)) return;
        text.swap(line);
    };
    EXPECT_GT(support::failEachAllocation(operations, unchanged), 5U);
    EXPECT_EQ(text.size(), 10000U);
    const File other(dir.file("b", ""));
    support::failEachAllocation([&] { file = other; }, [&] { EXPECT_EQ(file.readByte(), -1); });
    EXPECT_EQ(file.filename(), other.filename());
}

TEST(File, PipesAreReadByLinesWithoutBeingReadAhead) {
    const TempDir dir;
    File pipe(fifo(dir), OpenReadWrite);
    EXPECT_TRUE(pipe.write("a\r\nb\nc\rd"));
    String line;
    EXPECT_TRUE(pipe.readLine(line) && line == "a");
    EXPECT_TRUE(pipe.readLine(line) && line == "b");
    // The "d" can't be put back.
    EXPECT_FALSE(pipe.readLine(line));
    EXPECT_EQ(line, "c");
    EXPECT_FALSE(pipe.append("x"));
    // What is there, and no waiting for more.
    EXPECT_TRUE(pipe.write("xy"));
    EXPECT_TRUE(pipe.read(line, 10));
    EXPECT_EQ(line, "xy");
}

TEST(File, PipesThatNobodyReadsFailAndRaiseNoSignal) {
    const TempDir dir;
    const std::wstring name = fifo(dir);
    const int reader = ::open(dir.path("fifo").c_str(), O_RDONLY | O_NONBLOCK);
    File pipe(name, OpenWrite);
    ::close(reader);
    EXPECT_FALSE(pipe.write("x"));
    EXPECT_EQ(errno, EPIPE);
    // The size of a name is found without an other end.
    EXPECT_TRUE(pipe.close());
    EXPECT_EQ(pipe.filesize(), 0);
    sigset_t signals;
    sigpending(&signals);
    EXPECT_EQ(sigismember(&signals, SIGPIPE), 0);
    pthread_sigmask(SIG_SETMASK, nullptr, &signals);
    EXPECT_EQ(sigismember(&signals, SIGPIPE), 0);
}

std::atomic<int> signalsSeen;

TEST(File, SignalsInterruptNothing) {
    struct sigaction counting = {};
    counting.sa_handler = [](int) { ++signalsSeen; };
    struct sigaction before;
    ASSERT_EQ(::sigaction(SIGUSR1, &counting, &before), 0);
    const TempDir dir;
    File pipe(fifo(dir), OpenReadWrite);
    int byte = 0;
    std::thread reader([&] { byte = pipe.readByte(); });
    while (signalsSeen < 100)
        ::pthread_kill(reader.native_handle(), SIGUSR1);
    File(pipe).write("x");
    reader.join();
    EXPECT_EQ(byte, 'x');
    ::sigaction(SIGUSR1, &before, nullptr);
}

}  // namespace
}  // namespace qor
