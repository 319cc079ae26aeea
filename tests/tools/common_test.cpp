#include "common/failure.h"
#include "common/options.h"
#include "common/output.h"
#include "common/progress.h"
#include "ping/statistics.h"
#include "support/test.h"

namespace tools {
namespace {

class OptionsTest : public testing::Test {
protected:
    // What was taken, in order, and the operands.
    std::string parse(const std::vector<std::string>& arguments) {
        std::string taken;
        Options options(
            "tool", "FILE", "Does.",
            {{'c', "compact", nullptr, "short", [&](std::string_view) { taken += "c;"; }},
             {'d', "depth", "N", "deep\ndeeper",
              [&](std::string_view text) { taken += "d" + std::string(text) + ";"; }},
             {0, "long", nullptr, "no letter", [&](std::string_view) { taken += "l;"; }}});
        for (const std::string& operand : options.parse(arguments))
            taken += operand + ";";
        return taken + options.answer();
    }
};

TEST_F(OptionsTest, AllUsualForms) {
    const struct {
        std::vector<std::string> arguments;
        const char* taken;
    } kCalls[] = {
        {{"-cd2", "x", "-d", "3"}, "c;d2;d3;x;"},
        {{"--depth=2", "--depth", "3", "--compact", "--long"}, "d2;d3;c;l;"},
        {{"-", "--", "-c", "--depth"}, "-;-c;--depth;"},
        {{"--depth="}, "d;"},
        {{"-V", "--unknown"}, "tool (qor) 2.0.5\n"},
    };
    for (const auto& [arguments, taken] : kCalls)
        EXPECT_EQ(parse(arguments), taken);
    const std::string help = parse({"--help"});
    EXPECT_TRUE(support::contains(
        help, "  -d, --depth=N            deep\n                           deeper\n"));
}

TEST_F(OptionsTest, MistakesAreNamed) {
    const struct {
        std::vector<std::string> arguments;
        const char* message;
    } kMistakes[] = {
        {{"-x"}, "unknown option -x"},
        {{"--dept"}, "unknown option --dept"},
        {{"--depth"}, "--depth needs N"},
        {{"-cd"}, "--depth needs N"},
        {{"--compact=1"}, "--compact takes no argument"},
    };
    for (const auto& mistake : kMistakes) {
        EXPECT_EQ(support::whatOf<UsageError>([&] { parse(mistake.arguments); }), mistake.message);
    }
    EXPECT_EQ(parseCount("n", "10", 10), 10U);
    for (const char* bad : {"", "-1", "11", "1x", "99999999999999999999"})
        EXPECT_THROW(parseCount("n", bad, 10), UsageError) << bad;
    EXPECT_EQ(parseSeconds("s", "0.25", 9), 0.25);
    for (const char* bad : {"", "-1", "nan", "10", "1s"})
        EXPECT_THROW(parseSeconds("s", bad, 9), UsageError) << bad;
    EXPECT_THROW(parseChoice("w", "c", {"a", "b"}), UsageError);
}

TEST(Output, NothingReachesATerminalRaw) {
    const struct {
        std::string text, shown;
    } kTexts[] = {
        {"a\tb\n", "a\tb\n"},
        {"\x1b[2J", "\\x1B[2J"},
        {"\r\x7f\b", "\\x0D\\x7F\\x08"},
        {"ø€😀", "ø€😀"},
        {"\xC2\x9B", "\\xC2\\x9B"},                             // CSI
        {"\x9B\xFF", "\\x9B\\xFF"},                             // no UTF-8
        {"\xE2\x80\xAE", "\\xE2\\x80\\xAE"},                    // from right to left
        {"\xC0\x9B\xED\xA0\x80", "\\xC0\\x9B\\xED\\xA0\\x80"},  // overlong, surrogate
        {"\xE2\x82", "\\xE2\\x82"},                             // cut off
        {std::string("\0", 1), "\\x00"},
    };
    for (const auto& [text, shown] : kTexts) {
        std::string out;
        appendHarmless(out, text);
        EXPECT_EQ(out, shown);
    }
    std::string line;
    appendHarmless(line, "a\nb\t", true);
    EXPECT_EQ(line, "a\\x0Ab\\x09");
}

TEST(Progress, Bar) {
    EXPECT_EQ(Progress::bar(0, 100, 4), "[....]   0%");
    EXPECT_EQ(Progress::bar(50, 100, 4), "[##..]  50%");
    EXPECT_EQ(Progress::bar(300, 100, 4), "[####] 100%");
    EXPECT_EQ(Progress::bar(0, 0, 4), "[####] 100%");
}

TEST(PingStatistics, CountsAndSums) {
    PingStatistics statistics;
    EXPECT_EQ(statistics.text(), "0 sent, 0 received, 0% lost\n");
    for (const double cost : {3.0, 1.0, 5.0}) {
        statistics.sent();
        statistics.received(cost);
    }
    statistics.sent();
    EXPECT_EQ(statistics.text(),
              "4 sent, 3 received, 25% lost\n"
              "round trip: least 1.000 ms, mean 3.000 ms, longest 5.000 ms\n");
}

}  // namespace
}  // namespace tools
