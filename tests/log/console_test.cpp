#include "qor/log/console.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>

#include "support/child.h"
#include "support/terminal.h"
#include "support/test.h"

namespace qor {
namespace {

class Console : public testing::Test {
protected:
    Console() { console::setOn(true); }
    ~Console() override {
        console::destroy();
        EXPECT_FALSE(console::isOn());
    }

    std::string shown() const { return terminal_.output.str(); }
    std::string flushed() const { return console::flush(), shown(); }

    Terminal terminal_;
};

TEST_F(Console, WritesQueuedTextAtAFlush) {
    console::print("narrow ");
    console::print(L"w\u00EFde ");
    console::print(String("\xC3\xA9 "));
    console::print("cut here", 4);
    console::print(std::wstring());
    console::println("");
    console::println(std::wstring(L"end\0cut", 7));
    EXPECT_EQ(shown(), "");
    EXPECT_EQ(flushed(), "narrow wïde é cut \nend\n");
    console::setOn(false);
    console::println("dropped");
    EXPECT_EQ(flushed(), "narrow wïde é cut \nend\n");
}

// A program may silence the console with the failbit.
TEST_F(Console, WritesAgainAfterAFailure) {
    String line;
    std::cout.setstate(std::ios::badbit);
    EXPECT_FALSE(console::readline(line, "> "));
    EXPECT_EQ(shown(), "> ");
    for (const auto failure : {std::ios::badbit, std::ios::failbit}) {
        std::cout.setstate(failure);
        if (std::cout.bad()) std::cout << 'x';  // sets the failbit too
        console::println("news");
        EXPECT_EQ(flushed(), "> \nnews\n");
    }
    std::cout.clear();
}

TEST_F(Console, ShowsThePromptAgainAfterOutput) {
    String line;
    const auto ask = [&] { return console::readline(line, "> "); };
    EXPECT_FALSE(ask());
    EXPECT_FALSE(ask());
    EXPECT_EQ(shown(), "> ");
    console::println("news");
    EXPECT_EQ(flushed(), "> \nnews\n");
    terminal_.input.str("first line\nsecond\n");
    EXPECT_TRUE(ask());
    EXPECT_EQ(line, "first line");
    EXPECT_EQ(shown(), "> \nnews\n> ");
    std::wstring wide;
    EXPECT_TRUE(console::readline(wide, L"> "));
    EXPECT_EQ(wide, L"second");
    EXPECT_EQ(shown(), "> \nnews\n> > ");
    // The end of the input is no line, and the call takes time, so that a loop does not spin.
    const Time before = Time::now(Time::Monotonic);
    EXPECT_FALSE(ask());
    EXPECT_LT(before, Time::now(Time::Monotonic));
}

// The screen of the standard output. It counts how often it is flushed, and accepts no output until
// it is released.
struct Screen : std::stringbuf {
    explicit Screen(bool stuck) : before(std::cout.rdbuf(this)), released(!stuck) {}
    ~Screen() override { std::cout.rdbuf(before); }
    int sync() override {
        ++flushes;
        flushes.notify_all();
        released.wait(false);
        return 0;
    }
    void release() {
        released = true;
        released.notify_all();
    }
    std::streambuf* const before;
    std::atomic<int> flushes{0};
    std::atomic<bool> released;
};

TEST_F(Console, GivesALineWhileTheScreenAcceptsNoOutput) {
    Screen screen(true);
    console::println("news");
    std::thread writer([] { console::flush(); });
    screen.flushes.wait(0);
    terminal_.input.str("typed\n");
    String line;
    EXPECT_TRUE(console::readline(line, "> "));
    EXPECT_EQ(line, "typed");
    screen.release();
    writer.join();
}

TEST(ConsoleThread, WritesByItself) {
    Screen screen(false);
    console::open();  // off: nothing
    console::setOn(true);
    console::open();
    console::open();
    console::println("by itself");
    screen.flushes.wait(0);
    console::println("by request");
    console::flush();
    screen.flushes.wait(1);
    console::close();
    console::println("kept");
    console::close();
    console::flush();
    console::setOn(false);
    EXPECT_EQ(screen.str(), "by itself\nby request\nkept\n");
}

// At the forks, the parent's thread is blocked in the screen, and another thread uses the console.
TEST(ConsoleThread, ForkedChildWritesItsOwnOutput) {
    Screen screen(true);
    console::setOn(true);
    console::open();
    console::println("parent");
    screen.flushes.wait(0);
    console::println("queued");
    std::optional<Busy> flushing(std::in_place, [] { console::flush(); });
    for (int i = 0, status = 0; i < 100 && status == 0; ++i) {
        status = statusOf([] {
            alarm(10);
            std::stringbuf own;
            std::cout.rdbuf(&own);
            console::println("child");
            console::flush();
            console::close();
            _exit(own.str() == "child\n" ? 0 : 1);
        });
        EXPECT_EQ(status, 0);
    }
    flushing.reset();
    screen.release();
    console::close();
    console::flush();
    console::destroy();
    EXPECT_EQ(screen.str(), "parent\nqueued\n");
}

// The thread that writes has a part of the text in the buffer of the standard output.
TEST(ConsoleThread, ForkedChildDropsTheBufferOfTheOutput) {
    const int status = statusOf([] {
        alarm(20);
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(2);
        const int size = fcntl(ends[0], F_GETPIPE_SZ);
        console::setOn(true);
        console::open();
        for (int i = 0; i < size; ++i)
            console::println("line");
        console::flush();
        pollfd room{ends[1], POLLOUT, 0};
        while (poll(&room, 1, 0) != 0 || __fpending(stdout) == 0) {
        }
        pid_t child = fork();
        if (child == 0) _exit(__fpending(stdout) == 0 ? 0 : 1);
        int ended = 0;
        const bool good = waitpid(child, &ended, 0) == child && ended == 0;
        // A sanitizer's _exit flushes the output, which must not block.
        signal(SIGPIPE, SIG_IGN);
        close(ends[0]);
        _exit(good ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
}

// The typed text, or null for the end of the input, and the lines that follow.
struct Typed {
    const char* text;
    std::vector<std::string> lines;
};

// Exits with 0 if readline gives these lines and nothing else, and is never stuck.
void readsLines(int in, int out, const std::vector<Typed>& steps) {
    alarm(20);
    dup2(in, STDIN_FILENO);
    for (const Typed& typed : steps) {
        if (typed.text == nullptr) {
            close(out);
        } else if (write(out, typed.text, std::strlen(typed.text)) < 0) {
            std::exit(2);
        }
        String line;
        for (const std::string& expected : typed.lines) {
            while (!console::readline(line)) {
            }
            if (line != expected) std::exit(3);
        }
        if (console::readline(line)) std::exit(4);
    }
    std::exit(0);
}

TEST(ConsoleInput, GivesEachLineWhenItIsComplete) {
    const std::string longer(200000, 'x');
    for (const bool synced : {true, false}) {
        const int status = statusOf([&] {
            std::ios::sync_with_stdio(synced);
            int ends[2];
            if (pipe(ends) != 0) std::exit(1);
            readsLines(ends[0], ends[1],
                       {{"one\ntwo\nthree\nfo", {"one", "two", "three"}},
                        {"u", {}},
                        {"r\n\nfive\nlast", {"four", "", "five"}},
                        {nullptr, {"last"}}});
        });
        EXPECT_EQ(status, 0);
    }
    const int atTerminal = statusOf([] {
        // An end that is typed at a terminal sends the begun line, or is the end of the input.
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        if (grantpt(terminal) != 0 || unlockpt(terminal) != 0) std::exit(1);
        readsLines(open(ptsname(terminal), O_RDWR | O_NOCTTY), terminal,
                   {{"ha\4", {}}, {"lf\n", {"half"}}, {"\4", {}}, {"on\n", {"on"}}});
    });
    EXPECT_EQ(atTerminal, 0);
    const int ofFile = statusOf([&] {
        std::FILE* const file = std::tmpfile();
        std::fputs(("a\n" + longer + "\nlast").c_str(), file);
        std::rewind(file);
        readsLines(fileno(file), -1, {{nullptr, {"a", longer, "last"}}});
    });
    EXPECT_EQ(ofFile, 0);
    // Input without end that has no line.
    EXPECT_EQ(statusOf([] { readsLines(open("/dev/zero", O_RDONLY), -1, {{nullptr, {}}}); }), 0);
}

}  // namespace
}  // namespace qor
