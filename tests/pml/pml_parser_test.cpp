#include "qor/pml/pml_parser.h"

#include "support/pml.h"
#include "support/test.h"

namespace qor::pml {
namespace {

using ntv::Unit;

// The tree and the rest of a source, or the message.
template <class Source>
std::string outcomeOf(Source&& source, bool valueString = false) {
    Unit unit("before", "before", "before");
    try {
        if (!(valueString ? ntvFromValueString(unit, source) : ntvFromPml(unit, source))) {
            return "false";
        }
    } catch (const DecodeException& e) {
        return e.msg();
    } catch (const ntv::DuplicatedUnitException& e) {
        return treeOf(unit) + " " + e.msg();
    }
    EXPECT_TRUE(isSound(unit));
    if constexpr (std::is_pointer_v<std::remove_reference_t<Source>>) {
        return treeOf(unit) + "|" + String(source);
    } else {
        return treeOf(unit);
    }
}

const char* const kName = "DecodeException: get pml name token";

// docs/formats.md has the plain cases, and the fuzz target compares the kinds of sources.
TEST(PmlParser, FollowsTheFormatExactly) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {" \t\r\n a \n ( \n b \n ) ", "a=b| "},
        {"(* c *)a(* c *)(*c*):(**)t(***)(*)*)(b)", "a:t=b|"},
        {"a((*(*)*)*)b)", "a=*|b)"},
        {"a(b (* c *) c)", "a=b c|"},
        {"a(^ x^ )", "a= x|"},
        {"a(' ^'x\"^^ ')", "a= 'x\"^ |"},
        {"a(\"x\"\n'y\"' 'z')", "a=xy\"z|"},
        {"a('x'y)", "a='x'y|"},
        {"'a'\"b\":'t'(1)", "'ab':'t'=1|"},
        {"a(b(1) b:t(2))", "a{b=1} DuplicatedUnitException: DuplicatedUnitException"},
        {"a(b(c(1) d) e(2))f", "a{b{c=1 d}}| e(2))f"},
        {"x)y", "x|)y"},
        {")y", "|y"},
        {"a(x ", "a=x|"},
        {"a('x^", "a='x|"},
        {"a('x", "a='x|"},
        {"a('x'", "a=x|"},
        {"a(x(*", "a=x|"},
        {"a(x(* c *)", "a=x|"},
        {"a((* (c *)x)", "a=x|"},
        {"a(b(1) c", "a{b=1}|"},
        {"a(b(", "a=b|"},
        {"a(x(*y", "a=x|"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        const char* at = test.text;
        EXPECT_EQ(outcomeOf(at), test.expected);
    }
    const char* const contents[][2] = {
        {" ' a ' ", "= a |"}, {"", "=|"}, {")", "=|"}, {":t(1)b(2))c", "{:t=1 b=2}|c"}};
    for (const auto& [text, expected] : contents) {
        const char* at = text;
        EXPECT_EQ(outcomeOf(at, true), expected);
    }
    // The refused text is passed, too.
    Unit unit;
    const char* refused = "a:b)c";
    EXPECT_THROW(ntvFromPml(unit, refused), DecodeException);
    EXPECT_STREQ(refused, "c");
    EXPECT_EQ(outcomeOf(std::wistringstream(L"\u00E5(\u5b89)")), "\xC3\xA5=\xE5\xAE\x89");
    EXPECT_EQ(outcomeOf(std::wistringstream(L"a:"), true), "DecodeException: get type token");
}

TEST(PmlParser, CreatesUnitsAndValues) {
    const std::unique_ptr<Unit> unit(newNTV("a(b)"));
    EXPECT_EQ(treeOf(*unit), "a=b");
    const char* text = "x(1)y(2))rest";
    const std::unique_ptr<ntv::ValueBase> value(newNtvValue(text));
    EXPECT_STREQ(text, "rest");
    EXPECT_EQ(value->owner(), nullptr);
    Unit holder(value->clone());
    EXPECT_EQ(holder.find("y")->path(), "/y");
    EXPECT_EQ(newNTV(File("/nowhere/at/all")), nullptr);
    EXPECT_EQ(newNtvValue(File("/nowhere/at/all")), nullptr);
    EXPECT_EQ(raisedIn<DecodeException>([] { newNTV(istr("a:")); }),
              "qor::pml::pmlParserBase<char>::__doParser");
    EXPECT_EQ(raisedIn<DecodeException>([] { newNtvValue(iwstr(L"a:")); }),
              "qor::pml::pmlParserBase<wchar_t>::__doParser");
}

TEST(PmlParser, ReadsTextThatIsPartOfTheUnit) {
    Unit unit("n", "t", "a(b('c(d)'))");
    EXPECT_TRUE(ntvFromPml(unit, unit.getStringValue()));
    EXPECT_TRUE(ntvFromPml(unit, unit["b"].getStringValue()));
    EXPECT_EQ(treeOf(unit), "c=d");
    EXPECT_TRUE(ntvFromValueString(unit, unit.name()));
    EXPECT_EQ(treeOf(unit), "=c");
    unit.type("e(f)");
    EXPECT_TRUE(ntvFromPml(unit, istr(unit.type())));
    EXPECT_EQ(treeOf(unit), "e=f");
}

// Text ends at its first zero, and a stream does not.
TEST(PmlParser, FindsTheEndOfItsSource) {
    const std::string text("a(b\0c)d(e)", 10);
    Unit unit;
    EXPECT_TRUE(ntvFromPml(unit, istr(text)));
    EXPECT_EQ(treeOf(unit), "a=b");
    std::istringstream stream(text);
    EXPECT_TRUE(ntvFromPml(unit, stream));
    EXPECT_EQ(treeOf(unit), std::string("a=b\0c", 5));
    EXPECT_TRUE(ntvFromPml(unit, stream));  // the next document
    EXPECT_EQ(treeOf(unit), "d=e");
    EXPECT_TRUE(ntvFromPml(unit, stream));  // the end, twice
    EXPECT_TRUE(stream.eof() && !stream.fail() && ntvFromPml(unit, stream));
    EXPECT_TRUE(unit.empty());
    const char* nothing = nullptr;
    EXPECT_TRUE(ntvFromPml(unit, nothing) && unit.empty());
    EXPECT_TRUE(ntvFromPml(unit, istr()) && ntvFromPml(unit, iwstr()));

    std::istringstream failed("a(b)");
    failed.setstate(std::ios::failbit);
    EXPECT_EQ(outcomeOf(failed), kName);
    EXPECT_EQ(outcomeOf(std::istream(nullptr)), kName);
    EXPECT_EQ(outcomeOf(std::ifstream("/nowhere/at/all")), kName);
#ifdef __GLIBCXX__  // to another library's stream a directory is an empty file
    EXPECT_EQ(outcomeOf(std::ifstream("/")), kName);
#endif
    // A source that fails in the middle ends a value, and is an error in a name.
    struct Breaking : std::streambuf {
        explicit Breaking(std::string& s) { setg(s.data(), s.data(), s.data() + s.size()); }
        int_type underflow() override { throw std::runtime_error("broken"); }
    };
    std::string value("a(b");
    std::string name("a(b(1)");
    Breaking inValue(value);
    Breaking inName(name);
    std::istream broken(&inValue);
    EXPECT_TRUE(ntvFromPml(unit, broken) && broken.bad());
    EXPECT_EQ(treeOf(unit), "a=b");
    EXPECT_EQ(outcomeOf(std::istream(&inName)), kName);
}

TEST(PmlParser, ReadsFiles) {
    const TempDir dir;
    dir.file("f.pml", "a(b\n)");
    Unit unit;
    EXPECT_TRUE(ntvFromPml(unit, File(dir.path("f.pml"))));
    EXPECT_EQ(treeOf(unit), "a=b");
    EXPECT_TRUE(ntvFromValueString(unit, File(String(dir.path("f.pml")).replace("/", "\\"))));
    EXPECT_EQ(treeOf(unit), "{a=b}");
    for (const std::string& name : {dir.path("missing"), dir.path(), std::string(),
                                    dir.path("f.pml") + std::string("\0x", 2)}) {
        EXPECT_FALSE(ntvFromPml(unit, File(name))) << name;
        EXPECT_TRUE(unit.empty());
        unit.addChild("a");
    }
}

TEST(PmlParser, IsFalseWhenMemoryIsShort) {
    const std::string long_(50, 'x');
    const std::string text = "a:t(" + long_ + "(b:t(1)" + long_ + "b(c(" + long_ + ")d))e(2))";
    const std::string expected = treeOf(stream(text, false).unit());
    const auto check = [&expected](auto source) {
        const AllocationCounter outside;
        const auto read = [source](Unit& unit) {
            if (!ntvFromPml(unit, source)) throw std::bad_alloc();
        };
        {
            Unit unit("n", "t", "v");
            EXPECT_GT(failEachAllocation([&] { read(unit); }, [&] { EXPECT_TRUE(isSound(unit)); }),
                      10u);
            EXPECT_EQ(treeOf(unit), expected);
        }
        EXPECT_EQ(outside.outstanding(), 0);
    };
    check(istr(text));
    check(iwstr(String(text).toWstring()));
}

TEST(PmlParser, AllocatesOnlyForNodesTextsAndContainers) {
    constexpr unsigned long kLists = 100;
    constexpr unsigned long kLeaves = 8;  // the room that a list begins with
    const std::string longText(40, 'x');
    std::string text = "r(";
    for (unsigned long i = 0; i < kLists; ++i) {
        text.append("list").append(std::to_string(i)).append("(long(").append(longText).append(")");
        for (unsigned long j = 1; j < kLeaves; ++j)
            text.append("leaf").append(std::to_string(j)).append("(7) ");
        text += ")\n";
    }
    text += ")";
    Unit unit;
    const AllocationCounter counter;
    ASSERT_TRUE(ntvFromPml(unit, text));
    const unsigned long units = kLists * (1 + kLeaves);
    const unsigned long lists = 2 * (1 + kLists);  // each with its array
    const unsigned long longTexts = kLists;
    const unsigned long nameOrder = kLists + 1;
    const unsigned long growth = 10;  // of the outer array, the token, the stack of open units
    EXPECT_LE(counter.allocations(), units + lists + longTexts + nameOrder + growth);
}

TEST(PmlParser, NeedsTheSameStackAtAnyDepth) {
    const std::string text = chain(kDeep, "x");
    Unit unit;
    EXPECT_TRUE(ntvFromPml(unit, istr(text.data(), 2 * kDeep)));  // without its end
    EXPECT_EQ(unit.chainEnd().getStringValue(), "a");
    EXPECT_TRUE(ntvFromPml(unit, std::wstring(text.begin(), text.end())));
    EXPECT_EQ(unit.str(ShowMode::SIMPLE), text);
    EXPECT_THROW(ntvFromPml(unit, chain(kDeep, "b(1)b(2)")), ntv::DuplicatedUnitException);
}

}  // namespace
}  // namespace qor::pml
