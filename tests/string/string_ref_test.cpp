#include "qor/string/string_ref.h"

#include "support/test.h"

namespace qor {
namespace {

using Ref = StringRef&;

// Memory of 8 bytes full of '#'; a cursor may use the first `capacity`.
struct Field {
    explicit Field(unsigned long capacity) : ref(memory, capacity) {}
    // Zeros as dots.
    std::string all() const {
        std::string text(memory, sizeof memory);
        std::replace(text.begin(), text.end(), '\0', '.');
        return text;
    }
    char memory[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
    StringRef ref;
};

TEST(StringRef, WritesAndPlacesAsMuchAsFits) {
    const char* const null = nullptr;
    using Write = std::function<void(Ref)>;
    const std::tuple<unsigned long, Write, unsigned long, const char*> cases[] = {
        {4, [](Ref r) { r.append("abcdef"); }, 4, "abcd####"},
        {4, [](Ref r) { r.append("abcdef", 1); }, 1, "a.######"},
        {4, [&](Ref r) { r.append(null, 3); }, 0, ".#######"},
        {4, [](Ref r) { r << "a" << 'b' << Byte('c') << String("de"); }, 4, "abcd####"},
        {4, [](Ref r) { (r += istr("abcd")) += 'e'; }, 4, "abcd####"},
        {4, [](Ref r) { r.append("abc").assign("x"); }, 1, "x.c.####"},
        {4, [](Ref r) { r.append("abc") = istr("y"); }, 1, "y.c.####"},
        {4, [](Ref r) { r.append("a") + 'b' + istr("c"); }, 1, "abc.####"},
        {4, [](Ref r) { r.append("a").fill('x', 2); }, 3, "axx.####"},
        {4, [](Ref r) { r.fill('x', npos); }, 4, "xxxx####"},
        {4, [](Ref r) { ++r.advance(2); }, 3, "##..####"},
        {4, [](Ref r) { r.append("ab").shift(1).append("cdef"); }, 3, "acde####"},
        {4, [](Ref r) { r.shift(9).append("a"); }, 0, "########"},
        {4, [](Ref r) { r.rewind(6).append("a").fill('b', 1); }, 6, "########"},
        {8, [](Ref r) { r.left("abc"); }, 0, "abc ####"},
        {4, [](Ref r) { r.left("abcdef"); }, 0, "abc ####"},
        {0, [](Ref r) { r.left("abc").right("abc").right('x', 2); }, 0, "########"},
        {8, [](Ref r) { r.right("abc"); }, 0, "#### abc"},
        {4, [](Ref r) { r.right("abcdef"); }, 0, " def####"},
        {8, [](Ref r) { r.right('x', 2); }, 0, "##### xx"},
        {4, [](Ref r) { r.right('x', npos); }, 0, " xxx####"},
        {8, [](Ref r) { r.center("abc"); }, 0, "# abc ##"},
        {5, [](Ref r) { r.center("abcdef"); }, 0, " bcd ###"},
        {8, [](Ref r) { r.center(""); }, 0, "########"},
        {1, [](Ref r) { r.center("abc"); }, 0, "########"},
    };
    for (const auto& [capacity, write, position, memory] : cases) {
        Field field(capacity);
        write(field.ref);
        EXPECT_EQ(field.all(), memory);
        EXPECT_EQ(field.ref.size(), position) << memory;
    }
}

TEST(StringRef, DoesNotMovePastTheCapacity) {
    Field field(4);
    Ref ref = field.ref.advance(4);
    const std::pair<std::function<void()>, const char*> moves[] = {
        {[&] { ref.advance(1); }, "qor::StringRef::advance"},
        {[&] { ++ref; }, "qor::StringRef::operator ++"},
        {[&] { ref << 'x'; }, "qor::StringRef::operator ++"},
        {[&] { ref.at(4) = 'x'; }, "qor::CharAt"},
    };
    for (const auto& [move, function] : moves) {
        EXPECT_EQ(raisedIn<OutOfRangeException>(move), function);
        EXPECT_EQ(ref.size(), 4U);
        EXPECT_EQ(field.all(), "########");
    }
}

}  // namespace
}  // namespace qor
