#include "qor/string/string_ref.h"

#include <gtest/gtest.h>

#include <functional>

#include "qor/base/exception.h"
#include "qor/log/log_dumper.h"
#include "support/raised.h"

namespace qor {
namespace {

// Memory of 8 bytes full of '#', of which a cursor sees the first `capacity`.
struct Field {
    explicit Field(unsigned long capacity) : ref(memory, capacity) {}
    std::string all() const { return std::string(memory, sizeof memory); }
    char memory[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
    StringRef ref;
};

const std::string kZero(1, '\0');

TEST(StringRef, WritesAsMuchAsFits) {
    const struct {
        const char* name;
        std::function<void(StringRef&)> write;
        unsigned long position;
        std::string memory;
    } cases[] = {
        {"Fits", [](StringRef& r) { r.append("ab"); }, 2, "ab" + kZero + "#####"},
        {"Fills", [](StringRef& r) { r.append("abcdef"); }, 4, "abcd####"},
        {"Part", [](StringRef& r) { r.append("abcdef", 1); }, 1, "a" + kZero + "######"},
        {"Null", [](StringRef& r) { r.append(static_cast<char*>(nullptr), 3); }, 0,
         kZero + "#######"},
        {"Stream", [](StringRef& r) { r << "a" << 'b' << Byte('c') << String("de"); }, 4,
         "abcd####"},
        {"FullTakesNothing", [](StringRef& r) { (r += istr("abcd")) += 'e'; }, 4, "abcd####"},
        {"Assign", [](StringRef& r) { r.append("abc").assign("x"); }, 1,
         "x" + kZero + "c" + kZero + "####"},
        {"AssignView", [](StringRef& r) { r.append("abc") = istr("y"); }, 1,
         "y" + kZero + "c" + kZero + "####"},
        {"CopyWrites", [](StringRef& r) { r.append("a") + 'b' + istr("c"); }, 1,
         "abc" + kZero + "####"},
        {"Fill", [](StringRef& r) { r.append("a").fill('x', 2); }, 3, "axx" + kZero + "####"},
        {"FillAll", [](StringRef& r) { r.fill('x', npos); }, 4, "xxxx####"},
        {"Advance", [](StringRef& r) { ++r.advance(2); }, 3, "##" + kZero + kZero + "####"},
        {"Shift", [](StringRef& r) { r.append("ab").shift(1).append("cdef"); }, 3, "acde####"},
        {"ShiftPastTheEnd", [](StringRef& r) { r.shift(9).append("a"); }, 0, "########"},
        {"Lost", [](StringRef& r) { r.rewind(6).append("a").fill('b', 1); }, 6, "########"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Field field(4);
        c.write(field.ref);
        EXPECT_EQ(field.ref.size(), c.position);
        EXPECT_EQ(field.all(), c.memory);
    }
}

TEST(StringRef, DoesNotMovePastTheCapacity) {
    Field field(4);
    StringRef& ref = field.ref.advance(4);
    const struct {
        const char* function;
        std::function<void()> move;
    } moves[] = {
        {"qor::StringRef::advance", [&] { ref.advance(1); }},
        {"qor::StringRef::operator ++", [&] { ++ref; }},
        {"qor::StringRef::operator ++", [&] { ref << 'x'; }},
        {"qor::CharAt", [&] { ref.at(4) = 'x'; }},
    };
    for (const auto& [function, move] : moves) {
        EXPECT_EQ(support::raisedIn<OutOfRangeException>(move), function);
        EXPECT_EQ(ref.size(), 4U);
        EXPECT_EQ(field.all(), "########");
    }
}

TEST(StringRef, PlacesTextInTheField) {
    const struct {
        const char* name;
        unsigned long capacity;
        std::function<void(StringRef&)> place;
        const char* memory;
    } cases[] = {
        {"Left", 8, [](StringRef& r) { r.left("abc"); }, "abc ####"},
        {"LeftCut", 4, [](StringRef& r) { r.left("abcdef"); }, "abc ####"},
        {"LeftOne", 1, [](StringRef& r) { r.left("abc"); }, " #######"},
        {"LeftNone", 0, [](StringRef& r) { r.left("abc"); }, "########"},
        {"Right", 8, [](StringRef& r) { r.right("abc"); }, "#### abc"},
        {"RightCut", 4, [](StringRef& r) { r.right("abcdef"); }, " def####"},
        {"RightNone", 0, [](StringRef& r) { r.right("abc"); }, "########"},
        {"RightFill", 8, [](StringRef& r) { r.right('x', 2); }, "##### xx"},
        {"RightFillCut", 4, [](StringRef& r) { r.right('x', npos); }, " xxx####"},
        {"Center", 8, [](StringRef& r) { r.center("abc"); }, "# abc ##"},
        {"CenterCut", 5, [](StringRef& r) { r.center("abcdef"); }, " bcd ###"},
        {"CenterEmpty", 8, [](StringRef& r) { r.center(""); }, "########"},
        {"CenterOne", 1, [](StringRef& r) { r.center("abc"); }, "########"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Field field(c.capacity);
        field.ref.rewind(1);
        c.place(field.ref);
        EXPECT_EQ(field.all(), c.memory);
        EXPECT_EQ(field.ref.size(), 1U);
    }
}

TEST(StringRef, TakesTheRoomOfOthers) {
    Bytes owner(4);
    StringRef ref(owner);
    ref << "abcdef";
    owner.size(ref.size());
    EXPECT_EQ(istr(owner), istr("abcd"));
    char memory[4];
    ostr target(memory, sizeof memory);
    EXPECT_EQ(StringRef(target).max_size(), 4U);
    EXPECT_EQ(StringRef(static_cast<char*>(nullptr), 4).append("abc").left(), 0U);
}

TEST(StringRef, ShowsItself) {
    Field field(4);
    dumper d(true);
    field.ref.append("ab").dump(d);
    EXPECT_EQ(d.str(), "{buffer_='ab' curSize_=2 maxSize_=4}");
}

}  // namespace
}  // namespace qor
