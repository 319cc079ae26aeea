#include "qor/string/printf.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(Printf, ReplacesItsTagsInOrder) {
    const struct {
        const char* format;
        std::vector<const char*> texts;  // before any replacement, and after each one
    } cases[] = {{"x%a;y", {"x%a;y", "x1y", "x1y2"}},
                 {"%;%b;", {"%;%b;", "1%b;", "12", "123"}},
                 {"plain", {"plain", "plain1", "plain12"}},
                 {"a%b", {"a%b", "a1"}},
                 {"a;%(b%!;c%", {"a;%(b%!;c%", "a;1c%", "a;1c2"}},
                 {nullptr, {"", "1"}}};
    for (const auto& c : cases) {
        const Printf printf(c.format, '%', '(', ';', '!');
        for (size_t i = 0; i < c.texts.size(); ++i) {
            if (i != 0) printf.replaceNext(std::to_string(i));
            EXPECT_EQ(printf.str(), c.texts[i]);
            EXPECT_EQ(printf.str(), c.texts[i]);
        }
        EXPECT_EQ(printf.reset().str(), c.texts[0]);
    }
    EXPECT_EQ(Printf("a%%b%", '%', '{', '%').replaceNext("1").str(), "a1b%");
}

TEST(Printf, IsUnchangedWhenTheHeapFails) {
    Printf copy("");
    {
        const Printf original("hello %{name}, it is %{time} in a format that is on the heap");
        copy = original;
    }
    copy.replaceNext("Ann");
    const String before = copy.str();
    EXPECT_EQ(before, "hello Ann, it is %{time} in a format that is on the heap");
    const auto unchanged = [&] { EXPECT_EQ(copy.str(), before); };
    const auto replace = [&] { copy.replaceNext(std::string(100, 'v')); };
    EXPECT_GT(failEachAllocation(replace, unchanged), 1U);
}

TEST(Printf, ShowsItself) {
    const Printf printf("x%a;y", '%', '(', ';', '!');
    printf.replaceNext("1").str();
    EXPECT_EQ(dumped(printf),
              "{format_='x%a;y' tags_={[0]='x' [1]='%a;' [2]='y'} curr_=2 tempbuf_='x1' "
              "result_='x1y' flag_='%' left_='(' right_=';' escape_='!'}");
}

}  // namespace
}  // namespace qor
