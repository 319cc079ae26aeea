#include "qor/log/console.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <iostream>
#include <sstream>

#include "qor/base/base_type_time.h"

namespace qor {
namespace {

// The console with streams of the test's own.
class Console : public testing::Test {
protected:
    Console() : out_(std::cout.rdbuf(output_.rdbuf())), in_(std::cin.rdbuf(input_.rdbuf())) {
        console::setOn(true);
    }
    ~Console() override {
        console::destroy();
        console::setOn(false);
        std::cout.rdbuf(out_);
        std::cin.rdbuf(in_);
    }

    std::string shown() {
        console::flush();
        return output_.str();
    }

    std::stringstream output_;
    std::stringstream input_;

private:
    std::streambuf* out_;
    std::streambuf* in_;
};

TEST_F(Console, WritesWhatIsQueuedAtAFlush) {
    console::print("narrow ");
    console::print(L"w\u00EFde ");
    console::print(String("\xC3\xA9 "));
    console::print("cut here", 4);
    console::print(std::wstring());
    console::println("");
    console::println(L"end");
    EXPECT_EQ(output_.str(), "");
    EXPECT_EQ(shown(),
              "narrow w\xC3\xAF"
              "de \xC3\xA9 cut \nend\n");
    console::setOn(false);
    console::println("dropped");
    EXPECT_EQ(shown(),
              "narrow w\xC3\xAF"
              "de \xC3\xA9 cut \nend\n");
}

TEST_F(Console, ShowsThePromptAgainBehindOutput) {
    String line;
    const auto ask = [&] { return console::readline(line, "> "); };
    EXPECT_FALSE(ask());
    EXPECT_FALSE(ask());
    EXPECT_EQ(output_.str(), "> ");
    console::println("news");
    EXPECT_EQ(shown(), "> \nnews\n");
    input_.str("first line\nsecond\n");
    EXPECT_TRUE(ask());
    EXPECT_EQ(line, "first line");
    EXPECT_EQ(output_.str(), "> \nnews\n> ");
    std::wstring wide;
    EXPECT_TRUE(console::readline(wide, L"> "));
    EXPECT_EQ(wide, L"second");
    EXPECT_EQ(output_.str(), "> \nnews\n> > ");
    // The end of the input is no line, and the caller's loop is held up all the same.
    const Time before = Time::now(Time::Monotonic);
    EXPECT_FALSE(ask());
    EXPECT_LT(before, Time::now(Time::Monotonic));
}

// A streambuf that tells each time it is flushed.
struct Watched : std::stringbuf {
    explicit Watched(std::function<void()> told) : told_(std::move(told)) {}
    int sync() override {
        told_();
        return 0;
    }
    std::function<void()> told_;
};

TEST(ConsoleThread, WritesByItself) {
    std::atomic<int> flushes{0};
    Watched buffer([&] {
        ++flushes;
        flushes.notify_all();
    });
    std::streambuf* const before = std::cout.rdbuf(&buffer);
    console::open();  // off: nothing
    console::setOn(true);
    console::open();
    console::open();
    console::println("by itself");
    flushes.wait(0);
    console::println("by request");
    console::flush();
    flushes.wait(1);
    console::close();
    console::println("kept");
    console::close();
    console::flush();
    console::setOn(false);
    std::cout.rdbuf(before);
    EXPECT_EQ(buffer.str(), "by itself\nby request\nkept\n");
}

// Lines that come together in a pipe are read one by one.
TEST(ConsoleInput, LosesNoLineOfAPipe) {
    EXPECT_EXIT(
        {
            int ends[2];
            if (pipe(ends) != 0) std::exit(1);
            dup2(ends[0], STDIN_FILENO);
            const char text[] = "one\ntwo\nthree\n";
            if (write(ends[1], text, sizeof text - 1) < 0) std::exit(1);
            std::string all;
            String line;
            for (int i = 0; i < 3 && console::readline(line); ++i)
                all += line + "|";
            std::exit(all == "one|two|three|" && !console::readline(line) ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qor
