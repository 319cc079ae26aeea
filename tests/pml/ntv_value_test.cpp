#include "qor/pml/ntv_value.h"

#include "support/pml.h"
#include "support/test.h"

namespace qor::pml::ntv {
namespace {

std::string textOf(const ValueBase& value) {
    std::ostringstream text;
    text << std::hex;
    text.precision(2);
    value.dump(text);
    return text.str();
}

TEST(Value, IsWrittenByItsClass) {
    const Time time = Time::microSeconds(1500000000123000);
    const struct {
        std::unique_ptr<ValueBase> value;
        std::string text;
        std::string dump;
    } cases[] = {
        {std::unique_ptr<ValueBase>(BooleanValue::create(true)), "1", "true"},
        {std::make_unique<BooleanValue>(), "0", "false"},
        {std::make_unique<BytesValue>(Bytes(istr("\xFF\0", 2))), "/wA=", "\"\\x{FF00}\""},
        {std::make_unique<CharacterValue>('('), "(", "'('"},
        {std::make_unique<FloatValue>(1234567.5), "1.23457e+06", "1.23457e+06"},
        {std::make_unique<IntegerValue>(-9223372036854775807), "-9223372036854775807",
         "-9223372036854775807"},
        {std::make_unique<UnsignedValue>(18446744073709551615ULL), "18446744073709551615",
         "18446744073709551615"},
        {std::make_unique<StringValue>("a^(b\""), "\"a^^(b^\"\"", "'a^(b\"'"},
        {std::make_unique<TimeValue>(time), std::string("'" + time.toFullDateTime() + "'"),
         "'" + time.toFullDateTime() + "'"},
        {std::make_unique<WcharValue>(L'\u5b89'), "\\u5B89", "23433"},
        {std::make_unique<WcharValue>(L'\x0A'), "\\u000A", "10"},
        {std::make_unique<WstringValue>(std::wstring(L"\u5b89")), "5a6J", "\"\xE5\xAE\x89\""},
    };
    Unit owner;
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        EXPECT_TRUE(test.value->single());
        EXPECT_EQ(textOf(*test.value), test.text);
        EXPECT_EQ(dumped(*test.value), test.dump);
        test.value->owner() = &owner;
        const std::unique_ptr<ValueBase> copy(test.value->clone());
        const ValueBase& copied = *copy;
        const ValueBase& original = *test.value;
        EXPECT_EQ(typeid(copied), typeid(original));
        EXPECT_EQ(textOf(*copy), test.text);
        EXPECT_EQ(copy->owner(), nullptr);
    }
    IntegerValue number(&owner);
    EXPECT_EQ(number.owner(), &owner);
    EXPECT_EQ((number = Longlong(5)).data(), 5);
    StringValue text("a", &owner);
    EXPECT_EQ(text.assign("b").data(), "b");
}

TEST(ListValue, CopiesItsUnitsDeeply) {
    Unit a("a", "t", "1");
    Unit b("b");
    b.addChild("c", "2");
    b["d"].value(new IntegerValue(3));
    b["e"].initValueAsList();
    Unit holder("h");
    holder.value(new ListValue({&a, &b}));
    a << "changed";
    EXPECT_EQ(treeOf(holder), "h{a:t=1 b{c=2 d? e{}}}");
    EXPECT_TRUE(isSound(holder));
    ListValue& list = *holder.listValue();
    const std::unique_ptr<ListValue> copy(list.clone());
    // The unit that holds a list sees its changes.
    list.push_back(new Unit("f"));
    list = ListValue::Units{list.at(2), &a};
    EXPECT_EQ(treeOf(holder), "h{f a:t=changed}");
    EXPECT_THROW(list.assign({&a, &a}), DuplicatedUnitException);
    EXPECT_TRUE(isSound(holder));
    EXPECT_EQ(dumped(holder, false),
              "@qor::pml::ntv::Unit{\n    name_ = 'h'\n    type_ = \n"
              "    value_ = @qor::pml::ntv::ListValue{\n        @qor::pml::ntv::Unit{\n"
              "            name_ = 'f'\n            type_ = \n            value_ = \n        }\n"
              "        @qor::pml::ntv::Unit{\n            name_ = 'a'\n            type_ = 't'\n"
              "            value_ = 'changed'\n        }\n    }\n}");
    list.clear();
    EXPECT_EQ(std::as_const(holder).at("a"), nullptr);
    EXPECT_EQ(copy->size(), 2u);
    EXPECT_EQ(treeOf(*copy->at(1)), "b{c=2 d? e{}}");
    EXPECT_EQ(copy->at(2), nullptr);
    EXPECT_EQ(copy->at(kTooLarge), nullptr);
    EXPECT_EQ(textOf(*copy), "a:t(1)\nb(\n    c(2)\n    d(3)\n    e()\n)\n");
    EXPECT_EQ(dumped(*copy).substr(0, 35), "{{name_='a' type_='t' value_='1'} {");

    const AllocationCounter outside;
    EXPECT_GT(
        failEachAllocation([&] { const std::unique_ptr<ListValue> again(copy->clone()); }, [] {}),
        0u);
    EXPECT_EQ(outside.outstanding(), 0);
}

}  // namespace
}  // namespace qor::pml::ntv
