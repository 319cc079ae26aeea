#include "qor/base/base_type_auto.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(Buffer, HasOnePlaceForATerminator) {
    CharBuffer buffer(5);
    EXPECT_EQ(std::string(buffer.data(), buffer.max_size()), std::string(6, '\0'));
    static_cast<ostr>(buffer) = "abcdefgh";
    EXPECT_EQ(istr(buffer), "abcde");
    // A copy has the byte after the view in that place, and need not be terminated.
    const CharBuffer cut(istr("abc", 2));
    EXPECT_EQ(cut.max_size(), 3UL);
    EXPECT_EQ(istr(cut), "abc");
    EXPECT_EQ(iwstr(WcharBuffer(iwstr(L"ab"))), L"ab");
    EXPECT_EQ(CharBuffer(istr()).max_size(), 1UL);
    EXPECT_EQ(CharBuffer(istr()).size(), 0UL);
    EXPECT_THROW(CharBuffer(0xFFFFFFFEUL), std::bad_alloc);
    EXPECT_THROW(WcharBuffer(-1), std::bad_alloc);
}

TEST(Buffer, OwnsItsBlockAndReleasesIt) {
    CharBuffer buffer(istr("abc"));
    CharBuffer copy = buffer;
    buffer = istr("new text");
    EXPECT_STREQ(copy.data(), "abc");
    copy = buffer;
    EXPECT_STREQ(copy.data(), "new text");
    const char* block = buffer.data();
    AutoPtr<char> first(buffer.release());
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.max_size() + buffer.size(), 0UL);
    EXPECT_EQ(CharBuffer(buffer).data(), nullptr);
    AutoPtr<char> second = first;
    EXPECT_EQ(first.get(), nullptr);
    first = second;
    EXPECT_EQ(first.get(), block);
}

}  // namespace
}  // namespace qor
