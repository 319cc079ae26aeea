#include "qor/pml/ntv_unit.h"

#include "support/pml.h"
#include "support/test.h"

namespace qor::pml::ntv {
namespace {

// r{a:t{b=1 c{=x =y}} =plain d}
std::unique_ptr<Unit> sample() {
    auto unit = std::make_unique<Unit>("r");
    Unit& a = (*unit)["a"];
    a.type("t");
    a.addChild("b", "1");
    a["c"].addChild("", "x");
    a["c"].addChild("", "y");
    unit->addChild("", "plain");
    unit->addChild("d");
    return unit;
}

String numbered(int i) {
    return String("n" + std::to_string(i));
}

TEST(Unit, AddsChildren) {
    Unit unit("u");
    unit << "text";
    EXPECT_TRUE(unit.addChild("a"));
    EXPECT_FALSE(unit.addChild(static_cast<Unit*>(nullptr)));
    // A refused child still belongs to the caller and is unchanged.
    Unit child("a", "type", "other");
    EXPECT_THROW(unit.addChild(&child), qor::DuplicatedUnitException);
    EXPECT_EQ(child.parent(), nullptr);
    // Children without a name are never duplicates, and neither are those of other units.
    EXPECT_TRUE(unit.addChild("") && unit.addChild("") && unit["a"].addChild("a"));
    EXPECT_EQ(treeOf(unit), "u{=text a{a}  }");
    EXPECT_TRUE(isSound(unit));
    // A scalar that is no string is dropped.
    Unit typed(new IntegerValue(7));
    EXPECT_TRUE(typed.addChild("n", "t", "v"));
    EXPECT_EQ(treeOf(typed), "{n:t=v}");
}

// Short lists are searched in another way than long ones.
TEST(Unit, KeepsNamesUniqueInListsOfAnyLength) {
    Unit unit;
    for (int i = 0; i < 40; ++i) {
        ASSERT_TRUE(unit.addChild(numbered(i)) && unit.addChild(""));
        Unit& renamed = unit[numbered(i / 2)];
        renamed.name("other");
        ASSERT_EQ(std::as_const(unit).at("other"), &renamed);
        ASSERT_EQ(std::as_const(unit).at(numbered(i / 2)), nullptr);
        renamed.name("");
        renamed.name(numbered(i / 2));
        for (int old = 0; old <= i; ++old)
            ASSERT_THROW(unit.addChild(numbered(old)), DuplicatedUnitException);
        ASSERT_THROW(unit.addChild("[1]"), DuplicatedUnitException);
        ASSERT_TRUE(isSound(unit));
    }
    EXPECT_EQ(unit.numofChildren(), 80u);
    // A child that gets another name by reading does not hide the others.
    Unit grown;
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(grown.addChild(numbered(i)));
        EXPECT_TRUE(i != 5 || ntvFromPml(grown["n3"], "n5(1)"));
    }
    EXPECT_TRUE(ntvFromPml(unit["n20"], "zz(1)"));
    for (int i = 0; i < 40; ++i)
        EXPECT_TRUE(i == 20 || std::as_const(unit).at(numbered(i)) != nullptr) << i;
}

TEST(Unit, LeavesANameToTheFirstSiblingThatHasIt) {
    for (const int size : {5, 40}) {
        Unit unit;
        for (int i = 0; i < size; ++i)
            unit.addChild(numbered(i));
        Unit& renamed = *unit.childAt(1);
        Unit& assigned = *unit.childAt(4);
        renamed.name("n3");
        assigned = Unit("n2", "t", "v");
        const Unit copy(unit);
        for (const Unit* tree : {&std::as_const(unit), &copy}) {
            EXPECT_TRUE(isSound(*tree));
            EXPECT_EQ(tree->at("n3"), tree->childAt(3));
            EXPECT_EQ(tree->at("n2"), tree->childAt(2));
            EXPECT_EQ(tree->find("/[4]"), tree->childAt(4));
            EXPECT_EQ(tree->at("n1"), nullptr);
        }
        EXPECT_EQ(renamed.name() + renamed.path(), "n3/[1]");
        EXPECT_EQ(treeOf(assigned), "n2:t=v");
        EXPECT_THROW(unit.addChild("n3"), DuplicatedUnitException);
        // A child that loses its name later may hide one whose name is its index.
        unit.childAt(3)->name("[2]");
        unit.childAt(2)->name("");
        Unit outer;
        EXPECT_TRUE(outer.addChild(unit));
        EXPECT_EQ(treeOf(Unit(outer)), "{" + treeOf(unit) + "}");
        // A name that is free again can be given to another child.
        unit.childAt(3)->name("other");
        EXPECT_EQ(std::as_const(unit).at("n3"), nullptr);
        renamed.name("n3");
        assigned.name("");
        EXPECT_EQ(std::as_const(unit).at("n3"), &renamed);
        EXPECT_TRUE(isSound(unit));
    }
}

TEST(Unit, KeepsASiblingNamedAsTheIndexOfARenamedUnit) {
    for (const int count : {2, 18}) {
        Unit unit;
        const String index = "[" + std::to_string(count - 1) + "]";
        unit[index] << "sibling";
        for (int i = 1; i < count; ++i)
            unit.addChild("", "x");
        Unit& renamed = *unit.childAt(static_cast<unsigned long>(count) - 1);
        renamed.name(index);
        EXPECT_EQ(treeOf(Unit(unit)), treeOf(unit));
        renamed.name("z");
        EXPECT_EQ(unit.child("z"), &renamed);
        EXPECT_EQ(unit.child(index), unit.childAt(0));
    }
}

TEST(Unit, FindsChildrenThatHaveLostTheirParent) {
    for (const int count : {16, 17}) {
        Unit unit;
        for (int i = 0; i < count; ++i)
            unit.addChild(numbered(i));
        Unit& cleared = *unit.childAt(3);
        EXPECT_TRUE(ntvFromPml(cleared, istr("new(x)")));
        unit.childAt(4)->parent(nullptr);
        unit.addChild("last");
        cleared.name("a");
        unit.childAt(4)->name("z");
        for (const Unit* const child : *unit.listValue())
            EXPECT_EQ(unit.child(child->name()), child) << child->name();
        EXPECT_EQ(unit.child("new"), nullptr);
    }
}

TEST(Unit, UpdatesChildrenAndReturnsFalse) {
    Unit unit;
    EXPECT_FALSE(unit.addOrUpdateChild(nullptr));
    EXPECT_FALSE(unit.updateChild("a", "1"));
    EXPECT_FALSE(unit.updateChild("b", "t", "2"));
    const Unit* const before = unit.at("a");
    EXPECT_FALSE(unit.updateChild("a", "t", "3"));
    EXPECT_EQ(std::as_const(unit).at("a"), before);
    EXPECT_FALSE(unit.updateChild(Unit(*sample())));
    EXPECT_FALSE(unit.addOrUpdateChild(new Unit("b", nullptr)));
    EXPECT_TRUE(unit.updateChild("", "5"));
    // A child that is found by its index is replaced there.
    EXPECT_FALSE(unit.updateChild("[3]", "6"));
    EXPECT_EQ(treeOf(unit), "{a:t=3 b r{a:t{b=1 c{=x =y}} =plain d} [3]=6}");
    EXPECT_TRUE(isSound(unit));
}

TEST(Unit, FindsByPath) {
    const auto tree = sample();
    const Unit& unit = *tree;
    const Unit& c = *unit.find("a/c");
    const struct {
        const Unit& from;
        const char* path;
        const char* found;
    } cases[] = {
        {unit, "", "/"},
        {unit, "a/b/", "/a/b"},
        {unit, "/a//b", "/a/b"},
        {unit, "[0]/b", "/a/b"},
        {unit, "a[1][0]", "/a/c/[0]"},
        {unit, "/a/[1]/[1]", "/a/c/[1]"},
        {c, "/", "/"},
        {c, "./[1]", "/a/c/[1]"},
        {c, "../../d", "/d"},
        {c, "/d/../a/./c", "/a/c"},
        {c, "[1x]", "/a/c/[1]"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.path);
        const Unit* const found = test.from.find(test.path);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->path(), test.found);
    }
    for (const char* nowhere : {"..", "../a", "x", "x/..", "x[0]", "a[2]", "a[]", "a[1", "a[y]",
                                "a[-1]", "a[4294967296]", "d[0]", "a/b/c"}) {
        EXPECT_EQ(unit.find(nowhere), nullptr) << nowhere;
    }
    EXPECT_EQ(treeOf(unit), treeOf(*sample()));  // nothing was created
}

TEST(Unit, CreatesChildrenOnlyForWriting) {
    const auto tree = sample();
    const Unit& unit = *tree;
    EXPECT_EQ(&unit["x"], &Unit::null());
    EXPECT_EQ(&unit(".."), &Unit::null());
    EXPECT_EQ(&unit(7), &Unit::null());
    EXPECT_EQ(&unit["d"][0], &Unit::null());
    EXPECT_EQ(unit[1].getStringValue(), "plain");
    EXPECT_EQ(&unit["."], &unit);
    const unsigned char name[] = "ab";
    EXPECT_EQ(unit.at(name, name + 1), &unit["a"]);
    Unit::destroy_null();
    EXPECT_TRUE(Unit::null().empty());
    String value("kept");
    EXPECT_TRUE(!unit.getChild("x", value) && value == "kept");
    EXPECT_TRUE(unit.getChild("a", value) && value.empty());

    // Writing looks only for names, so the path of a reader is a name here.
    (*tree)["x"] << 1;
    (*tree)[".."] << 2;
    EXPECT_EQ(tree->at("/")->path(), "//");
    EXPECT_EQ(tree->at(".")->path(), "/.");
    EXPECT_EQ(treeOf(unit), "r{a:t{b=1 c{=x =y}} =plain d x=1 ..=2 / .}");
}

TEST(Unit, CopiesAndMovesValuesWithTheirChildren) {
    const auto tree = sample();
    Unit copy(*tree->at("a"));
    EXPECT_EQ(treeOf(copy), "a:t{b=1 c{=x =y}}");
    EXPECT_EQ(copy.parent(), nullptr);
    EXPECT_EQ(copy.find("c/[1]")->path(), "/c/[1]");
    // Parent and index stay; a part replaces the whole.
    Unit& a = *tree->at("a");
    a = *a.at("c");
    a << *tree;
    *tree += *tree->at("c")->at("c");
    // A list that moves to another unit.
    std::unique_ptr<ValueBase> list(a.popValue());
    EXPECT_EQ(treeOf(*tree), "r{c =plain d =x =y}");
    copy.value(list.release());
    EXPECT_EQ(treeOf(copy), "a:t{c{=x =y} =plain d}");
    EXPECT_TRUE(isSound(*tree) && isSound(copy));
    // A list with the same name twice is refused and deleted.
    auto* const twice = new ListValue;
    twice->push_back(new Unit("n", nullptr));
    twice->push_back(new Unit("n", nullptr));
    EXPECT_THROW(copy.value(twice), DuplicatedUnitException);
    EXPECT_EQ(treeOf(copy), "a:t{c{=x =y} =plain d}");
}

TEST(Unit, SetsAndClearsValues) {
    const auto tree = sample();
    tree->setValue(tree->find("a/b")->getStringValue());
    EXPECT_EQ(treeOf(*tree), "r=1");
    EXPECT_EQ(std::as_const(*tree).at("a"), nullptr);
    StringValue* text = nullptr;
    ListValue* list = nullptr;
    EXPECT_TRUE(tree->getValue(text) && !tree->getValue(list));
    const std::unique_ptr<ValueBase> popped(tree->popValue());
    EXPECT_EQ(dynamic_cast<StringValue&>(*popped).data(), "1");
    EXPECT_TRUE(!tree->getValue(text) && text == nullptr && tree->value() == nullptr);
    tree->value(new IntegerValue(7));
    EXPECT_TRUE(tree->valueEmpty());
    *tree << "dropped" << 8;
    EXPECT_EQ(treeOf(*tree), "r?");
    tree->initValueAsList();
    EXPECT_EQ(treeOf(*tree), "r{}");
    EXPECT_TRUE(tree->getValue(list) && list == tree->value());
    EXPECT_FALSE(tree->valueEmpty() || tree->simple() || !tree->childWasSingle());
    Unit& child = (*tree)["child"];
    child.allNesessary(true);
    child.clear();
    EXPECT_TRUE(child.empty() && child.parent() == nullptr && child.allNesessary());
    child.setValue("");
    EXPECT_TRUE(child.valueEmpty() && child.simple() && !child.empty());
}

template <class... Ts>
std::vector<std::string> textsOf(const Ts&... values) {
    const auto textOf = [](const auto& value) {
        Unit unit;
        unit << value;
        return std::string(unit.type() + (unit.type().empty() ? "" : ":")) +
               unit.stringValue()->data();
    };
    return {textOf(values)...};
}
using Texts = std::vector<std::string>;

// docs/formats.md has the usual values in its table.
TEST(Unit, WritesScalarsAsText) {
    EXPECT_EQ(textsOf(Bit(false), Byte(65), Sbyte('-'), Wchar(L'\u5b89'), 0.1F, Double(-1e300)),
              (Texts{"0", "A", "-", "23433", "0.1", "-1e+300"}));
    EXPECT_EQ(textsOf(short(-5), Ushort(65535), Longlong(-4294967297), 18446744073709551615ULL),
              (Texts{"-5", "65535", "-4294967297", "18446744073709551615"}));
    EXPECT_EQ(
        textsOf("(a)", L"\u5b89", reinterpret_cast<const unsigned char*>("u"), String("\0", 1)),
        (Texts{"(a)", "utf8:5a6J", "u", std::string(1, '\0')}));
    EXPECT_EQ(textsOf(ShowMode(ShowMode::MIXED), ShowPattern(15), Time::microSeconds(0)),
              (Texts{"MIXED", "PATH NAME TYPE VALUE", Time::microSeconds(0).toFullDateTime()}));
}

// The value read from a text, as text.
template <class T>
std::string readAs(istr type, istr text, const T& before) {
    T value = before;
    const bool read = Unit("n", type, text) >> value;
    Unit shown;
    shown << value;
    return (read ? "" : "no ") + shown.stringValue()->data();
}

TEST(Unit, ReadsScalarsFromText) {
    EXPECT_EQ((Texts{readAs("", "true", false), readAs("", "false", true), readAs("", "0", true),
                     readAs("", "2", false), readAs("", "yes", true)}),
              (Texts{"1", "0", "0", "1", "no 1"}));
    EXPECT_EQ((Texts{readAs("", "xyz", 'c'), readAs("", "7", Byte(65)), readAs("", "12x", 5L),
                     readAs("", " -12", Long(5)), readAs("", "1e3", 0.5),
                     readAs("", "4294967295", 5UL), readAs("", "23433", Wchar(L'x'))}),
              (Texts{"x", "7", "12", "-12", "1000", "4294967295", "23433"}));
    EXPECT_EQ((Texts{readAs("", "abc", 5L), readAs("", "", 5L), readAs("", "  ", 5L),
                     readAs("", "2147483648", 5L), readAs("", "1e999", 0.5),
                     readAs("", "", String("x")), readAs("", "", Bytes("x"))}),
              (Texts{"no 5", "no 5", "no 5", "no 5", "no 0.5", "no x", "no eA=="}));
    EXPECT_EQ((Texts{readAs("other", "text", String("x")), readAs("any", "/wA=", Bytes("x")),
                     readAs("utf8", "5a6J", std::wstring(L"x")),
                     readAs("", "\xE5\xAE\x89", std::wstring(L"x"))}),
              (Texts{"text", "/wA=", "5a6J", "5a6J"}));
    const Time then = Time::microSeconds(1500000000123000);
    Time read = Time::microSeconds(0);
    EXPECT_FALSE(Unit("n", "", "") >> read);
    EXPECT_EQ(read, Time::microSeconds(0));
    EXPECT_TRUE(Unit("n", "", then.toFullDateTime()) >> read);
    EXPECT_EQ(read, then);

    volatile unsigned long counter = 5;
    EXPECT_TRUE(!(Unit("n", "", "x") >> counter) && counter == 5);
    EXPECT_TRUE((Unit("n", "", "6") >> counter) && counter == 6);
    String text("before");
    EXPECT_FALSE(*sample() >> text);
    EXPECT_FALSE(Unit(new IntegerValue(7)) >> text);
    EXPECT_EQ(text, "before");
    Unit target("kept");
    EXPECT_TRUE(*sample()->at("a") >> target);
    EXPECT_EQ(treeOf(target), "kept:t{b=1 c{=x =y}}");
}

TEST(Unit, IsUnchangedWhenMemoryIsShort) {
    const String big(std::string(100, 'x'));
    const auto orThrow = [](bool done) {
        if (!done) throw std::bad_alloc();
    };
    const std::function<void(Unit&)> operations[] = {
        [&](Unit& unit) { orThrow(unit.addChild(big, big, big)); },
        [&](Unit& unit) { orThrow(unit.addChild(unit)); },
        [&](Unit& unit) { unit.updateChild(big, big, big); },
        [&](Unit& unit) { unit.updateChild("a", big, big); },
        [&](Unit& unit) { unit.at(big); },
        [&](Unit& unit) { Unit other(unit); },
        [&](Unit& unit) { unit = Unit(*sample()); },
        [&](Unit& unit) { unit << *sample(); },
        [&](Unit& unit) { unit << big; },
        [&](Unit& unit) { unit << std::wstring(100, L'x'); },
        [&](Unit& unit) { unit << Bytes(big); },
        [&](Unit& unit) { (unit.simple() ? unit : *unit.childAt(1)).name(big); },
        [&](Unit& unit) { unit.initValueAsList(); },
        [&](Unit& unit) { static_cast<void>(dumped(unit)); },
        [&](Unit& unit) { unit.value(ListValue(ListValue::Units{&unit}).clone()); },
    };
    const std::function<std::unique_ptr<Unit>()> units[] = {
        [] { return std::make_unique<Unit>("n", "t", "text that needs a block of its own"); },
        [] { return std::make_unique<Unit>("n", "t", new IntegerValue(7)); },
        [] {
            auto unit = sample();
            for (int i = 0; i < 13; ++i)
                unit->addChild(numbered(i));
            return unit;
        }};
    for (const auto& operation : operations) {
        for (const auto& make : units) {
            SCOPED_TRACE(&operation - operations);
            const AllocationCounter outside;
            {
                const auto unit = make();
                const std::string before = treeOf(*unit);
                failEachAllocation([&] { operation(*unit); },
                                   [&] {
                                       EXPECT_EQ(treeOf(*unit), before);
                                       EXPECT_TRUE(isSound(*unit));
                                   });
                EXPECT_TRUE(isSound(*unit));
            }
            EXPECT_EQ(outside.outstanding(), 0);
        }
    }
    Unit owner("o", "", "text");
    auto child = std::make_unique<Unit>("child");
    const FailAllocations failing(1);
    EXPECT_FALSE(owner.addChild(child.get()));
}

TEST(Unit, NeedsTheSameStackAtAnyDepth) {
    Unit unit;
    ASSERT_TRUE(ntvFromPml(unit, chain(kDeep, "x")));
    EXPECT_TRUE(unit.childWasSingle());
    EXPECT_EQ(unit.chainEnd().root(), &unit);
    EXPECT_EQ(unit.chainEnd().path().size(), 2 * (kDeep - 1));
    Unit copy(unit);
    EXPECT_EQ(copy.chainEnd().root(), &copy);
    EXPECT_EQ(dumped(unit), dumped(copy));
    copy = *unit.at("a");
    copy.clear();
}

}  // namespace
}  // namespace qor::pml::ntv
