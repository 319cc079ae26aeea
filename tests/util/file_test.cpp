#include "qor/util/file.h"

#include "support/test.h"

namespace qor {
namespace {

// For reading and writing: its open does not wait for another end.
std::wstring fifo(const TempDir& dir) {
    EXPECT_EQ(::mkfifo(dir.path("fifo").c_str(), 0600), 0);
    return dir.wide(L"fifo");
}

TEST(File, WideLinesAreUtf16) {
    const TempDir dir;
    const Bytes content = bytes("FF FE 3D D8 00 DE 0A 00 3D D8 0A 00 00 DE 0A");
    const FileReader file(dir.file("wide", std::string_view(istr(content))));
    std::wstring lines, line;
    while (file.readLine(line))
        lines += line + L'|';
    EXPECT_EQ(lines + line, L"\uFEFF\U0001F600|\uFFFD|\uFFFD");
    EXPECT_EQ(file.advance(0), 14);
    EXPECT_FALSE(file.readLine(line) || !line.empty());
}

// A file and its position as plain memory.
struct ModelFile {
    std::string content;
    std::size_t position = 0;

    std::string take(std::size_t n) {
        const std::string taken = content.substr(std::min(position, content.size()), n);
        position += taken.size();
        return taken;
    }
    // A character of one byte, or of two; -1 at the end.
    int next(std::size_t unit) const {
        if (position + unit > content.size()) return -1;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(content.data() + position);
        return unit == 1 ? bytes[0] : bytes[0] | bytes[1] << 8;
    }
    template <class Text>
    bool readLine(Text& line) {
        constexpr std::size_t unit = sizeof(typename Text::value_type) == 1 ? 1 : 2;
        for (line.clear(); next(unit) >= 0; position += unit) {
            const bool isCr = next(unit) == '\r';
            if (isCr) position += unit;
            const bool isLf = next(unit) == '\n';
            if (isLf) position += unit;
            if (isCr || isLf) return true;
            line += static_cast<typename Text::value_type>(next(unit));
        }
        return false;
    }
    void write(const std::string& text) {
        if (content.size() < position + text.size()) content.resize(position + text.size());
        content.replace(position, text.size(), text);
        position += text.size();
    }
};

// Reading ahead is not visible, except in what another handle writes there.
TEST(File, BehavesLikePlainMemory) {
    constexpr std::size_t kAhead = 16384;
    const TempDir dir;
    std::mt19937 random(5);
    const auto upTo = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    // Few zeros, so that wide lines end too; some lines are longer than what is read ahead at once.
    const auto text = [&] {
        std::string made(upTo(4) != 0 ? upTo(60) : upTo(6000), 'x');
        for (char& c : made)
            c = "abcdefgh\r\n"[upTo(40) != 0 ? upTo(8) : 8 + upTo(2)];
        if (upTo(30) == 0) made.append(3 * kAhead, 'x');
        const char* const ends[] = {"\r", "\n", "\r\n", "\r\r\n"};
        const std::string end = ends[upTo(4)];
        if (upTo(2) == 0) return made + end;
        std::string wide;
        for (const char c : made + end)
            (wide += c) += '\0';
        return wide;
    };
    FileReadWriter file(dir.wide(L"model"), true);
    FileReadWriter other(dir.wide(L"model"), false);
    ModelFile model;
    String line;
    std::string expected;
    std::wstring wide, expectedWide;
    for (int step = 0; step < 8000; ++step) {
        const std::size_t n = upTo(3) != 0 ? upTo(50) : upTo(20000);
        const std::size_t size = model.content.size();
        const unsigned what = static_cast<unsigned>(upTo(30));
        SCOPED_TRACE(testing::Message() << "step " << step << ", operation " << what);
        if (what < 10) {
            ASSERT_EQ(file.readLine(line), model.readLine(expected));
            ASSERT_EQ(line, expected);
        } else if (what < 14) {
            ASSERT_EQ(file.readLine(wide), model.readLine(expectedWide));
            ASSERT_EQ(wide, expectedWide);
        } else if (what < 16) {
            ASSERT_TRUE(file.read(line, n));
            ASSERT_EQ(line, model.take(n));
        } else if (what == 16) {
            const std::string byte = model.take(1);
            ASSERT_EQ(file.readByte(), byte.empty() ? -1 : static_cast<unsigned char>(byte[0]));
        } else if (what == 17) {
            ASSERT_EQ(file.rewind(static_cast<long long>(n)), static_cast<long long>(n));
            model.position = n;
        } else if (what == 18) {
            const std::size_t back = std::min(n, model.position);
            ASSERT_EQ(file.putback(static_cast<long long>(back)), model.position - back);
            model.position -= back;
            ASSERT_EQ(file.putback(static_cast<long long>(model.position) + 1), -1);
        } else if (what == 19) {
            ASSERT_EQ(file.advance(static_cast<long long>(n)), model.position + n);
            model.position += n;
        } else if (what < 22) {
            const std::string written = text();
            ASSERT_TRUE(file.write(istr(written)));
            model.write(written);
        } else if (what < 25 && size >= 50000) {
            ASSERT_TRUE(file.truncate(1000));
            model.content.resize(1000);
        } else if (what < 25) {
            const std::string written = text();
            ASSERT_TRUE(file.append(istr(written)));
            model.position = size;
            model.write(written);
        } else if (what == 25) {
            ASSERT_TRUE(file.readAll(line));
            ASSERT_EQ(line, model.content);
            model.position = size;
        } else if (what < 28) {
            // To a place that cannot have been read ahead.
            const std::string written = text();
            const std::size_t there = std::max(size, model.position + kAhead);
            if (what == 27 && model.position < size) continue;
            const std::size_t to = what == 26 ? there : size;
            ASSERT_EQ(other.rewind(static_cast<long long>(to)), static_cast<long long>(to));
            ASSERT_TRUE(other.write(istr(written)));
            const std::size_t position = std::exchange(model.position, to);
            model.write(written);
            model.position = position;
        } else if (what == 28) {
            FileReadWriter moved(std::move(file));
            file = std::move(moved);
        } else {
            file = FileReadWriter(static_cast<const FileReadWriter&>(file));
            model.position = 0;
        }
        ASSERT_EQ(file.advance(0), model.position);
        ASSERT_EQ(file.filesize(), model.content.size());
    }
}

TEST(File, ReadsTheGivenSize) {
    const TempDir dir;
    const File file(dir.file("five", "12345"));
    Bytes bytes(istr("abc"), 3, 0);
    EXPECT_TRUE(file.read(bytes, npos) && bytes == "123");
    EXPECT_EQ(file.seekEnd(-2), 3);
    EXPECT_TRUE(file.read(bytes, 9) && bytes == "45");
    EXPECT_TRUE(file.read(bytes, 9) && bytes.empty());
    EXPECT_EQ(file.seek(-1, SeekWhence::Begin), -1);
    errno = 0;
    EXPECT_EQ(file.putback(std::numeric_limits<long long>::min()), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(file.advance(0), 5);
    EXPECT_TRUE(file.readAll(bytes) && bytes == "12345");
    EXPECT_THROW(file.read(bytes, kTooLarge), std::bad_alloc);
    EXPECT_EQ(bytes, "12345");
}

TEST(File, OpensByItsOwnNumbersAndNames) {
    const TempDir dir;
    const std::wstring name = dir.wide() + L"\\\u00e9\U0001F600";
    EXPECT_FALSE(File(name, OpenReadWrite).valid());
    EXPECT_FALSE(File(name, 3 | OpenCreate).valid());
    const mode_t mask = ::umask(0022);
    EXPECT_TRUE(File(name, 1 | 0x100 | 0x8000).write("abc"));
    ::umask(mask);
    struct stat status;
    ASSERT_EQ(::stat(dir.path("é😀").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0644U);

    const int next = ::dup(0);
    ::close(next);
    File file(name, OpenReadWrite | OpenCreate);
    // Programs that are started do not inherit it.
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(file.filename(), name);
    EXPECT_EQ(file.readByte(), 'a');
    EXPECT_TRUE(file.write("B") && file.append("\n"));
    EXPECT_EQ(contentOf(dir.path("é😀")), "aBc\n");
    EXPECT_FALSE(FileReader(name).write("x"));
    EXPECT_EQ(FileWriter(name, true).readByte(), -1);
    EXPECT_EQ(file.filesize(), 0);
    EXPECT_EQ(File::open_read_write_trunc(true, 1), 513);
}

TEST(File, CopiesHaveTheirOwnHandleAndDestroyNothing) {
    const TempDir dir;
    FileReadWriter first(dir.wide(L"a"), true);
    EXPECT_TRUE(first.write("abc"));
    FileReadWriter copy(first);
    EXPECT_EQ(copy.readByte(), 'a');
    copy = *&copy;
    EXPECT_EQ(copy.readByte(), 'b');

    File other(dir.file("b", "other"));
    const unsigned before = openDescriptors();
    other = first;
    EXPECT_EQ(other.readByte(), 'a');
    EXPECT_EQ(openDescriptors(), before);
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
    EXPECT_TRUE(file.writeLine(L"\u00e9", 1252) && file.writeLine(L"\u00e9", -1, "|"));
    EXPECT_TRUE(file.writeLine("x") && file.writeLine(L""));
    EXPECT_EQ(contentOf(dir.path("a")), "\xE9\r\né|x\r\n\r\n");
    EXPECT_FALSE(file.writeLine(L"y", 4711));
    std::wstring wide;
    EXPECT_TRUE(file.readAll(wide));
    EXPECT_EQ(wide, L"\uFFFD\r\n\u00e9|x\r\n\r\n");
    EXPECT_EQ(file.rewind(3), 3);
    EXPECT_TRUE(file.read(wide, 3));
    EXPECT_EQ(wide, L"\u00e9|");
    EXPECT_TRUE(!file.append(L"y", 4711) && file.read(wide, 1));
    EXPECT_EQ(wide, L"x");
    EXPECT_TRUE(file.append(L"\u00e9", 1252));
    EXPECT_TRUE(contentOf(dir.path("a")).ends_with("x\r\n\r\n\xE9"));
    EXPECT_TRUE(file.truncate(1) && !file.truncate(-1) && file.flush());
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
    Bytes bytes;
    String text("old");
    std::wstring wide(L"old");
    EXPECT_FALSE(file.readAll(bytes) || file.readAll(text) || file.readAll(wide));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_TRUE(text.empty() && wide.empty());
}

TEST(File, FailuresAreResultsAndLeaveNoHandle) {
    const TempDir dir;
    const std::wstring present = dir.file("present", "x");
    dir.file("\uFFFD", "what a damaged name must not open");
    const std::pair<std::wstring, int> names[] = {
        {L"", ENOENT},
        {dir.wide(L"absent"), ENOENT},
        {dir.wide(), EISDIR},
        {present + std::wstring(1, L'\0'), ENOENT},
        {dir.wide(L"\xD800"), ENOENT},
    };
    const unsigned before = openDescriptors();
    for (const auto& [name, error] : names) {
        File file(OpenRead);
        EXPECT_FALSE(file.open(name));
        EXPECT_EQ(errno, error);
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
    EXPECT_EQ(openDescriptors(), before);
    File closed(present);
    EXPECT_TRUE(closed.close());
    EXPECT_EQ(closed.filesize(), 1);

    // A process has nothing at its address 0.
    const File unreadable(L"/proc/self/mem");
    ASSERT_TRUE(unreadable.valid());
    String text("old");
    EXPECT_FALSE(unreadable.read(text, 1) || unreadable.readLine(text) || !text.empty());
    EXPECT_FALSE(File(L"/dev/full", OpenWrite).write("x"));
    EXPECT_EQ(errno, ENOSPC);
}

TEST(File, MemoryThatRunsOutLeavesTargetAndPosition) {
    const TempDir dir;
    File file(dir.file("a", "x" + std::string(10000, 'y') + "\n"));
    String text;
    std::wstring wide;
    const auto unchanged = [&] {
        EXPECT_EQ(file.advance(0), 1);
        EXPECT_TRUE(text.empty() && wide.empty());
    };
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"text", [&] { file.read(text, 100); }},     {"wide text", [&] { file.read(wide, 5000); }},
        {"all", [&] { file.readAll(wide); }},        {"line", [&] { file.readLine(text); }},
        {"wide line", [&] { file.readLine(wide); }},
    };
    for (const auto& [name, operation] : operations) {
        EXPECT_EQ(file.rewind(1), 1);
        EXPECT_GT(failEachAllocation(operation, unchanged), 0U) << name;
        EXPECT_FALSE(text.empty() && wide.empty()) << name;
        String().swap(text);
        std::wstring().swap(wide);
    }
    EXPECT_EQ(file.rewind(1), 1);
    const File other(dir.file("b", ""));
    EXPECT_GT(failEachAllocation([&] { file = other; }, unchanged), 0U);
    EXPECT_EQ(file.filename(), other.filename());
}

TEST(File, PipesAreNotReadAheadAndRaiseNoSignal) {
    const TempDir dir;
    File pipe(fifo(dir), OpenReadWrite);
    EXPECT_TRUE(pipe.write("a\r\nb\nc\rd"));
    String line;
    EXPECT_TRUE(pipe.readLine(line) && line == "a");
    EXPECT_TRUE(pipe.readLine(line) && line == "b");
    EXPECT_TRUE(pipe.readLine(line) && line == "c");
    // The "d" was read to see whether it is a line feed. It stays, whatever is written or fails.
    EXPECT_FALSE(pipe.append("x"));
    // Reads what is there and does not wait for more.
    EXPECT_TRUE(pipe.write("xy") && pipe.read(line, 10) && line == "d");
    EXPECT_TRUE(pipe.read(line, 10) && line == "xy");

    // Only the writing end is left.
    File writer(pipe.filename(), OpenWrite);
    EXPECT_TRUE(pipe.close());
    EXPECT_FALSE(writer.write("x"));
    EXPECT_EQ(errno, EPIPE);
    sigset_t pending, blocked;
    sigpending(&pending);
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&pending, SIGPIPE) + sigismember(&blocked, SIGPIPE), 0);
    // The size of a name is found without another end.
    EXPECT_TRUE(writer.close());
    EXPECT_EQ(writer.filesize(), 0);
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
