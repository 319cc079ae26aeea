#include "qor/string/string_buffer.h"

#include <gtest/gtest.h>

#include <functional>

#include "qor/log/log_dumper.h"
#include "support/allocation.h"

namespace qor {
namespace {

std::string text(const StringBuffer& buffer) {
    // Whatever the storage: the content, and a terminator behind it.
    EXPECT_EQ(buffer.c_str()[buffer.size()], '\0');
    return std::string(istr(buffer));
}

const std::string kLetters = "abcdefghijklmnopqrstuvwxyz";

TEST(StringBuffer, IsInTheObjectBelow256Bytes) {
    const struct {
        unsigned long asked;
        bool internal;
        unsigned long capacity;
    } cases[] = {{0, true, 255}, {100, true, 255}, {255, true, 255}, {256, false, 256}};
    for (const auto& c : cases) {
        StringBuffer buffer(c.asked);
        EXPECT_EQ(buffer.isInternal(), c.internal) << c.asked;
        EXPECT_EQ(buffer.max_size(), c.capacity) << c.asked;
        EXPECT_EQ(text(buffer), "");
    }
    StringBuffer fresh;
    fresh.psize(255);
    EXPECT_EQ(text(fresh), std::string(255, '\0'));
}

TEST(StringBuffer, DoesNotTouchTheHeapBelow256Bytes) {
    const std::string content(254, 'x');
    const support::AllocationCounter counter;
    StringBuffer buffer(content);
    buffer += 'y';
    const StringBuffer copy(buffer);
    StringBuffer moved(std::move(buffer));
    buffer = copy + "";
    buffer.swap(moved);
    EXPECT_EQ(counter.allocations(), 0U);
    buffer += 'z';
    EXPECT_EQ(counter.allocations(), 1U);
    EXPECT_EQ(text(buffer), content + "yz");
    EXPECT_EQ(text(moved), content + "y");
}

TEST(StringBuffer, GrowsToTheDoubleOrToWhatIsWanted) {
    const struct {
        unsigned long start;
        unsigned long added;
        unsigned long capacity;
    } cases[] = {{0, 255, 255}, {0, 300, 512}, {0, 513, 513}, {300, 301, 602}, {300, 800, 800}};
    for (const auto& c : cases) {
        StringBuffer buffer(c.start);
        const std::string added(c.added, 'x');
        buffer += added;
        EXPECT_EQ(buffer.max_size(), c.capacity) << c.start;
        EXPECT_EQ(text(buffer), added);
    }
}

TEST(StringBuffer, AppendsInManyWays) {
    StringBuffer buffer("a");
    buffer.append("bc", 1).append("c", npos).append(static_cast<const char*>(nullptr), 3);
    buffer += istr(nullptr, 2);
    buffer.write(reinterpret_cast<const unsigned char*>("d"), 1) += 'e';
    EXPECT_EQ(text(buffer), "abcde");
    EXPECT_EQ(text(buffer + "f" + 'g'), "abcdefg");
    buffer = String("xy");
    EXPECT_EQ(buffer.str(), String("xy"));
    EXPECT_EQ(text(buffer), "xy");
}

TEST(StringBuffer, TakesPartsOfItself) {
    // The first size leaves the appended part room, the others do not.
    for (const unsigned long size : {20UL, 200UL, 255UL, 400UL}) {
        std::string expected;
        while (expected.size() < size)
            expected += kLetters;
        expected.resize(size);
        StringBuffer buffer{istr(expected)};
        buffer.append(buffer.data() + 1, size - 1);
        expected += expected.substr(1);
        EXPECT_EQ(text(buffer), expected);
        buffer.assign(buffer.data() + 2, size);
        EXPECT_EQ(text(buffer), expected.substr(2, size));
        const StringBuffer& same = buffer;
        buffer.gsize(3);
        buffer = same;
        EXPECT_EQ(text(buffer), expected.substr(2, size));
        EXPECT_EQ(buffer.gsize(), 3U);
    }
}

TEST(StringBuffer, IsWrittenInPlace) {
    StringBuffer buffer("ab");
    buffer.needMore(1000);
    EXPECT_GE(buffer.max_size(), 1002U);
    EXPECT_EQ(text(buffer), "ab");
    const char* const place = buffer.pbuf();
    std::memcpy(buffer.pbuf(), kLetters.data(), 26);
    buffer.psize(buffer.psize() + 26);
    EXPECT_EQ(buffer.str(), String("ab" + kLetters));
    buffer.needMore(974);
    EXPECT_EQ(buffer.pbuf(), place + 26);
}

TEST(StringBuffer, IsReadFromTheGetPosition) {
    StringBuffer buffer("abcdefg");
    unsigned char one = 0;
    const StringBuffer rest = buffer - one;
    EXPECT_EQ(one, 'a');
    EXPECT_EQ(rest.gsize(), 1U);
    EXPECT_EQ(buffer.gsize(), 0U);
    buffer -= one;
    char memory[4];
    StringRef target(memory, sizeof memory, 1);
    buffer -= target;
    EXPECT_EQ(istr(memory + 1, 3), istr("bcd"));
    EXPECT_EQ(target.left(), 0U);
    unsigned char out[9] = {};
    unsigned long n = sizeof out;
    buffer.read(out, n);
    EXPECT_EQ(istr(out, n), istr("efg"));
    buffer -= one;
    EXPECT_EQ(one, 'a');
    EXPECT_EQ(buffer.gsize(), 7U);
    n = 5;
    buffer.gsize(9);
    buffer.read(out, n);
    EXPECT_EQ(n, 0U);
}

TEST(StringBuffer, CopiesMovesAndSwapsBothKinds) {
    for (const unsigned long a : {3UL, 300UL}) {
        for (const unsigned long b : {4UL, 400UL}) {
            StringBuffer left(std::string(a, 'a'));
            StringBuffer right(std::string(b, 'b'));
            left.gsize(2);
            left.swap(right);
            EXPECT_EQ(text(left), std::string(b, 'b'));
            EXPECT_EQ(text(right), std::string(a, 'a'));
            EXPECT_EQ(right.gsize(), 2U);
            EXPECT_EQ(right.isInternal(), a < 256);
            const StringBuffer copy(right);
            EXPECT_EQ(copy.max_size(), right.max_size());
            EXPECT_EQ(copy.gsize(), 2U);
            left = std::move(right);
            EXPECT_EQ(text(left), text(copy));
            EXPECT_EQ(text(right), "");
            left.append("z", 1);
            EXPECT_EQ(text(copy), std::string(a, 'a'));
        }
    }
}

TEST(StringBuffer, StaysAsItWasWhenTheHeapFails) {
    const std::string added(600, 'y');
    const std::function<void(StringBuffer&)> operations[] = {
        [&](StringBuffer& buffer) { buffer += added; },
        [&](StringBuffer& buffer) { buffer = istr(added); },
        [&](StringBuffer& buffer) { buffer.needMore(added.size()); },
    };
    for (const unsigned long size : {250UL, 500UL}) {
        for (const auto& operation : operations) {
            const std::string content(size, 'x');
            const support::AllocationCounter counter;
            {
                StringBuffer buffer{istr(content)};
                buffer.gsize(7);
                const char* const data = buffer.data();
                const auto unchanged = [&] {
                    EXPECT_EQ(buffer.data(), data);
                    EXPECT_EQ(istr(buffer), istr(content));
                    EXPECT_EQ(buffer.gsize(), 7U);
                };
                EXPECT_EQ(support::failEachAllocation([&] { operation(buffer); }, unchanged), 1U);
            }
            EXPECT_EQ(counter.outstanding(), 0);
        }
    }
}

TEST(StringBuffer, RefusesWhatDoesNotFitInto32Bits) {
    StringBuffer buffer("ab");
    EXPECT_THROW(buffer.needMore(0xFFFFFFFFUL - 2), std::bad_alloc);
    EXPECT_THROW(buffer.needMore(npos), std::bad_alloc);
    EXPECT_THROW(buffer.append("c", 1UL << 40), std::bad_alloc);
    EXPECT_THROW(StringBuffer(1UL << 32), std::bad_alloc);
    EXPECT_EQ(text(buffer), "ab");
}

TEST(StringBuffer, ShowsItself) {
    StringBuffer buffer("abc");
    buffer.gsize(1);
    dumper d(true);
    buffer.dump(d);
    EXPECT_EQ(d.str(), "{data()='abc' max_size()=255 psize()=3 gsize()=1 internal_=true}");
}

}  // namespace
}  // namespace qor
