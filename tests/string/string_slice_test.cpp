#include "qor/string/string_slice.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(StringSlice, DoesNotMovePastTheEnd) {
    StringSlice s("ab");
    EXPECT_TRUE(s.advance(2).eof());
    EXPECT_EQ(*s, '\0');
    char c = 'c';
    const std::pair<std::function<void()>, const char*> moves[] = {
        {[&] { s.advance(1); }, "qor::StringSlice::advance"},
        {[&] { s.advance(npos); }, "qor::StringSlice::advance"},
        {[&] { ++s; }, "qor::StringSlice::operator ++"},
        {[&] { s >> c; }, "qor::StringSlice::operator ++"}};
    for (const auto& [move, function] : moves) {
        EXPECT_EQ(raisedIn<OutOfRangeException>(move), function);
        EXPECT_EQ(s.cursor(), 2U);
        EXPECT_EQ(c, 'c');
    }
    // rewind tests the old position and not the new one; there is nothing to read after the end.
    s.rewind(5);
    EXPECT_TRUE(s.next(1).empty() && s.readUntil("b").empty() && *s == '\0');
    EXPECT_EQ(raisedIn<OutOfRangeException>([&] { s.rewind(0); }), "qor::StringSlice::rewind");
}

// Bytes with zeros in them, as a view of a literal.
template <size_t N>
istr bytes(const char (&text)[N]) {
    return istr(text, N - 1);
}

TEST(StringSlice, FindsAText) {
    const std::tuple<istr, unsigned long, istr, bool, istr, unsigned long> cases[] = {
        {"a=b=c", 2, "=", true, "b", 4},
        {"a\r\r\nb", 0, "\r\n", true, "a\r", 4},
        {"ab", 1, "x", false, "b", 2},
        {"ab", 2, "b", false, "", 2},
        // The view ends inside the text: the bytes after it must not count.
        {istr("abcd", 3), 2, "cd", false, "c", 3},
        {"ab", 1, "", true, "", 1},
        {"ab", 1, istr(nullptr, 3), true, "", 1},
        {istr(nullptr, 3), 0, "x", false, "", 0},
        // A zero ends the comparison, but the whole sought text must fit.
        {bytes("ab\0xyz"), 0, bytes("b\0?"), true, "a", 4},
        {bytes("ab\0"), 0, bytes("b\0?"), false, bytes("ab\0"), 3},
    };
    for (const auto& [text, start, sought, found, walked, cursor] : cases) {
        StringSlice reading(text.data(), text.size(), start);
        StringSlice skipping = reading;
        EXPECT_EQ(reading.match(sought), found && walked.empty()) << text << sought;
        EXPECT_EQ(reading.readUntil(sought), walked) << text << sought;
        EXPECT_EQ(skipping.skipTo(sought), found);
        EXPECT_EQ(reading.cursor(), cursor);
        EXPECT_EQ(skipping.cursor(), cursor);
    }
    EXPECT_TRUE(StringSlice("abcd", 3, 1).match("bc"));
    EXPECT_FALSE(StringSlice("abcd", 3, 1).match("bcd"));
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
    EXPECT_EQ(s.rewind(6).readAllLeft(), istr("gh"));
    EXPECT_TRUE(s.eof());
}

TEST(StringSlice, ComparesWholeTexts) {
    const char text[] = "abc";
    // Views of the same address are equal, whatever their sizes and cursors.
    EXPECT_TRUE(StringSlice(text, 3, 1) == StringSlice(text, 2) && StringSlice() < "");
    EXPECT_TRUE(StringSlice("ab") < String("abc") && StringSlice("b") > istr("abc"));
}

}  // namespace
}  // namespace qor
