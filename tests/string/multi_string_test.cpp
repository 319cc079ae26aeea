#include "qor/string/multi_string.h"

#include "support/test.h"

namespace qor {
namespace {

using Parts = std::list<String>;

TEST(MultiString, SplitsItsText) {
    const std::tuple<const char*, const char*, Parts> cases[] = {
        {"a,b,", ",", {"a", "b", ""}},          {",", ",", {"", ""}}, {"", ",", {}},
        {"aaaa-", "aa", {"", "", "-"}},         {"a", "long", {"a"}}, {"", "", {}},
        {"ab", "", {"a", "b", String("\0", 1)}}};
    for (const auto& [text, separator, parts] : cases)
        EXPECT_EQ(MultiString(text, separator).list(), parts) << text;
}

TEST(MultiString, KeepsTextAndPartsInStep) {
    MultiString s(Parts{"a", "b"});
    EXPECT_EQ(s.full(), "ab");
    s.separator("; ").merge();
    EXPECT_EQ(s.add("c").full(), "a; b; c");
    EXPECT_EQ(s.list(), (Parts{"a", "b", "c"}));
    EXPECT_EQ(s.clear().add("x").full(), "x");
    EXPECT_EQ(s.set("1; 2").list(), (Parts{"1", "2"}));
    EXPECT_EQ(s.list({"", "y"}).full(), "; y");
}

TEST(MultiString, IsUnchangedWhenTheHeapFails) {
    const MultiString original("the first of the long parts here,and the second long part", ",");
    const MultiString other("another text that is too long to be a small string,b,c", ",");
    const std::function<void(MultiString&)> operations[] = {
        [&](MultiString& s) { s = other; }, [&](MultiString& s) { s.full(other); },
        [&](MultiString& s) { s.list(other.list()); }, [&](MultiString& s) { s.add(other); }};
    for (const auto& operation : operations) {
        MultiString s(original);
        const auto unchanged = [&] {
            EXPECT_EQ(s.full(), original.full());
            EXPECT_EQ(s.list(), original.list());
        };
        EXPECT_GT(failEachAllocation([&] { operation(s); }, unchanged), 1U);
    }
}

}  // namespace
}  // namespace qor
