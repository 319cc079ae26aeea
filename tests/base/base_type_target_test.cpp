#include "qor/base/base_type_target.h"

#include "support/test.h"

namespace qor {
namespace {

// Memory that holds "old" between marks that show whether something wrote outside of a room in it.
class Room {
public:
    explicit Room(unsigned long capacity) : capacity_(capacity) {
        std::memset(data_, 0x7F, sizeof data_);
        std::strcpy(data(), "old");
        std::memset(data() + capacity, 0x7F, 4);
    }
    ~Room() {
        EXPECT_EQ(data_[0], '\x7F');
        EXPECT_EQ(std::string(data() + capacity_, 4), "\x7F\x7F\x7F\x7F");
    }
    char* data() { return data_ + 1; }

private:
    unsigned long capacity_;
    char data_[32];
};

TEST(Target, CutsTextToTheRoom) {
    const std::tuple<unsigned long, istr, const char*> cases[] = {
        {4, "abcdef", "abc"}, {4, "abc", "abc"},         {1, "abc", ""},
        {4, istr(), ""},      {8, istr("a\0b", 3), "a"}, {8, istr("abcdef", 2), "ab"}};
    for (const auto& [capacity, text, result] : cases) {
        Room room(capacity);
        ostr(room.data(), capacity) = text;
        EXPECT_STREQ(room.data(), result) << text;
    }
    Room none(0);
    ostr(none.data(), 0) = "abc";
    wchar_t wide[4];
    owstr(wide, 4) = L"abcdef";
    EXPECT_STREQ(wide, L"abc");
}

TEST(Target, AssigningAnotherTargetRebinds) {
    char first[8] = "first", second[8] = "second";
    ostr target(first, 8);
    target = ostr(second, 8);
    Str text(first, 8);
    text = Str(second, 8);
    EXPECT_TRUE(target.data() == second && text.data() == second);
    EXPECT_STREQ(first, "first");
    // But an area of memory copies its bytes.
    Mem memory(first, 4);
    memory = Mem(second, 8);
    EXPECT_STREQ(first, "secot");
}

TEST(Target, KnowsItsRoomAndItsText) {
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
    EXPECT_EQ(ostr(static_cast<char*>(nullptr), 8).substr(4).data(), nullptr);
    // Only a known room has a last place to terminate; an unknown one ends with its text.
    const Str open(data, npos);
    EXPECT_TRUE(open.endWith("fg", 2) && open.rightstr(9).max_size() == npos32);
    open.ostr::substr(1).reset();
    EXPECT_EQ(istr(data, 4), istr("a\0cd", 4));
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
    const std::pair<unsigned long, const char*> cases[] = {
        {4, "xxx"}, {1, ""}, {7, "xxxxxx"}, {100, "xxxxxx"}, {npos, "xxxxxx"}, {0, "old"}};
    for (const auto& [n, result] : cases) {
        Room room(8);
        Str(room.data(), 8).fill('x', n);
        EXPECT_STREQ(room.data(), result) << n;
    }
}

TEST(Str, ComparesItsText) {
    char data[16] = "Hello";
    const Str text(data, 16);
    EXPECT_TRUE(text == "Hello" && "Hello" == text && text == String("Hello") && text != "hello");
    EXPECT_TRUE(text < "Help" && text > "Hell" && text == text);
    EXPECT_TRUE(text.is("hELLO") && text.isNot("hell") && text.is("hellx", 4));
    EXPECT_TRUE(text.cmp("Help", 3) == 0 && text.cmpNoCase("HELL") > 0);
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
    EXPECT_EQ(istr(data, 8), istr("vwx\0zzz\0", 8));
    EXPECT_EQ(memory.cmp("vwx"), 1);
    EXPECT_LT(memory.cmp("w"), 0);
    memory.fill('q');
    Mem(data, 0).copyZ("x");
    EXPECT_STREQ(data, "qqqqzzz");
}

}  // namespace
}  // namespace qor
