#include "qor/string/util_split.h"

#include <gtest/gtest.h>

namespace qor {
namespace {

TEST(Util, SplitsAtTheFirstBlank) {
    const struct {
        const char* text;
        const char* first;
        const char* rest;
    } cases[] = {
        {"key  value here", "key", "value here"},
        {"key \t value\nnext", "key", "value"},
        {"key  \nnext", "key", ""},
        {"a\nb c", "a\nb", "c"},
        {" key", "", "key"},
        {"key", "key", ""},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        String first = "old", rest = "old";
        Util::split(c.text, first, rest);
        EXPECT_EQ(first, c.first) << c.text;
        EXPECT_EQ(rest, c.rest) << c.text;
    }
    String text = "a b";
    Util::split(text, text, text);
    EXPECT_EQ(text, "b");
}

TEST(Util, SplitsIntoItems) {
    const struct {
        const char* text;
        bool keepBlanks;
        std::vector<String> items;
    } cases[] = {
        {"a, b ,\n c", false, {"old", "a", "b ", "c"}},
        {"a, b", true, {"old", "a", " b"}},
        {"a,,b,", false, {"old", "a", "", "b"}},
        {" , ", false, {"old", "", ""}},
        {"", false, {"old"}},
    };
    for (const auto& c : cases) {
        std::vector<String> out{"old"};
        Util::split(c.text, out, ',', c.keepBlanks);
        EXPECT_EQ(out, c.items) << c.text;
    }
}

}  // namespace
}  // namespace qor
