#include "support/test.h"

namespace qor {
namespace {

namespace ranges = std::ranges;

static_assert(ranges::view<istr> && ranges::borrowed_range<istr> && ranges::contiguous_range<istr>);
static_assert(ranges::view<iwstr> && ranges::borrowed_range<iwstr>);
static_assert(ranges::contiguous_range<iwstr> && ranges::sized_range<iwstr>);
static_assert(ranges::contiguous_range<String> && ranges::contiguous_range<const String>);
static_assert(ranges::contiguous_range<Bytes> && ranges::contiguous_range<const Bytes>);
static_assert(!ranges::borrowed_range<Bytes>);
static_assert(ranges::contiguous_range<ostr> && ranges::contiguous_range<owstr>);
static_assert(ranges::contiguous_range<json::JsonArray>);
static_assert(ranges::contiguous_range<const json::JsonArray>);
static_assert(ranges::bidirectional_range<json::JsonObject>);
static_assert(ranges::bidirectional_range<const json::JsonObject>);
static_assert(ranges::forward_range<const XMLAttrMap> && ranges::sized_range<XMLAttrMap>);
static_assert(ranges::forward_range<XMLNode::Children>);
static_assert(ranges::sized_range<const XMLNode::Children>);
static_assert(ranges::contiguous_range<nbr::ComplexValue::Items>);
static_assert(ranges::contiguous_range<const nbr::ComplexValue>);
static_assert(ranges::random_access_range<const pml::ntv::ListValue>);

static_assert(std::convertible_to<istr, std::span<const char>>);
static_assert(std::convertible_to<const Bytes&, std::span<const unsigned char>>);
static_assert(std::convertible_to<Bytes&, std::span<unsigned char>>);
static_assert(!std::convertible_to<const Bytes&, std::span<unsigned char>>);

TEST(Ranges, TakeViewsAndTexts) {
    const istr text("b,a,c");
    EXPECT_EQ(ranges::count(text, ','), 2);
    // The iterator of a temporary view is valid: a view does not own its text.
    EXPECT_EQ(ranges::find(istr(text), 'c') - text.begin(), 4);
    EXPECT_EQ(ranges::max(iwstr(L"axb")), L'x');
    EXPECT_EQ(ranges::distance(istr()), 0);

    String owned("cab");
    ranges::sort(owned);
    EXPECT_EQ(owned, "abc");
    char memory[8] = "cab";
    ranges::sort(ostr(memory, sizeof memory));
    EXPECT_STREQ(memory, "abc");
}

TEST(Ranges, TakeBytesAsSpans) {
    Bytes bytes(istr("\x03\xff\x01", 3));
    ranges::sort(std::span<unsigned char>(bytes));
    EXPECT_EQ(bytes, istr("\x01\x03\xff", 3));
    const std::span<const unsigned char> seen = std::as_const(bytes);
    EXPECT_EQ(seen.data(), bytes.data());
    EXPECT_EQ(seen.size(), 3U);
    EXPECT_EQ(std::string_view(bytes), std::string_view("\x01\x03\xff"));
    EXPECT_TRUE(std::string_view(Bytes()).empty());
    EXPECT_TRUE(std::span<const unsigned char>(Bytes()).empty());
    const std::span<const char> chars = istr("ab");
    EXPECT_EQ(std::string_view(chars.data(), chars.size()), "ab");
}

int toInt(const json::JsonUnit& unit) {
    int number = 0;
    unit >> number;
    return number;
}

TEST(Ranges, TakeTheContainersOfTheFormats) {
    json::JsonArray array;
    for (const int number : {3, 1, 2})
        array.newChild() << number;
    EXPECT_EQ(toInt(*ranges::max_element(array, {}, toInt)), 3);

    json::JsonObject object;
    for (const char* const key : {"b", "a", "c"})
        object.get(key) << 1;
    const auto isB = [](const auto& pair) { return pair.first == "b"; };
    const auto b = ranges::find_if(std::as_const(object), isB);
    EXPECT_EQ(b->first + std::next(b)->first + std::prev(b)->first, "bca");

    XMLNode node("n", nullptr);
    node.addAttr("x", "1");
    node.addAttr("y", "2");
    const auto isY = [](const auto& pair) { return pair.first == "y"; };
    const auto found = ranges::find_if(node.getAttrMap(), isY);
    ASSERT_NE(found, node.getAttrMap().end());
    EXPECT_EQ(found->second.value(), "2");
    EXPECT_EQ(ranges::distance(node.getAttrMap()), 2);

    nbr::ComplexValue tree;
    tree.add(7, new nbr::ComplexValue);
    tree.add(3, new nbr::ComplexValue);
    EXPECT_FALSE(ranges::is_sorted(tree.data(), {}, &nbr::ComplexValue::Item::first));
    EXPECT_EQ(ranges::min(tree.data(), {}, &nbr::ComplexValue::Item::first).first, 3);

    const pml::ntv::ListValue list;
    EXPECT_EQ(ranges::distance(list), 0);
}

}  // namespace
}  // namespace qor
