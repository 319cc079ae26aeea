#include "qor/string/util_split.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(Util, SplitsAtTheFirstBlank) {
    const char* const cases[][3] = {{"key \t value\nnext", "key", "value"},
                                    {"key  \nnext", "key", ""},
                                    {" key", "", "key"},
                                    {"a\nb c", "a\nb", "c"},
                                    {"key", "key", ""}};
    for (const auto& [text, head, tail] : cases) {
        String first(text), rest("old");
        Util::split(first, first, rest);
        EXPECT_EQ(first, head);
        EXPECT_EQ(rest, tail);
    }
}

TEST(Util, SplitsIntoItems) {
    const std::tuple<const char*, bool, std::vector<String>> cases[] = {
        {"a, b ,\n c", false, {"old", "a", "b ", "c"}},
        {"a, b", true, {"old", "a", " b"}},
        {",a,,", false, {"old", "", "a", ""}},
        {"", false, {"old"}}};
    for (const auto& [text, keepBlanks, items] : cases) {
        std::vector<String> out{"old"};
        Util::split(text, out, ',', keepBlanks);
        EXPECT_EQ(out, items) << text;
    }
}

}  // namespace
}  // namespace qor
