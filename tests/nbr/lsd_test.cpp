#include "qor/nbr/lsd.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "qor/log/log_dumper.h"
#include "support/allocation.h"

namespace qor::nbr {
namespace {

String shown(const ValueBase& value) {
    dumper d(true);
    value.dump(d);
    return d.str();
}

TEST(SimpleValue, ReadsNumbersWithoutASign) {
    const SimpleValue ff(istr("\xFF\xFF", 2), false);
    long asLong = 0;
    short asShort = 0;
    char asChar = 0;
    bool asBool = false;
    ff.read(asLong);
    ff.read(asShort);
    ff.read(asChar);
    ff.read(asBool);
    EXPECT_EQ(asLong, 65535);
    EXPECT_EQ(asShort, -1);
    EXPECT_EQ(asChar, static_cast<char>(-1));
    EXPECT_TRUE(asBool);

    const SimpleValue eight(istr("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8), false);
    eight.read(asLong);
    EXPECT_EQ(asLong, -1) << "a long has 32 bits, with its sign";
    unsigned long asUlong = 0;
    eight.read(asUlong);
    EXPECT_EQ(asUlong, 4294967295UL);
    Wchar asWchar;
    eight.read(asWchar);
    EXPECT_EQ(asWchar.value(), static_cast<wchar_t>(0xFFFF));

    Ulong missing(5);
    SimpleValue(false).read(missing);
    EXPECT_EQ(missing, 0u);
}

TEST(SimpleValue, TakesTheSizeOfANumberAsASignedByte) {
    const std::string data(400, '\x01');
    const auto read = [&data](unsigned long size) {
        Ulonglong number;
        SimpleValue(istr(data.data(), size), false).read(number);
        return number.value();
    };
    EXPECT_EQ(read(9), 0x0101010101010101ULL);
    EXPECT_EQ(read(127), 0x0101010101010101ULL);
    EXPECT_THROW(read(128), BinaryDecodeException);
    EXPECT_THROW(read(255), BinaryDecodeException);
    EXPECT_EQ(read(256), 0u);
    EXPECT_EQ(read(258), 0x0101u);
    try {
        read(255);
    } catch (const BinaryDecodeException& e) {
        EXPECT_STREQ(e.msg(), "BinaryDecodeException: invalid size -1");
    }
}

TEST(SimpleValue, ShowsTextOnlyWhenItIsMarked) {
    EXPECT_EQ(shown(SimpleValue(istr("hi"), true)), "'hi'");
    EXPECT_EQ(shown(SimpleValue(istr("hi"), false)), "68 69");
    EXPECT_EQ(shown(SimpleValue(true)), "");
}

TEST(ComplexValue, OwnsWhatIsAddedToIt) {
    ComplexValue root;
    EXPECT_EQ(shown(root), "{}");
    EXPECT_EQ(root.get(1), nullptr);
    auto* inner = new ComplexValue;
    inner->add(7, new SimpleValue(istr("x"), true));
    root.add(2, inner);
    root.add(1, new SimpleValue(istr("old"), true));
    root.add(1, new SimpleValue(istr("new"), true));
    root.add(3, nullptr);
    EXPECT_EQ(shown(root), "{[2] {[7] 'x'} [1] 'old' [1] 'new'}");
    EXPECT_EQ(shown(*root.get(1)), "'new'");
    std::ostringstream os;
    os << root;
    EXPECT_TRUE(
        os.str().starts_with("@qor::nbr::ComplexValue{\n    [2] @qor::nbr::ComplexValue{\n"
                             "        [7] 'x'\n    }\n    [1] 'old'"));
    for (unsigned i = 0; i < 100; ++i) {
        root.add(static_cast<unsigned char>(200 - i), new SimpleValue(false));
    }
    EXPECT_EQ(root.get(2), inner);
    EXPECT_NE(root.get(101), nullptr);
    EXPECT_EQ(root.get(100), nullptr);
}

TEST(ComplexValue, IsCopiedAsAWholeTree) {
    ComplexValue root;
    auto* inner = new ComplexValue;
    inner->add(7, new SimpleValue(istr("x"), true));
    root.add(2, inner);
    ComplexValue copy(root);
    inner->add(8, new SimpleValue(istr("y"), true));
    EXPECT_EQ(shown(copy), "{[2] {[7] 'x'}}");
    copy = root;
    copy.add(1, new SimpleValue(istr("z"), true));
    EXPECT_EQ(shown(copy), "{[2] {[7] 'x' [8] 'y'} [1] 'z'}");
    EXPECT_EQ(shown(root), "{[2] {[7] 'x' [8] 'y'}}");
    const ComplexValue& self = copy;
    copy = self;
    EXPECT_EQ(shown(copy), "{[2] {[7] 'x' [8] 'y'} [1] 'z'}");
}

TEST(ComplexValue, GoesAtAnyDepthWhenItWasMadeByHand) {
    auto root = std::make_unique<ComplexValue>();
    for (int i = 0; i < 100000; ++i) {
        auto outer = std::make_unique<ComplexValue>();
        outer->add(1, root.get());
        root.release();
        root = std::move(outer);
    }
    EXPECT_EQ(root->data().size(), 1u);
}

TEST(ComplexValue, KeepsAValueThatItCannotTakeWithItsCaller) {
    ComplexValue root;
    for (unsigned i = 0; i < 200; ++i) {
        auto value = std::make_unique<SimpleValue>(false);
        support::failEachAllocation(
            [&] { root.add(static_cast<unsigned char>(i * 7), value.get()); },
            [&] { ASSERT_EQ(root.data().size(), i); });
        value.release();
    }
    EXPECT_EQ(root.data().size(), 200u);
}

}  // namespace
}  // namespace qor::nbr
