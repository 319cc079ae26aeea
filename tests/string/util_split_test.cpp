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
        {"key \t value\nnext", "key", "value"},
        {"key  \nnext", "key", ""},
        {" key", "", "key"},
        {"a\nb c", "a\nb", "c"},
        {"key", "key", ""},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        String first(c.text), rest("old");
        Util::split(first, first, rest);
        EXPECT_EQ(first, c.first) << c.text;
        EXPECT_EQ(rest, c.rest) << c.text;
    }
}

TEST(Util, SplitsIntoItems) {
    const struct {
        const char* text;
        bool keepBlanks;
        std::vector<String> items;
    } cases[] = {
        {"a, b ,\n c", false, {"old", "a", "b ", "c"}},
        {"a, b", true, {"old", "a", " b"}},
        {",a,,", false, {"old", "", "a", ""}},
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
