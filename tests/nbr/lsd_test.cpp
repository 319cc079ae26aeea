#include "qor/nbr/lsd.h"

#include "support/test.h"

namespace qor::nbr {
namespace {

template <class T>
T as(istr data) {
    T number{};
    SimpleValue(data, false).read(number);
    return number;
}

TEST(SimpleValue, ReadsNumbersWithoutASign) {
    const std::string ff(8, '\xFF');
    const istr two(ff.data(), 2);
    EXPECT_EQ(as<long>(two), 65535);
    EXPECT_EQ(as<short>(two), -1);
    EXPECT_EQ(as<char>(two), static_cast<char>(-1));
    EXPECT_TRUE(as<bool>(two));
    EXPECT_EQ(as<long>(ff), -1) << "a long has 32 bits, with its sign";
    EXPECT_EQ(as<unsigned long>(ff), 4294967295UL);
    EXPECT_EQ(as<Wchar>(ff).value(), static_cast<wchar_t>(0xFFFF));
    EXPECT_EQ(as<long>(istr()), 0);
    EXPECT_EQ(as<long>(istr(static_cast<const char*>(nullptr), 5)), 0);
}

TEST(SimpleValue, TakesTheSizeOfANumberAsASignedByte) {
    const std::string data(400, '\x01');
    const auto read = [&](unsigned long n) { return as<unsigned long long>(istr(data.data(), n)); };
    EXPECT_EQ(read(127), 0x0101010101010101ULL);
    EXPECT_THROW(read(128), BinaryDecodeException);
    EXPECT_EQ(read(256), 0u);
    EXPECT_EQ(read(258), 0x0101u);
}

TEST(SimpleValue, ShowsTextOnlyWhenItIsMarked) {
    EXPECT_EQ(dumped(SimpleValue(istr("hi"), true)), "'hi'");
    EXPECT_EQ(dumped(SimpleValue(istr("hi"), false)), "68 69");
    EXPECT_EQ(dumped(SimpleValue(true)), "");
}

TEST(ComplexValue, OwnsWhatIsAddedToIt) {
    ComplexValue root;
    EXPECT_EQ(dumped(root), "{}");
    EXPECT_EQ(root.get(1), nullptr);
    auto* inner = new ComplexValue;
    inner->add(7, new SimpleValue(istr("x"), true));
    root.add(2, inner);
    root.add(1, new SimpleValue(istr("old"), true));
    root.add(1, new SimpleValue(istr("new"), true));
    root.add(3, nullptr);
    EXPECT_EQ(dumped(root), "{[2] {[7] 'x'} [1] 'old' [1] 'new'}");
    EXPECT_EQ(dumped(*root.get(1)), "'new'");
    EXPECT_TRUE(
        streamed(root).starts_with("@qor::nbr::ComplexValue{\n    [2] @qor::nbr::ComplexValue{\n"
                                   "        [7] 'x'\n    }\n    [1] 'old'"));
}

TEST(ComplexValue, IsCopiedAsAWholeTree) {
    ComplexValue root;
    auto* inner = new ComplexValue;
    inner->add(7, new SimpleValue(istr("x"), true));
    root.add(2, inner);
    ComplexValue copy(root);
    inner->add(8, new SimpleValue(istr("y"), true));
    EXPECT_EQ(dumped(copy), "{[2] {[7] 'x'}}");
    copy = root;
    copy.add(1, new SimpleValue(istr("z"), true));
    EXPECT_EQ(dumped(copy), "{[2] {[7] 'x' [8] 'y'} [1] 'z'}");
    EXPECT_EQ(dumped(root), "{[2] {[7] 'x' [8] 'y'}}");
    // A node inside a tree can be assigned a whole tree, even one that contains it.
    auto* node = static_cast<ComplexValue*>(copy.get(2));
    *node = copy;
    EXPECT_EQ(dumped(copy), "{[2] {[2] {[7] 'x' [8] 'y'} [1] 'z'} [1] 'z'}");
    copy = *node;
    EXPECT_EQ(dumped(copy), "{[2] {[7] 'x' [8] 'y'} [1] 'z'}");
}

TEST(ComplexValue, IsDestroyedAtAnyDepth) {
    auto root = std::make_unique<ComplexValue>();
    for (int i = 0; i < 100000; ++i) {
        auto outer = std::make_unique<ComplexValue>();
        outer->add(1, root.get());
        root.release();
        root = std::move(outer);
    }
    EXPECT_EQ(root->data().size(), 1u);
}

TEST(ComplexValue, LeavesAValueToTheCallerWhenMemoryEnds) {
    ComplexValue root;
    for (unsigned i = 0; i < 200; ++i) {
        auto value = std::make_unique<SimpleValue>(false);
        failEachAllocation([&] { root.add(static_cast<unsigned char>(i * 7), value.get()); },
                           [&] { ASSERT_EQ(root.data().size(), i); });
        value.release();
    }
    EXPECT_EQ(root.data().size(), 200u);
}

}  // namespace
}  // namespace qor::nbr
