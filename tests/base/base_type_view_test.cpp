#include "qor/base/base_type_view.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(View, TakesEveryKindOfSource) {
    const std::string text = "abc";
    const struct Named : std::string { using std::string::string; } named("abc");
    const unsigned char bytes[] = "abc";
    const std::tuple<istr, unsigned long, bool> cases[] = {
        {istr(), 0, true},
        {istr(nullptr, -1), 0, true},
        {istr(nullptr, 5), 5, true},
        {istr("abc", 0), 0, false},
        {text, 3, false},
        {named, 3, false},
        {ansi(), 0, true},
        {utf8("abc", 2), 2, false},
        {base64("abc", npos), 3, false},
        {istr("abc", 0xFFFFFFFFU), 3, false},
        {istr("abc", ~0UL), 3, false},
        {istr(bytes, 2), 2, false},
        {istr(text.data(), text.data() + 2), 2, false},
        {istr(istr("abc"), 9), 3, false},
        {istr(istr(text), istr(text.data() + 1)), 1, false},
        {istr_cp(text, 1252), 3, false},
        {istr("", kTooLarge), 0xFFFFFFFEUL, false}};
    for (const auto& [view, size, null] : cases) {
        EXPECT_EQ(view.size(), size);
        EXPECT_EQ(view.is_null(), null);
        EXPECT_EQ(view.empty(), null || size == 0);
    }
    EXPECT_EQ(istr_cp("abc").codepage() + iwstr_cp(L"abc", 65001).codepage(), 65000);
    // Deliberate (compatibility): unlike the narrow view.
    const iwstr wide(nullptr, -1);
    EXPECT_EQ(wide.size(), 0xFFFFFFFFUL);
    EXPECT_TRUE(wide.empty() && std::wstring(wide).empty() && wide.begin() == wide.end());
    EXPECT_TRUE(wstr().is_null() && wstr(L"abc", 2) == L"ab");
}

TEST(View, ComparesBytesAsUnsignedAndThenSizes) {
    const std::tuple<istr, istr, int> cases[] = {{istr(), "", 0},
                                                 {"ab", "abc", -1},
                                                 {"b", "abc", 1},
                                                 {"a\xFF", "a\x01", 1},
                                                 {istr(), "a", -1},
                                                 {istr("a\0b", 3), istr("a\0c", 3), -1},
                                                 {istr(nullptr, 5), istr(), 1},
                                                 {istr(nullptr, 2), "ab", -1}};
    for (const auto& [left, right, sign] : cases) {
        SCOPED_TRACE(std::string(left) + "|" + std::string(right));
        const int order = left.compare(right);
        EXPECT_EQ((order > 0) - (order < 0), sign);
        EXPECT_EQ(left == right, sign == 0);
        EXPECT_EQ(left < right, sign < 0);
    }
    EXPECT_LT(iwstr(L"ab"), iwstr(L"abc"));
    EXPECT_NE(iwstr(L"a\x100"), iwstr(L"a\x200"));
}

TEST(View, PartsAreCutToTheView) {
    const istr text = "abcdef";
    const std::pair<istr, const char*> cases[] = {
        {text.substr(2, 2), "cd"},
        {text.substr(4, 9), "ef"},
        {text.substr(9, 1), ""},
        {text.leftstr(9), "abcdef"},
        {text.rightstr(2), "ef"},
        {text.rightstr(npos), "abcdef"},
        {text.removeLeft(2), "cdef"},
        {text.removeRight(istr("xy")), "abcd"},
        {istr(" \t\r\na b \v\f").trim(), "a b"},
        // The byte after the view ends the trimming, or is one blank too many.
        {istr("  x", 2).trimLeft(), ""}};
    for (const auto& [part, expected] : cases)
        EXPECT_EQ(part, expected);
    EXPECT_EQ(raisedIn<OutOfRangeException>([] { istr("   ", 2).trimLeft(); }),
              "qor::StringSlice::operator ++");
    EXPECT_EQ(text.removeLeft(7).size(), 0xFFFFFFFFUL);
    EXPECT_TRUE(text.beginWith("abc") && text.match("") && text.endWith("def"));
    EXPECT_FALSE(text.beginWith("abcdefg") || text.endWith("xabcdef"));
    EXPECT_EQ(iwstr(L" \tab ").trimLeft().rightstr(2), L"b ");

    istr null(nullptr, 5);
    EXPECT_TRUE(null.trim().is_null() && null.substr(2).is_null() && null.next(2).is_null());
    EXPECT_EQ(null.end(), nullptr);
    EXPECT_EQ(*null, '\0');
}

TEST(View, WalksAsACursor) {
    istr cursor = "abcdef";
    EXPECT_EQ(cursor.next(2), "ab");
    EXPECT_EQ(cursor++, "cdef");
    EXPECT_EQ(*++cursor, 'e');
    EXPECT_EQ(cursor--, "ef");
    cursor += 100;
    EXPECT_TRUE(cursor.eof());
    EXPECT_EQ(++cursor, "");
    EXPECT_EQ(cursor - 2, "ef");
    cursor -= 6;
    EXPECT_EQ(cursor + 4, "ef");
    EXPECT_EQ(cursor.next(npos).size() + cursor.left(), 6UL);
}

TEST(View, IsWrittenAndFlushedUnlessEmpty) {
    struct Flushes : std::stringbuf {
        int sync() override { return ++count, 0; }
        int count = 0;
    } buffer;
    std::ostream os(&buffer);
    os << istr() << istr("");
    EXPECT_EQ(buffer.count, 0);
    os << istr("a\0b", 3);
    EXPECT_EQ(buffer.count, 1);
    istr("abcd", 3).dump(os << '|');
    istr().dump(os << '|');
    EXPECT_EQ(buffer.str(), std::string("a\0b|3, abc|0, ", 14));
}

}  // namespace
}  // namespace qor
