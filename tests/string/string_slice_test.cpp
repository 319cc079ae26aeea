#include "qor/string/string_slice.h"

#include <gtest/gtest.h>

#include <functional>

#include "qor/base/exception.h"
#include "qor/log/log_dumper.h"
#include "support/raised.h"

namespace qor {
namespace {

TEST(StringSlice, ReachesTheEndAndDoesNotPassIt) {
    StringSlice s("ab");
    EXPECT_EQ(s.advance(2).left(), 0U);
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(*s, '\0');
    char c = 'c';
    const struct {
        const char* function;
        std::function<void()> move;
    } moves[] = {
        {"qor::StringSlice::advance", [&] { s.advance(1); }},
        {"qor::StringSlice::advance", [&] { s.advance(npos); }},
        {"qor::StringSlice::operator ++", [&] { ++s; }},
        {"qor::StringSlice::operator ++", [&] { s >> c; }},
    };
    for (const auto& [function, move] : moves) {
        EXPECT_EQ(support::raisedIn<OutOfRangeException>(move), function);
        EXPECT_EQ(s.cursor(), 2U);
    }
    EXPECT_EQ(c, 'c');
}

TEST(StringSlice, RewindTestsTheOldPositionOnly) {
    StringSlice s("ab");
    s.rewind(1).rewind(5);
    EXPECT_EQ(s.cursor(), 5U);
    EXPECT_EQ(s.left(), 0U);
    EXPECT_TRUE(s.next(1).empty());
    EXPECT_EQ(*s, '\0');
    EXPECT_TRUE(s.readUntil("b").empty());
    EXPECT_EQ(support::raisedIn<OutOfRangeException>([&] { s.rewind(0); }),
              "qor::StringSlice::rewind");
    EXPECT_EQ(support::raisedIn<OutOfRangeException>([&] { s.advance(0); }),
              "qor::StringSlice::advance");
}

TEST(StringSlice, NullIsAnEmptyTextOfAnySize) {
    StringSlice s(static_cast<const char*>(nullptr), 3);
    EXPECT_EQ(s.size(), 0U);
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(*s, '\0');
    EXPECT_EQ(s.at(0), '\0');
    EXPECT_TRUE(s.readUntil("x").empty());
    EXPECT_TRUE(s.substr(1, 2).empty());
}

// Bytes with zeros in them, as a view of a literal.
template <size_t N>
istr bytes(const char (&text)[N]) {
    return istr(text, N - 1);
}

TEST(StringSlice, FindsAText) {
    const struct {
        istr text;
        unsigned long start;
        istr sought;
        bool found;
        istr walked;
        unsigned long cursor;
    } cases[] = {
        {"a=b=c", 0, "=", true, "a", 2},
        {"a=b=c", 2, "=", true, "b", 4},
        {"a\r\r\nb", 0, "\r\n", true, "a\r", 4},
        {"ab", 1, "x", false, "b", 2},
        {"ab", 2, "b", false, "", 2},
        {"abc", 2, "cd", false, "c", 3},
        {"ab", 1, "", true, "", 1},
        {"ab", 1, istr(nullptr, 3), true, "", 1},
        // A zero ends the comparison, but all of the text that is sought must fit.
        {bytes("ab\0xyz"), 0, bytes("b\0?"), true, "a", 4},
        {bytes("ab\0"), 0, bytes("b\0?"), false, bytes("ab\0"), 3},
        {bytes("a\0b"), 0, bytes("\0"), true, "a", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " / " + std::string(c.sought));
        StringSlice reading(c.text.data(), c.text.size(), c.start);
        StringSlice skipping = reading;
        EXPECT_EQ(reading.readUntil(c.sought), c.walked);
        EXPECT_EQ(reading.cursor(), c.cursor);
        EXPECT_EQ(skipping.skipTo(c.sought), c.found);
        EXPECT_EQ(skipping.cursor(), c.cursor);
    }
}

TEST(StringSlice, MatchesInFrontOfTheEndOnly) {
    // The view ends inside the text: what stands behind it must not count.
    const StringSlice s("abcd", 3, 1);
    EXPECT_TRUE(s.match("bc"));
    EXPECT_FALSE(s.match("bcd"));
    EXPECT_FALSE(s.match("c"));
    EXPECT_TRUE(s.match(""));
    EXPECT_FALSE(StringSlice(bytes("a\0")).match(bytes("a\0b")));
    EXPECT_TRUE(StringSlice(bytes("a\0c")).match(bytes("a\0b")));
}

TEST(StringSlice, ReadsBytesAndViews) {
    StringSlice s("abcdefgh");
    char c = 0;
    unsigned char u = 0;
    Byte first, second;
    s >> c >> u >> first >> ByteRef(second);
    EXPECT_EQ((std::string{c, char(u), char(first.value()), char(second.value())}), "abcd");
    EXPECT_EQ(s.next(2), istr("ef"));
    unsigned char room[9] = {};
    unsigned long n = sizeof room;
    s.read(room, n);
    EXPECT_EQ(istr(room, n), istr("gh"));
    EXPECT_TRUE(s.readAllLeft().empty());
    s.rewind(6);
    EXPECT_EQ(s.readAllLeft(), istr("gh"));
    EXPECT_TRUE(s.eof());
    EXPECT_EQ(istr(s.substr(6, 9)), istr("gh"));
}

TEST(StringSlice, ComparesWholeTexts) {
    const char text[] = "abc";
    // One address is enough: neither sizes nor cursors are looked at.
    EXPECT_TRUE(StringSlice(text, 3, 1) == StringSlice(text, 2));
    EXPECT_TRUE(StringSlice() == StringSlice(nullptr));
    EXPECT_TRUE(StringSlice() < "");
    EXPECT_TRUE(StringSlice("ab") < String("abc"));
    EXPECT_TRUE(StringSlice("b") > istr("abc"));
    EXPECT_TRUE(StringSlice("abc") == "abc");
}

TEST(StringSlice, ShowsItself) {
    dumper d(true);
    StringSlice("abcd", 3, 1).dump(d);
    EXPECT_EQ(d.str(), "{addr_='abc' size_=3 cursor_=1}");
}

}  // namespace
}  // namespace qor
