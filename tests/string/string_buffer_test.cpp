#include "qor/string/string_buffer.h"

#include "support/test.h"

namespace qor {
namespace {

// The content, which has a terminator after it.
std::string text(const StringBuffer& buffer) {
    EXPECT_EQ(buffer.c_str()[buffer.size()], '\0');
    return std::string(istr(buffer));
}

std::string letters(unsigned long n) {
    std::string result(n, 'a');
    for (unsigned long i = 0; i < n; ++i)
        result[i] += static_cast<char>(i % 26);
    return result;
}

TEST(StringBuffer, GrowsToTheDoubleOrToTheWantedSize) {
    const std::array<unsigned long, 4> cases[] = {{0, 255, 255, 255},   {100, 255, 300, 512},
                                                  {255, 255, 513, 513}, {256, 256, 257, 514},
                                                  {300, 300, 300, 300}, {300, 300, 800, 800}};
    for (const auto& [asked, before, added, after] : cases) {
        StringBuffer buffer(asked);
        EXPECT_EQ(buffer.max_size(), before);
        EXPECT_EQ(buffer.isInternal(), asked < 256);
        EXPECT_EQ(text(buffer), "");
        buffer += letters(added);
        EXPECT_EQ(buffer.max_size(), after);
        EXPECT_EQ(text(buffer), letters(added));
    }
}

TEST(StringBuffer, DoesNotTouchTheHeapBelow256Bytes) {
    const std::string content = letters(254);
    const AllocationCounter counter;
    StringBuffer buffer(content);
    buffer += 'y';
    StringBuffer moved(std::move(buffer));
    buffer = moved + "";
    EXPECT_EQ(counter.allocations(), 0U);
    buffer += 'z';
    EXPECT_EQ(counter.allocations(), 1U);
    EXPECT_EQ(text(buffer), content + "yz");
    // The block in the object is zeroed.
    StringBuffer fresh;
    fresh.psize(255);
    EXPECT_EQ(text(fresh), std::string(255, '\0'));
}

TEST(StringBuffer, TakesPartsOfItself) {
    // With room for the part, at the step to the heap, and on the heap.
    for (const unsigned long size : {20UL, 200UL, 400UL}) {
        std::string expected = letters(size);
        StringBuffer buffer{istr(expected)};
        buffer.append(buffer.data() + 1, size - 1);
        expected += expected.substr(1);
        EXPECT_EQ(text(buffer), expected);
        buffer.gsize(1);
        buffer.assign(buffer.data() + 2, size);
        EXPECT_EQ(buffer.gsize(), 0U);
        buffer.gsize(3);
        const StringBuffer& same = buffer;
        buffer = same;
        EXPECT_EQ(text(buffer), expected.substr(2, size));
        EXPECT_EQ(buffer.gsize(), 3U);
    }
}

TEST(StringBuffer, IsWrittenInPlaceAndReadFromTheGetPosition) {
    StringBuffer buffer("a");
    buffer.append("bc", 1).append("c", npos).append(static_cast<const char*>(nullptr), 3);
    buffer.needMore(1000);
    const char* const place = buffer.pbuf();
    std::memcpy(buffer.pbuf(), "defg", 4);
    buffer.psize(buffer.psize() + 4);
    buffer.needMore(996);
    EXPECT_EQ(buffer.pbuf(), place + 4);
    unsigned char out[9] = {};
    EXPECT_EQ((buffer - out[0]).gsize(), 1U);
    char memory[4];
    StringRef target(memory, sizeof memory, 1);
    buffer -= target;
    EXPECT_EQ(istr(memory + 1, 3), istr("abc"));
    EXPECT_EQ(target.left(), 0U);
    unsigned long n = sizeof out - 1;
    buffer.read(out + 1, n);
    EXPECT_EQ(istr(out, n + 1), istr("adefg"));
    // There is nothing after the content.
    buffer.gsize(9);
    buffer -= out[0];
    EXPECT_EQ(out[0], 'a');
}

TEST(StringBuffer, CopiesMovesAndSwapsBothKinds) {
    for (const auto& [here, there] : {std::pair{3, 4}, {3, 400}, {300, 4}, {300, 400}}) {
        StringBuffer left(std::string(here, 'a'));
        StringBuffer right(std::string(there, 'b'));
        left.gsize(2);
        left.swap(right);
        EXPECT_EQ(text(left), std::string(there, 'b'));
        EXPECT_EQ(right.isInternal(), here < 256);
        const StringBuffer copy(right);
        EXPECT_EQ(copy.max_size(), right.max_size());
        EXPECT_EQ(copy.gsize(), 2U);
        left = std::move(right);
        EXPECT_EQ(text(left += 'z'), std::string(here, 'a') + 'z');
        EXPECT_EQ(text(right), "");
        EXPECT_EQ(text(copy), std::string(here, 'a'));
    }
}

TEST(StringBuffer, IsUnchangedWhenItCannotGrow) {
    const std::string added(600, 'y');
    const std::function<void(StringBuffer&)> operations[] = {
        [&](StringBuffer& buffer) { buffer += added; },
        [&](StringBuffer& buffer) { buffer = istr(added); },
        [&](StringBuffer& buffer) { buffer.needMore(added.size()); }};
    for (const auto& operation : operations) {
        for (const unsigned long size : {250UL, 500UL}) {
            const std::string content = letters(size);
            StringBuffer buffer{istr(content)};
            buffer.gsize(7);
            const auto unchanged = [&] {
                EXPECT_EQ(text(buffer), content);
                EXPECT_EQ(buffer.gsize(), 7U);
            };
            EXPECT_EQ(failEachAllocation([&] { operation(buffer); }, unchanged), 1U);
        }
    }
    StringBuffer buffer("ab");
    EXPECT_THROW(buffer.needMore(0xFFFFFFFFUL - 2), std::bad_alloc);
    EXPECT_THROW(buffer.append("c", kTooLarge), std::bad_alloc);
    EXPECT_EQ(text(buffer), "ab");
}

}  // namespace
}  // namespace qor
