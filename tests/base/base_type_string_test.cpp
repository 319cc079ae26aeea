#include "qor/base/base_type_string.h"

#include <gtest/gtest.h>

#include "qor/base/base_type_bytes.h"

namespace qor {
namespace {

const char* const kNull = nullptr;
const wchar_t* const kWideNull = nullptr;

TEST(String, NullReadsAsNoText) {
    EXPECT_EQ(String(kNull) + String(nullptr) + String(istr(nullptr, 5)) + String(kWideNull), "");
    String text = "abc";
    text += kNull;
    text += istr();
    text += kWideNull;
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(text = kNull, "");
    EXPECT_TRUE(text == kNull && text >= kNull && String("a") > kNull);
}

TEST(String, TakesEveryKindOfText) {
    const unsigned char bytes[] = "uc";
    String text("abcdef", 3);
    text += 'd';
    text += static_cast<unsigned char>('e');
    text += bytes;
    text += istr("|\0|", 3);
    text += std::string("s");
    text += String("t");
    text += text;
    EXPECT_EQ(text, std::string("abcdeuc|\0|stabcdeuc|\0|st", 24));
    EXPECT_EQ(String("ab") + 'c' + String("d") + "e", "abcde");
    text = bytes;
    EXPECT_EQ(text, "uc");
    EXPECT_EQ(String(bytes, 1), "u");
}

TEST(String, ConvertsWideText) {
    String text(std::wstring(L"\u00E9a"), 65001);
    EXPECT_EQ(bytes2hexstr(text), "C3A961");
    text += L"\u20AC";
    EXPECT_EQ(std::wstring(text), L"\u00E9a\u20AC");
    EXPECT_EQ(text = iwstr(L"xyz", 2), "xy");
    EXPECT_EQ(String::fromWstring(L"w").toUtf8(), "w");
}

TEST(String, ComparesWithWhatIsSeenAsAView) {
    const String text = "abc";
    const Bytes bytes(istr("abc"));
    const std::string_view view = "abc";
    EXPECT_TRUE(text == "abc" && "abc" == text && text == istr("abc") && istr("abc") == text);
    EXPECT_TRUE(text == std::string("abc") && std::string("abc") == text && text == text);
    EXPECT_TRUE(text == bytes && bytes == text && text == view && view == text);
    EXPECT_TRUE("abb" < text && text < istr("abd") && istr("ab") < text && text >= bytes);
    EXPECT_TRUE(String("a\xFF") > String("a\x01"));
    EXPECT_FALSE(String(istr("a\0", 2)) == "a");
}

TEST(String, ReplacesWhatStoodThereBefore) {
    EXPECT_EQ(String("aXbXc").replace("X", "XX"), "aXXbXXc");
    EXPECT_EQ(String("aaa").replace("aa", "b"), "ba");
    EXPECT_EQ(String("abc").replace("abc", ""), "");
    EXPECT_EQ(String("abc").replace("x", "y").replace("", "z"), "abc");
    String self = "ab";
    EXPECT_EQ(self.replace("b", self), "aab");
    EXPECT_EQ(self.replace(self, "x"), "x");
}

TEST(String, TrimsOneLayer) {
    EXPECT_EQ(String("\"\"a\"\"").trimLeftRight('"'), "\"a\"");
    EXPECT_EQ(String("a").trimLeftRight('a') + String("aa").trimLeftRight('a'), "a");
    EXPECT_EQ(String("ab").trimLeftRight('a'), "ab");
    std::wstring wide = L"aaa";
    trimLeftRight(wide, L'a');
    EXPECT_EQ(wide, L"a");
}

TEST(String, IsTrueWhenThereIsText) {
    const String text = "abc";
    EXPECT_EQ(static_cast<void*>(text), static_cast<const void*>(&text));
    EXPECT_EQ(static_cast<void*>(String()), nullptr);
    EXPECT_TRUE(!String::null() && &String::null() == &String::null());
}

}  // namespace
}  // namespace qor
