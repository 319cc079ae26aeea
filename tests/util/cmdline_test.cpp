#include "qor/util/cmdline.h"

#include "support/child.h"
#include "support/terminal.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

TEST(CmdLine, GivesLinesInTheirOrder) {
    LogFile log("QOR");
    Terminal terminal;
    terminal.input.str("first\n\nnoprompt()\nsecond\nprompt()\nth\xC3\xA9 third\n");
    CmdLineQueue queue;
    std::wstring line = L"untouched";
    EXPECT_FALSE(queue.get(line, Time::milliSeconds(1)));
    EXPECT_EQ(line, L"untouched");
    ASSERT_TRUE(queue.open(L"> "));
    for (const wchar_t* const typed : {L"first", L"second", L"th\u00E9 third"}) {
        EXPECT_TRUE(queue.get(line, Time::forever()));
        EXPECT_EQ(line, typed);
    }
    queue.close();
    queue.close();
    EXPECT_FALSE(queue.get(line, Time()));
    // Once for each of the first three lines and for the last one; perhaps once more after it.
    EXPECT_EQ(terminal.output.str().substr(0, 8), "> > > > ");
    EXPECT_LE(terminal.output.str().size(), 10U);
    const std::string entries = log.entries();
    const std::size_t off = entries.find("turn off prompt");
    EXPECT_LT(off, entries.find("turn on prompt"));
    EXPECT_NE(off, std::string::npos);
    console::destroy();
}

TEST(CmdLine, WakesWaitingThreads) {
    CmdLineQueue queue;
    std::atomic<int> got{0};
    inThreads(5, [&](int i) {
        for (int n = 0; i == 4 && n < 1004; ++n)
            queue.onCmdLine(n < 1000 ? L"line" : L"end");
        std::wstring line;
        while (i != 4 && line != L"end") {
            if (queue.get(line, Time::seconds(600))) ++got;
        }
    });
    EXPECT_EQ(got, 1004);
}

TEST(CmdLineInput, ClosesInTheMiddleOfALine) {
    const int status = statusOf([] {
        alarm(20);
        int ends[2];
        if (pipe(ends) != 0) std::exit(1);
        dup2(ends[0], STDIN_FILENO);
        CmdLineQueue queue;
        const auto typed = [&](const std::string& text) {
            std::wstring line;
            if (write(ends[1], text.data(), text.size()) < 0) std::exit(1);
            queue.open(L"");
            queue.get(line, Time::forever());
            queue.close();
            return line;
        };
        std::exit(typed("first\nhalf") == L"first" && typed("way\n") == L"halfway" ? 0 : 2);
    });
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace qor
