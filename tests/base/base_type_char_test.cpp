#include "qor/base/base_type_char.h"

#include "support/test.h"

namespace qor {
namespace {

const char* const kNull = nullptr;

int sign(int order) {
    return (order > 0) - (order < 0);
}

TEST(Text, ComparesNullAndEmptyTexts) {
    const struct {
        const char *left, *right;
        unsigned long n;
        bool noCase;
        int sign;
    } cases[] = {{kNull, "", npos, false, 0},    {"", "a", npos, false, -1},
                 {"a", kNull, npos, false, 1},   {"abc", "abd", 2, false, 0},
                 {"abc", "xyz", 0, false, 0},    {"abc", "ABD", npos, true, -1},
                 {"abc", "ABC", npos, false, 1}, {"\xE9", "a", npos, false, 1},
                 {"abcd", "abc", npos, true, 1}, {"abc", "ab", 0xFFFFFFFFUL, true, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(SafeStr(c.left)) + "|" + SafeStr(c.right));
        EXPECT_EQ(sign(StrCmpW(c.left, c.right, c.n, c.noCase)), c.sign);
        EXPECT_EQ(sign(StrCmpW(istr(c.left), istr(c.right), c.n, c.noCase)), c.sign);
        EXPECT_EQ(sign(StrCmpW(istr(c.right), istr(c.left), c.n, c.noCase)), -c.sign);
    }
    EXPECT_EQ(StrCmpW(istr("abcd", 3), istr("abcx", 3)), 0);
    EXPECT_EQ(StrCmpW(istr("abcde"), istr("abc"), 4), 1);
    EXPECT_TRUE(StrBeginWith("abc", istr("abx", 2)) && StrBeginWith("abc", ""));
    EXPECT_FALSE(StrBeginWith(kNull, "a"));
}

TEST(Text, IsCopiedAndChanged) {
    char data[8] = "zzzzzzz";
    EXPECT_EQ(StrCopy(data, "abcdef", 2), data);
    EXPECT_EQ(istr(data, 8), istr("ab\0zzzz\0", 8));
    EXPECT_STREQ(StrCopy(data, "abc", npos - 1), "abc");
    EXPECT_STREQ(StrCopy(data, data, 1), "abc");
    EXPECT_STREQ(StrSafeCat(data, "de", 6), "abcde");
    EXPECT_STREQ(StrSafeCat(data, "fgh", 8), "abcde");
    char twice[20] = "own text";
    EXPECT_STREQ(StrSafeCat(twice, twice, sizeof twice), "own textown text");
    EXPECT_STREQ(StrToUpper(data, 1), "Abcde");
    EXPECT_STREQ(StrToLower(data), "abcde");
    EXPECT_STREQ(StrCopy(data, nullptr, 3), "");
    std::string text = "ab \t\n";
    StrTrimRight(text);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(StrLen("abc", 0xFFFFFFFFUL) * 10 + StrLen("abc", 7), 37UL);
    EXPECT_EQ(StrLenN("abc", 2) + StrLenN("abc", 9) + StrLenN(kNull, 9), 5UL);
    EXPECT_TRUE(StrIsAllDigits("0189"));
    EXPECT_FALSE(StrIsAllDigits("") || StrIsAllDigits(kNull) || StrIsAllDigits("01a"));
}

TEST(Memory, TakesNull) {
    char data[6] = "abcde";
    EXPECT_EQ(MemSet(nullptr, 1, 4), MemCopy(nullptr, "x", 1));
    EXPECT_EQ(MemCopy(data, nullptr, 3), data);
    EXPECT_STREQ(static_cast<char*>(MemCopyZ(data, "xy", 2)), "xy");
    EXPECT_EQ(data[3], 'd');
    EXPECT_STREQ(static_cast<char*>(MemCopyZ(data, nullptr, 3)), "");
    EXPECT_EQ(MemCmp(nullptr, "a", 1), -1);
    EXPECT_EQ(MemCmp("a", nullptr, 1), 1);
    EXPECT_GT(MemCmp("\xFF", "\x01", 1), 0);
}

TEST(Char, IsReadOutOfRangeButNotWritten) {
    char data[] = "abc";
    const char* text = data;
    EXPECT_EQ(&CharAt(text, 2, 2), text + 2);
    EXPECT_EQ(CharAt(text, 2, 3) + CharAt(kNull, 2, 0), '\0');
    EXPECT_TRUE(CharIn('\0', "abc") && CharIn('\0', nullptr) && !CharIn('x', nullptr));
    CharAt(data, 3, 0) = 'x';
    EXPECT_STREQ(data, "xbc");
    EXPECT_EQ(raisedIn<OutOfRangeException>([&] { CharAt(data, 3, 4) = 'y'; }), "qor::CharAt");
    EXPECT_THROW(CharAt(static_cast<unsigned char*>(nullptr), 3, 0), OutOfRangeException);
}

TEST(Hex, Digits) {
    const char digits[] = "0123456789ABCDEF";
    for (int c = 0; c < 256; ++c) {
        const char digit = static_cast<char>(c);
        const char* found = c != 0 ? std::strchr(digits, CharToUpper(digit)) : nullptr;
        const int value = found != nullptr ? static_cast<int>(found - digits) : -1;
        EXPECT_EQ(hexchar2int(digit), value) << c;
        EXPECT_EQ(HexFromChar(digit), value < 0 ? 255 : value) << c;
        EXPECT_EQ(byte2hexstr(static_cast<unsigned char>(c)),
                  String() + digits[c / 16] + digits[c % 16]);
    }
    EXPECT_EQ(hexstr2byte('g', '0'), 255);
    EXPECT_EQ(hexstr2byte("1Fx"), 0x1F);
    EXPECT_EQ(hexstr2byte(istr()), 255);
}

TEST(Hex, NumbersAndBytes) {
    EXPECT_EQ(bytes2hexstr(istr("\x01\xAB\0", 3)), "01AB00");
    EXPECT_EQ(int2hexstr(0x123456, 2), "3456");
    EXPECT_EQ(int2hexstr(~0ULL, 9), "00FFFFFFFFFFFFFFFF");
    EXPECT_EQ(int2hexstr(5, 0), "");
    String text = "=";
    bytes2hexstr(text, text);
    int2hexstr(0xAB, 1, text);
    EXPECT_EQ(text, "=3DAB");
    EXPECT_THROW(int2hexstr(1, ~0UL / 2 + 2, text), std::bad_alloc);
    EXPECT_EQ(hexstr2int("12aF"), 0x12AFULL);
    EXPECT_EQ(hexstr2int("112233445566778899"), 0x2233445566778899ULL);
    EXPECT_EQ(hexstr2int("12x"), ~0ULL);
    EXPECT_EQ(bytes2int(istr("\x01\0\xFF", 3)), 0x100FFULL);
}

TEST(Print, NamesUnprintableCharacters) {
    std::ostringstream os;
    for (char c = 0; c < 32; ++c)
        Print(os, c);
    for (const char c : {' ', 'A', '\x7F', '\xFF'})
        Print(os, c);
    Print(os << 10 << ' ', kNull);
    EXPECT_EQ(os.str(),
              "<NUL>^A^B^C^D^E^F^G<BS><HT><LF><VT><FF><CR>^N^O^P^Q^R^S^T^U^V^W^X^Y^Z<ESC>"
              "^\\^]^^^_ A\\177\\37710 <null>");
}

TEST(Environment, IsEmptyWhenUnset) {
    ::setenv("QOR_TEST_VARIABLE", "value", 1);
    EXPECT_EQ(qor::getenv("QOR_TEST_VARIABLE"), "value");
    EXPECT_EQ(qor::getenv("QOR_TEST_VARIABLE_2") + qor::getenv(nullptr), "");
}

}  // namespace
}  // namespace qor
