#include "qor/base/base_type_auto.h"

#include <gtest/gtest.h>

#include "qor/base/base_type_string.h"

namespace qor {
namespace {

TEST(Buffer, HasOneZeroMoreThanAskedFor) {
    CharBuffer buffer(5);
    EXPECT_EQ(buffer.max_size(), 6UL);
    EXPECT_EQ(std::string(buffer.data(), 6), std::string(6, '\0'));
    static_cast<ostr>(buffer) = "abcdefgh";
    EXPECT_EQ(buffer.size(), 5UL);
    EXPECT_EQ(istr(buffer), "abcde");
    WcharBuffer wide(iwstr(L"ab"));
    EXPECT_EQ(wide.max_size(), 3UL);
    EXPECT_EQ(iwstr(wide), L"ab");
}

// The byte behind the view is copied with it.
TEST(Buffer, CopiesTheByteBehindAView) {
    const CharBuffer cut(istr("abc", 2));
    EXPECT_EQ(cut.max_size(), 3UL);
    EXPECT_EQ(std::string(cut.data(), 3), "abc");
    const CharBuffer none{istr()};
    EXPECT_EQ(none.max_size(), 1UL);
    EXPECT_EQ(none.size(), 0UL);
}

TEST(Buffer, CopiesAreItsOwn) {
    CharBuffer buffer(istr("abc"));
    CharBuffer copy = buffer;
    buffer = istr("new text");
    EXPECT_STREQ(copy.data(), "abc");
    copy = buffer;
    EXPECT_STREQ(copy.data(), "new text");
    EXPECT_NE(copy.data(), buffer.data());
}

TEST(Buffer, HandsItsBlockOver) {
    CharBuffer buffer(istr("abc"));
    const char* block = buffer.data();
    AutoPtr<char> first(buffer.release());
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.max_size() + buffer.size(), 0UL);
    EXPECT_EQ(CharBuffer(buffer).data(), nullptr);
    AutoPtr<char> second = first;
    EXPECT_EQ(first.get(), nullptr);
    EXPECT_EQ(second.get(), block);
    first = second;
    EXPECT_EQ(first.get(), block);
}

TEST(Buffer, RefusesWhatDoesNotFit32Bits) {
    EXPECT_THROW(CharBuffer(0xFFFFFFFEUL), std::bad_alloc);
    EXPECT_THROW(CharBuffer(-1), std::bad_alloc);
    EXPECT_THROW(WcharBuffer(1UL << 40), std::bad_alloc);
    EXPECT_EQ(WcharBuffer(iwstr(nullptr, -1)).size(), 0UL);
}

}  // namespace
}  // namespace qor
