#include "qor/base/base_type_bytes.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(Bytes, StartsWithTheGivenContent) {
    const struct {
        Bytes bytes;
        unsigned long capacity;
        istr content;
    } cases[] = {{Bytes(), 0, ""},
                 {Bytes(0), 0, ""},
                 {Bytes(istr("a\0b", 3)), 3, istr("a\0b", 3)},
                 {Bytes(istr(nullptr, 3)), 0, ""},
                 {Bytes(istr("ab"), 4, 'x'), 4, "abxx"},
                 {Bytes(istr("abcdef"), 4, 'x'), 4, "abcd"},
                 {Bytes(istr(nullptr, 3), 2, 'x'), 2, "xx"}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.bytes.max_size(), c.capacity);
        EXPECT_EQ(istr(c.bytes), c.content);
        // A copy has the size as its capacity, and at least 2.
        const Bytes copy = c.bytes;
        EXPECT_EQ(copy.max_size(), std::max(c.content.size(), 2UL));
        EXPECT_EQ(copy, c.content);
    }
    EXPECT_EQ(Bytes().c_str(), nullptr);
    Bytes full(3);
    full.fill('x');
    EXPECT_STREQ(full.c_str(), "xxx");
    EXPECT_TRUE(full.empty());
}

TEST(Bytes, FromBase64AndToAStream) {
    const Bytes bytes(base64("AP8g\r\n/w=="));
    EXPECT_EQ(bytes, istr("\0\xFF \xFF", 4));
    EXPECT_TRUE(Bytes(base64("")).empty());
    std::ostringstream os;
    os << std::setw(10) << std::setfill('.') << bytes << Bytes() << '|'
       << Bytes(istr(std::string(60, 'M')));
    std::string text = "..AP8g/w==|";
    for (int i = 0; i < 20; ++i)
        text += "TU1N";
    EXPECT_EQ(os.str(), text);
}

TEST(Bytes, GrowsAndNeverShrinks) {
    Bytes bytes(istr("abc"));
    const std::pair<unsigned long, unsigned long> steps[] = {{2, 3}, {3, 3},     {4, 8},
                                                             {8, 8}, {100, 100}, {101, 202}};
    for (const auto& [n, capacity] : steps) {
        bytes.resize(n);
        EXPECT_EQ(bytes.max_size(), capacity) << n;
        EXPECT_EQ(bytes, "abc");
    }
    EXPECT_THROW(bytes.resize(kTooLarge), std::bad_alloc);
    EXPECT_THROW(int2bytes(1, ~0UL, bytes), std::bad_alloc);
    EXPECT_THROW(int2bytes(1, 0xFFFFFFFEUL, bytes), std::bad_alloc);
    EXPECT_THROW(Bytes(0xFFFFFFFFUL), std::bad_alloc);
    EXPECT_EQ(bytes, "abc");
    bytes.init(1);
    EXPECT_EQ(bytes.size() + bytes.max_size(), 202UL);
    bytes.clear();
    EXPECT_EQ(bytes.data(), nullptr);
}

TEST(Bytes, SourceMayBeAPartOfIt) {
    Bytes bytes(istr("abcd"));
    bytes += bytes;
    EXPECT_EQ(bytes, "abcdabcd");
    bytes += istr(bytes).rightstr(3);
    EXPECT_EQ(bytes, "abcdabcdbcd");
    bytes = istr(bytes).substr(4, 3);
    EXPECT_TRUE(bytes == "abc" && bytes > Bytes(istr("abb")) && "ab" < bytes);
}

TEST(Bytes, FromHexAndNumbers) {
    EXPECT_EQ(hexstr2bytes("01aBxx"), istr("\x01\xAB\xFF"));
    // A last single digit is read together with the terminator.
    EXPECT_EQ(hexstr2bytes("012"), istr("\x01\xFF"));
    EXPECT_TRUE(hexstr2bytes(istr(nullptr, 4)).empty());
    Bytes bytes(istr("="));
    hexstr2bytes("41", bytes);
    int2bytes(0x414243, 2, bytes);
    EXPECT_EQ(bytes, "=ABC");
    EXPECT_EQ(int2bytes(~0ULL, 9), istr("\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 9));
}

}  // namespace
}  // namespace qor
