#include "qor/util/cmdline.h"

#include "support/test.h"

namespace qor {
namespace {

// A console that the test types at.
class CmdLine : public testing::Test {
protected:
    CmdLine() : out_(std::cout.rdbuf(output_.rdbuf())), in_(std::cin.rdbuf(input_.rdbuf())) {}
    ~CmdLine() override {
        console::destroy();
        std::cout.rdbuf(out_);
        std::cin.rdbuf(in_);
    }

    std::ostringstream output_;
    std::istringstream input_;

private:
    std::streambuf* out_;
    std::streambuf* in_;
};

TEST_F(CmdLine, GivesLinesInTheirOrder) {
    support::LogFile log("QOR");
    input_.str("first\n\nnoprompt()\nsecond\nprompt()\nth\xC3\xA9 third\n");
    CmdLineQueue queue;
    std::wstring line = L"untouched";
    EXPECT_FALSE(queue.get(line, Time::milliSeconds(1)));
    EXPECT_EQ(line, L"untouched");
    ASSERT_TRUE(queue.open(L"> "));
    std::vector<std::wstring> lines;
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(queue.get(line, Time::forever()));
        lines.push_back(line);
    }
    queue.close();
    queue.close();
    EXPECT_EQ(lines, (std::vector<std::wstring>{L"first", L"second", L"th\u00E9 third"}));
    EXPECT_FALSE(queue.get(line, Time()));
    // Once for each of the first three lines and for the last one; perhaps once more behind it.
    EXPECT_EQ(output_.str().substr(0, 8), "> > > > ");
    EXPECT_LE(output_.str().size(), 10U);
    const std::string entries = log.entries();
    const std::size_t off = entries.find("turn off prompt");
    EXPECT_LT(off, entries.find("turn on prompt"));
    EXPECT_NE(off, std::string::npos);
}

TEST_F(CmdLine, WakesThoseThatWait) {
    CmdLineQueue queue;
    std::vector<std::thread> threads;
    std::atomic<int> got{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            std::wstring line;
            while (line != L"end") {
                if (queue.get(line, Time::seconds(600))) ++got;
            }
        });
    }
    for (int i = 0; i < 1000; ++i)
        queue.onCmdLine(L"line");
    for (int i = 0; i < 4; ++i)
        queue.onCmdLine(L"end");
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(got, 1004);
}

TEST(CmdLineInput, ClosesInTheMiddleOfALine) {
    EXPECT_EXIT(
        {
            alarm(20);
            int ends[2];
            if (pipe(ends) != 0) std::exit(1);
            dup2(ends[0], STDIN_FILENO);
            const auto type = [&](const std::string& text) {
                if (write(ends[1], text.data(), text.size()) < 0) std::exit(1);
            };
            CmdLineQueue queue;
            std::wstring first;
            std::wstring second;
            type("first\nhalf");
            queue.open(L"");
            queue.get(first, Time::forever());
            queue.close();
            type("way\n");
            queue.open(L"");
            queue.get(second, Time::forever());
            queue.close();
            std::exit(first == L"first" && second == L"halfway" ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qor
