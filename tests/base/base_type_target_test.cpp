#include "qor/base/base_type_target.h"

#include <gtest/gtest.h>

#include <sstream>

#include "qor/base/base_type_string.h"

namespace qor {
namespace {

char* const kNull = nullptr;

// A room between two marks that show whether something wrote outside of it.
struct Room {
    Room() { std::strcpy(data + 1, "old"); }
    bool untouched(unsigned long capacity) const {
        return data[0] == '\x7F' && std::string(data + 1 + capacity, 4) == "\x7F\x7F\x7F\x7F";
    }
    // The room with its marks in place behind `capacity` bytes.
    char* of(unsigned long capacity) {
        data[0] = '\x7F';
        std::memset(data + 1 + capacity, 0x7F, 4);
        return data + 1;
    }
    char data[32];
};

TEST(Target, CutsTextToTheRoom) {
    const struct {
        unsigned long capacity;
        istr text;
        const char* result;
    } cases[] = {{4, "abcdef", "abc"}, {4, "abc", "abc"},         {1, "abc", ""},
                 {4, istr(), ""},      {8, istr("a\0b", 3), "a"}, {8, istr("abcdef", 2), "ab"}};
    for (const auto& [capacity, text, result] : cases) {
        SCOPED_TRACE(std::string(text));
        Room room;
        ostr target(room.of(capacity), capacity);
        target = text;
        EXPECT_STREQ(target.data(), result);
        EXPECT_TRUE(room.untouched(capacity));
    }
    Room room;
    ostr(room.of(4), 0) = "abc";
    EXPECT_STREQ(room.data + 1, "old");
    wchar_t wide[4];
    owstr wideTarget(wide, 4);
    wideTarget = L"abcdef";
    EXPECT_STREQ(wide, L"abc");
}

TEST(Target, AssigningAnotherTargetRebinds) {
    char first[8] = "first", second[8] = "second";
    ostr target(first, 8);
    target = ostr(second, 8);
    EXPECT_EQ(target.data(), second);
    Str text(first, 8);
    text = Str(second, 8);
    EXPECT_EQ(text.data(), second);
    EXPECT_STREQ(first, "first");
    // But an area of memory copies its bytes.
    Mem memory(first, 4);
    memory = Mem(second, 8);
    EXPECT_STREQ(first, "secot");
}

TEST(Target, TellsRoomAndText) {
    char data[16] = "abc";
    const ostr target(data, 16);
    const Str text(data, 16);
    EXPECT_EQ(istr(target).size(), 16UL);
    EXPECT_EQ(istr(text), "abc");
    EXPECT_EQ(target.sizeN(2), 2UL);
    EXPECT_EQ(target.end(), data + 3);
    EXPECT_EQ(text.left(), 13UL);
    EXPECT_EQ(Str(data, npos).left(), npos);
    EXPECT_TRUE(text.isEnd(3) && !text.isEnd(2) && !text.empty());
    data[0] = '\0';
    EXPECT_TRUE(!target.empty() && text.empty());
}

TEST(Target, PartsAreCutToTheRoom) {
    char data[8] = "abcdefg";
    const ostr target(data, 8);
    EXPECT_EQ(target.substr(2, 3).max_size(), 3UL);
    EXPECT_EQ(target.substr(6, 9).max_size(), 2UL);
    EXPECT_EQ(target.rightstr(3).data(), data + 5);
    EXPECT_EQ(target.rightstr(npos).max_size(), 8UL);
    EXPECT_EQ(ostr(kNull, 8).substr(4).data(), nullptr);
    // Only a known room has a last place to terminate.
    ostr(data, 4).clear();
    ostr(data, npos).reset();
    EXPECT_EQ(std::string(data, 4), std::string("\0bcd", 4));
    ostr(data, 4).reset();
    EXPECT_EQ(data[3], '\0');
}

TEST(Str, CatIsBoundedByTheViewsSize) {
    char data[16] = "ab";
    Str text(data, 16);
    text += istr("cd\0\0\0", 4);
    EXPECT_STREQ(data, "ab");
    text += istr("cd\0\0\0", 5);
    EXPECT_STREQ(data, "abcd");
}

TEST(Str, FillPutsTheTerminatorOnTheLastByte) {
    const struct {
        unsigned long n;
        const char* result;
    } cases[] = {{4, "xxx"}, {1, ""}, {7, "xxxxxx"}, {100, "xxxxxx"}, {npos, "xxxxxx"}, {0, "old"}};
    for (const auto& [n, result] : cases) {
        Room room;
        Str(room.of(8), 8).fill('x', n);
        EXPECT_STREQ(room.data + 1, result) << n;
        EXPECT_TRUE(room.untouched(8)) << n;
    }
}

TEST(Str, ComparesItsText) {
    char data[16] = "Hello";
    const Str text(data, 16);
    EXPECT_TRUE(text == "Hello" && "Hello" == text && text == String("Hello") && text != "hello");
    EXPECT_TRUE(text < "Help" && text > "Hell" && text == text);
    EXPECT_TRUE(text.is("hELLO") && text.isNot("hell") && text.is("hellx", 4));
    EXPECT_TRUE(text.cmp("Help", 3) == 0 && text.cmpNoCase("HELL") > 0 && text.cmp(kNull) > 0);
    EXPECT_TRUE(text.beginWith("Hello", 5) && text.beginWith("Hell", 4));
    EXPECT_TRUE(text.beginWith("heLLx", 4, true) && !text.beginWith("heLL", 4));
    EXPECT_TRUE(text.beginWith("Hello", npos) && !text.beginWith("Hell", 5));
    // The end is the end of the room.
    EXPECT_TRUE(Str(data, 6).endWith("lo", 3) && Str(data, 5).endWith("LO", 2, true));
    EXPECT_FALSE(text.endWith("lo", 3));
}

TEST(Mem, CopiesTheSmallerSize) {
    char data[8] = "zzzzzzz";
    Mem memory(data, 4);
    memory = "ab";
    EXPECT_STREQ(data, "abzzzzz");
    memory.copyZ("vwxyz");
    EXPECT_EQ(std::string(data, 8), std::string("vwx\0zzz\0", 8));
    EXPECT_EQ(memory.cmp("vwx"), 1);
    EXPECT_LT(memory.cmp("w"), 0);
    memory.fill('q');
    Mem(data, 0).copyZ("x");
    EXPECT_STREQ(data, "qqqqzzz");
}

}  // namespace
}  // namespace qor
