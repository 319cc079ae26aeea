#include "qor/base/base_type_string.h"

#include "support/test.h"

namespace qor {
namespace {

const char* const kNullText = nullptr;
const wchar_t* const kWideNull = nullptr;

TEST(String, NullReadsAsNoText) {
    EXPECT_EQ(String(kNullText) + String(nullptr) + String(istr(nullptr, 5)) + String(kWideNull),
              "");
    String text = "abc";
    ((text += kNullText) += istr(nullptr, 5)) += kWideNull;
    EXPECT_EQ(text, "abc");
    EXPECT_EQ(text = kNullText, "");
    EXPECT_TRUE(text == kNullText && text >= kNullText && String("a") > kNullText);
    EXPECT_TRUE(!String::null() && &String::null() == &String::null());
    EXPECT_EQ(static_cast<void*>(text), nullptr);
}

TEST(String, GenericComparisonsGoByTheText) {
    const String low = "a", high = "b";
    EXPECT_TRUE(std::less<>()(low, high) && std::greater<>()(high, low));
    EXPECT_FALSE(std::less<>()(high, low) || std::greater<>()(low, high));
    EXPECT_TRUE(std::less_equal<>()(low, high) && std::greater_equal<>()(high, low));
    EXPECT_FALSE(std::less_equal<>()(high, low) || std::greater_equal<>()(low, high));
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
    EXPECT_EQ(static_cast<void*>(text), &text);
    EXPECT_EQ(text = bytes, "uc");
    EXPECT_EQ(String(bytes, 1), "u");
    text = String(std::wstring(L"\u00E9a"), 65001);
    text += L"\u20AC";
    EXPECT_EQ(bytes2hexstr(text), "C3A961E282AC");
    EXPECT_EQ(std::wstring(text), L"\u00E9a\u20AC");
    EXPECT_EQ(text = iwstr(L"xyz", 2), "xy");
    EXPECT_EQ(String::fromWstring(L"w").toUtf8(), "w");
}

TEST(String, ComparesWithViews) {
    const String text = "abc";
    const Bytes bytes(istr("abc"));
    EXPECT_TRUE(text == "abc" && "abc" == text && text == istr("abc") && istr("abc") == text);
    EXPECT_TRUE(text == std::string("abc") && std::string("abc") == text && text == text);
    EXPECT_TRUE(text == bytes && bytes == text && text == std::string_view("abc"));
    EXPECT_TRUE("abb" < text && text < istr("abd") && istr("ab") < text && text >= bytes);
    EXPECT_TRUE(String("a\xFF") > String("a\x01"));
    EXPECT_FALSE(String(istr("a\0", 2)) == "a");
}

TEST(String, ReplacesAndTrims) {
    String self = "ab";
    std::wstring wide = L"aaa";
    trimLeftRight(wide, L'a');
    const std::pair<String, const char*> cases[] = {
        {String("aXbXc").replace("X", "XX"), "aXXbXXc"},
        {String("aaa").replace("aa", "b"), "ba"},
        {String("abc").replace("abc", ""), ""},
        {String("abc").replace("x", "y").replace("", "z"), "abc"},
        {self.replace("b", self), "aab"},
        {self.replace(self, "x"), "x"},
        {String("\"\"a\"\"").trimLeftRight('"'), "\"a\""},
        {String("a").trimLeftRight('a'), "a"},
        {String("aa").trimLeftRight('a'), ""},
        {String("ab").trimLeftRight('a'), "ab"},
        {String(wide), "a"}};
    for (const auto& [result, expected] : cases)
        EXPECT_EQ(result, expected);
}

}  // namespace
}  // namespace qor
