#include "qor/json/json_unit.h"

#include "support/test.h"

namespace qor::json {
namespace {

JsonUnit parsed(istr text) {
    JsonUnit unit;
    unit.decode("[" + String(text) + "]");
    return unit.arrayValue().at(0);
}

// The compact form of a value that was written.
template <class T>
void expectWritten(const T& value, const char* text) {
    JsonUnit unit;
    unit.arrayValue();  // is replaced
    EXPECT_EQ((unit << value).encode(), text);
}

// docs/formats.md has the usual values in its table, and tests/formats values of other kinds.
TEST(JsonUnit, WritesEachTypeByItsKind) {
    expectWritten(static_cast<char>(-2), "-2");
    expectWritten(longOf(0x1FFFFFFFF), "-1");
    expectWritten(static_cast<unsigned long>(0x1FFFFFFFF), "4294967295");
    expectWritten(~0ULL, "18446744073709551615");
    expectWritten(Sbyte(-3), "-3");
    expectWritten(Wchar(L'\u5b89'), "23433");
    expectWritten("a/\xFF", "\"a\\/\xFF\"");
    expectWritten(istr(), "\"\"");
    expectWritten(Time::microSeconds(-1500999), "-1500");
}

template <class T>
void expectRead(const char* text, T before, const T& after) {
    parsed(text) >> before;
    EXPECT_EQ(before, after) << text;
}

TEST(JsonUnit, ReadsFittingValuesAndLeavesOthers) {
    expectRead("1.5", 7, 1);
    expectRead("abc", 7, 0);
    expectRead("\"5\"", 7, 7);
    expectRead("99999999999", 7L, 2147483647L);
    expectRead("99999999999", 7LL, 99999999999LL);
    expectRead("300", static_cast<unsigned char>(7), static_cast<unsigned char>(44));
    expectRead("70000", static_cast<signed char>(7), static_cast<signed char>(112));
    expectRead("65", '?', 'A');
    expectRead("23433", Wchar(L'x'), Wchar(L'\u5b89'));
    expectRead("false", true, false);
    expectRead("\"a\\n\"", String("x"), String("a\n"));
    expectRead("\"\\u00e9\"", std::wstring(L"x"), std::wstring(L"\u00e9"));
    expectRead("\"AP8=\"", Bytes(istr("x")), Bytes(istr("\0\xFF", 2)));
    expectRead("\"\"", Bytes(istr("x")), Bytes());
    expectRead("-1500", Time::seconds(9), Time::milliSeconds(-1500));
    const JsonUnit text = parsed("\"view\"");
    istr view;
    const char* pointer = nullptr;
    text >> view >> pointer;
    EXPECT_EQ(text.stringValue()->getValue(), pointer);
    parsed("1") >> view >> pointer;
    EXPECT_EQ(pointer, std::string("view"));
}

TEST(JsonUnit, SharesItsValueUntilTheKindChanges) {
    JsonUnit unit;
    unit << 1;
    JsonUnit copy = unit;
    copy << 2;
    EXPECT_EQ(unit.encode(), "2");
    copy << "text";
    EXPECT_EQ(unit.encode(), "2");
    EXPECT_EQ(copy.value()->__GetRef(), 2);
    EXPECT_EQ(JsonUnit(copy.value()).stringValue().getValue(), "text");
    EXPECT_THROW(unit.decode("[\""), DecodeException);
    EXPECT_EQ(unit.encode(), "2");
    // A value of each kind replaces one of another kind.
    EXPECT_FALSE(unit.booleanValue().getValue());
    EXPECT_EQ(unit.numberValue().getValue(), "0");
    EXPECT_EQ(unit.stringValue().getValue(), "");
    EXPECT_EQ(unit.arrayValue().size(), 0u);
    EXPECT_TRUE(unit.objectValue().begin() == unit.objectValue().end());
    const JsonUnit& constant = unit;
    EXPECT_TRUE(constant.objectValue() != nullptr && constant.arrayValue() == nullptr);
    std::ostringstream os;
    unit.dump(os);
    unit.setNull();
    unit.dump(os);
    EXPECT_EQ(os.str(), "{ }null");
}

TEST(JsonUnit, TakesNamesAndUnitsThatItContains) {
    JsonUnit unit;
    unit << "a text that is too long to be stored in a unit";
    istr own;
    unit >> own;
    unit[own] << 1;
    EXPECT_EQ(unit.encode(), R"({ "a text that is too long to be stored in a unit":1 })");
    JsonOutputStream out;
    JsonOutputStream part(out.child("x"));
    part << "v";
    out.add(part);
    EXPECT_EQ(out.str(), R"([ "v" ])");
    // A null pointer is empty text, whatever its size.
    const istr null(static_cast<const char*>(nullptr), 5);
    unit.setNull();
    unit[null] << 1;
    unit[null] << null;
    EXPECT_EQ(unit.encode(), R"({ "":"" })");
    EXPECT_EQ(raised<DecodeException>([&] { unit.decode(null); }),
              raised<DecodeException>([&] { unit.decode(""); }));
    unit.decode("{a:1}");
    EXPECT_TRUE(std::as_const(unit)[null].isNull());
    EXPECT_TRUE(JsonDocument::from("{a:1}").root()[null].isNull());
}

TEST(JsonUnit, FindsChildrenWithoutCreatingThemWhenConst) {
    JsonUnit unit;
    const JsonUnit& constant = unit;
    EXPECT_EQ(&constant["a"]["b"], &JsonUnit::null());
    EXPECT_TRUE(unit.isNull());
    unit["a"]["b"] << 1;
    EXPECT_EQ(constant["a"].child("b").numberValue()->getValue(), "1");
    EXPECT_EQ(&constant["a"]["b"]["c"], &JsonUnit::null());
    unit["a"].newChild() << "x";
    unit["a"].newChild();
    EXPECT_EQ(unit.encode(), R"({ "a":[ "x", null ] })");
    JsonArray& array = unit["a"].arrayValue();
    for (int i = 0; i < 100; ++i)
        array.add(array.at(0));
    EXPECT_EQ(array.size(), 102u);
    EXPECT_EQ(array.at(101).value(), array.at(0).value());
}

// Compares with a std::map: for keys that are read and added in any order, in a root and inside a
// tree, after a first use of the read children or without it.
void expectMap(unsigned long count, bool sorted, bool nested, bool looked) {
    std::map<String, long> expected;
    std::string text = "{";
    for (unsigned long i = 0; i < count; ++i) {
        const String key = std::to_string(sorted ? 10000 + i : i * 7919 % (count + 1) / 2);
        expected[key] = static_cast<long>(i);
        text += key + ":" + std::to_string(i) + ",";
    }
    text += "}";
    JsonUnit root;
    root.decode(nested ? "[0," + text + "]" : text);
    JsonUnit& unit = nested ? root.arrayValue().at(1) : root;
    std::map<String, const JsonUnit*> places;
    for (const auto& [key, value] : looked ? expected : std::map<String, long>())
        places[key] = &unit[key];
    for (unsigned long i = 0; i < count + 20; ++i) {
        const String key = (i % 2 == 0 ? "k" : "a long key ") + std::to_string(i * 7919 % 6007);
        expected[key] = static_cast<long>(i);
        JsonUnit& added = unit[key];
        added << i;
        if (i % 512 == 0) unit[std::to_string(i)];
        if (i % 512 == 0) expected.emplace(std::to_string(i), 0);
        places[key] = &added;
        if (i % 1000 == 0 || i == 7) {
            const JsonObject& object = unit.objectValue();
            EXPECT_EQ(std::distance(object.begin(), object.end()), std::ssize(expected));
            EXPECT_EQ(object.begin()->first, expected.begin()->first);
        }
    }
    for (const auto& [key, place] : places)
        EXPECT_EQ(&unit[key], place);
    EXPECT_EQ(std::as_const(unit).objectValue()->get("none"), nullptr);
    std::vector<std::pair<const String, long>> read;
    for (auto& [key, child] : unit.objectValue())
        child >> read.emplace_back(key, 0).second;
    EXPECT_TRUE(std::ranges::equal(read, expected));
}

TEST(JsonObject, IsAMapInTheOrderOfItsKeys) {
    for (const unsigned long count : {0UL, 1UL, 3UL, 15UL, 16UL, 17UL, 100UL, 5000UL}) {
        for (unsigned ways = 0; ways < 8; ++ways)
            expectMap(count, (ways & 1) != 0, (ways & 2) != 0, (ways & 4) != 0);
    }
}

TEST(JsonObject, IsUnchangedWithoutMemory) {
    const AllocationCounter counter;
    JsonUnit unit;
    unit.decode("{b:[1],a:2}");
    unsigned long failures = 0;
    for (const char* const key : {"c", "a long key that needs memory"}) {
        const String before = unit.encode(false, false, 0);
        const JsonObject& object = unit.objectValue();
        const auto first = object.begin(), end = object.end();
        failures += failEachAllocation([&] { unit.objectValue().put(key, unit["b"]); },
                                       [&] {
                                           EXPECT_EQ(unit.encode(false, false, 0), before);
                                           EXPECT_TRUE(first == object.begin());
                                           EXPECT_TRUE(end == object.end());
                                       });
    }
    EXPECT_GT(failures, 2u);
    failures += failEachAllocation([&] { unit["b"].newChild() << "longer than the room"; }, [] {});
    EXPECT_EQ(unit["c"].encode(), unit["b"].encode());
    // A value that another kind replaces.
    JsonOutputStream other;
    const std::function<void()> changes[] = {[&] { unit["a"]["a long key that needs memory"]; },
                                             [&] { unit["a"].newChild(); },
                                             [&] { JsonOutputStream(unit["a"]).add(other); }};
    for (const auto& change : changes) {
        const String before = unit["a"].encode();
        failures += failEachAllocation(change, [&] { EXPECT_EQ(unit["a"].encode(), before); });
    }
    unit.setNull();
    EXPECT_EQ(counter.outstanding(), 0);
}

}  // namespace
}  // namespace qor::json
