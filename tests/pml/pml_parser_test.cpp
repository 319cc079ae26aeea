#include "qor/pml/pml_parser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "qor/base/base_type_convert.h"
#include "support/allocation.h"
#include "support/pml.h"
#include "support/temp_dir.h"

namespace qor::pml {
namespace {

using ntv::Unit;
using support::treeOf;

// What a source reads as, and where it stays; or why it does not.
template <class Parse, class Rest>
std::string outcomeOf(const Parse& parse, const Rest& rest) {
    Unit unit("before", "before", "before");
    try {
        if (!parse(unit)) return "false";
    } catch (const DecodeException& e) {
        return std::string(e.func()).substr(10) + " " + e.msg();
    } catch (const ntv::DuplicatedUnitException& e) {
        return treeOf(unit) + " " + e.msg();
    }
    EXPECT_TRUE(support::isSound(unit));
    return treeOf(unit) + "|" + rest();
}

template <bool (*FromPointer)(Unit&, const char*&), bool (*FromView)(Unit&, istr),
          bool (*FromStream)(Unit&, std::istream&), bool (*FromWide)(Unit&, const wchar_t*&),
          bool (*FromWideView)(Unit&, iwstr), bool (*FromWideStream)(Unit&, std::wistream&)>
void expectFromEachSource(const std::string& text, const std::string& expected) {
    SCOPED_TRACE(text);
    const char* at = text.c_str();
    EXPECT_EQ(outcomeOf([&](Unit& unit) { return FromPointer(unit, at); }, [&] { return at; }),
              expected);
    const auto nothing = [&] { return expected.substr(expected.find('|') + 1); };
    EXPECT_EQ(outcomeOf([&](Unit& unit) { return FromView(unit, text); }, nothing), expected);
    std::istringstream stream(text);
    const auto rest = [](auto& source) {
        EXPECT_FALSE(source.bad() || source.fail());
        using Char = typename std::remove_reference_t<decltype(source)>::char_type;
        const std::basic_string<Char> left{std::istreambuf_iterator<Char>(source), {}};
        return std::string(left.begin(), left.end());
    };
    EXPECT_EQ(outcomeOf([&](Unit& unit) { return FromStream(unit, stream); },
                        [&] { return rest(stream); }),
              expected);

    const std::wstring wide = String(text).toWstring();
    const std::string inWide = String(expected).replace("<char>", "<wchar_t>");
    const wchar_t* wideAt = wide.c_str();
    EXPECT_EQ(outcomeOf([&](Unit& unit) { return FromWide(unit, wideAt); },
                        [&] { return std::string(wideAt, wide.c_str() + wide.size()); }),
              inWide);
    EXPECT_EQ(outcomeOf([&](Unit& unit) { return FromWideView(unit, wide); }, nothing), inWide);
    std::wistringstream wideStream(wide);
    EXPECT_EQ(outcomeOf([&](Unit& unit) { return FromWideStream(unit, wideStream); },
                        [&] { return rest(wideStream); }),
              inWide);
}
constexpr auto expectDocument =
    expectFromEachSource<ntvFromPml, ntvFromPml, ntvFromPml, ntvFromPml, ntvFromPml, ntvFromPml>;
constexpr auto expectContent =
    expectFromEachSource<ntvFromValueString, ntvFromValueString, ntvFromValueString,
                         ntvFromValueString, ntvFromValueString, ntvFromValueString>;

const char* const kName = "pmlParserBase<char>::__doParser DecodeException: get pml name token";
const char* const kType = "pmlParserBase<char>::__doParser DecodeException: get type token";
const char* const kBegin =
    "pmlParserBase<char>::__doParser DecodeException: not found value begin tag, token";
const char* const kTwice = "DuplicatedUnitException: DuplicatedUnitException";

TEST(PmlParser, ReadsTheSameFromEverySource) {
    const struct {
        const char* text;
        std::string expected;
    } cases[] = {
        // Units.
        {"host(example)", "host=example|"},
        {"port:Ushort(8080)", "port:Ushort=8080|"},
        {"limits(max(10)min(1)) x", "limits{max=10 min=1}| x"},
        {"((a)(b))", "{=a =b}|"},
        {":dir(a)", ":dir=a|"},
        {"(:dir(a) :dir(b) )", "{:dir=a :dir=b}|"},
        {"(x)", "=x|"},
        {"a()", "a=|"},
        {"a(())", "a{=}|"},
        {"a(b(c(d))e(f))", "a{b{c=d} e=f}|"},
        {"a(b(1) b:t(2))", "a{b=1} " + std::string(kTwice)},
        {"a(b(c(1)d(2 ", "a{b{c=1 d=2}}|"},
        {"\xC3\xA5(\xE5\xAE\x89)", "\xC3\xA5=\xE5\xAE\x89|"},
        // Blanks and comments.
        {" \t\r\n a \n ( \n b \n ) ", "a=b| "},
        {"a b : t u (x  y)", "a b:t u=x  y|"},
        {"(* c *)a(* c *)(*c*):(**)t(***)(*)*)(b)", "a:t=b|"},
        {"a((* nested (* deep *) *)b)", "a=b|"},
        {"a((*(*)*)*)b)", "a=*|b)"},
        {"a(b (* c *) c)", "a=b c|"},
        {"a( *b)", "a=*b|"},
        // Escapes and quotes.
        {"a(^(x^)^^^y)", "a=(x)^y|"},
        {"a(^ x^ )", "a= x|"},
        {"a^:b(1)", "a:b=1|"},
        {"a('x)y')", "a=x)y|"},
        {"a(' ^'x\"^^ ')", "a= 'x\"^ |"},
        {"a('x' \"y\")", "a=xy|"},
        {"a(\"x\"\n'y\"' 'z')", "a=xy\"z|"},
        {"a(\"'x'\")", "a='x'|"},
        {"a('(*x*)')", "a=(*x*)|"},
        {"a('x'y)", "a='x'y|"},
        {"a(x'y')", "a=x'y'|"},
        {"'a'\"b\":'t'(1)", "'ab':'t'=1|"},
        // Names in front of an end.
        {"a(b(1) c)", "a{b=1 c}|)"},
        {"a(b(c(1) d) e(2))f", "a{b{c=1 d}}| e(2))f"},
        {"a(b(c(1)d)e)", "a{b{c=1 d}}|e)"},
        {"x)y", "x|)y"},
        {")y", "|y"},
        // The end of the source.
        {"", "|"},
        {" \n ", "|"},
        {"a", "|"},
        {"a(", "|"},
        {"a( ", "a=|"},
        {"a(x", "a=x|"},
        {"a(x ", "a=x|"},
        {"a('x", "a='x|"},
        {"a('x^", "a='x|"},
        {"a(x^", "a=x|"},
        {"a(b(1) c", "a{b=1}|"},
        {"a(b(", "a=b|"},
        {"a(x(*y", "a=x|"},
        {"a(*)(1)", "|"},
        {"a(b)(* c", "a=b|(* c"},
        {"a:", kType},
        {"a:t", kType},
        {"a:t(", kType},
        {"a(b:t", kType},
        {"a:b:c(", kBegin},
        {"a:b)", kBegin},
        {"a(b(1)c:d:e(1))", kBegin},
    };
    for (const auto& test : cases)
        expectDocument(test.text, test.expected);
}

TEST(PmlParser, ReadsTheContentOfAUnit) {
    const struct {
        const char* text;
        std::string expected;
    } cases[] = {
        {"abc", "=abc|"},
        {" ' a ' ", "= a |"},
        {"", "=|"},
        {"a(1)b(2)", "{a=1 b=2}|"},
        {":t(1)", "{:t=1}|"},
        {"a(1)b(2))c", "{a=1 b=2}|c"},
        {"abc)d", "=abc|d"},
        {")", "=|"},
        {"a(1)b)", "{a=1 b}|)"},
        {"a:b", kType},
        {"a(1)a(2)", "{a=1} " + std::string(kTwice)},
    };
    for (const auto& test : cases)
        expectContent(test.text, test.expected);
}

TEST(PmlParser, MakesUnitsAndValues) {
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
    EXPECT_THROW(newNTV(istr("a:")), DecodeException);
    EXPECT_THROW(newNtvValue(iwstr(L"a:")), DecodeException);
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
TEST(PmlParser, KnowsTheEndOfItsSource) {
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

    const auto refuses = [&](std::istream& bad) {
        return outcomeOf([&](Unit& u) { return ntvFromPml(u, bad); }, [] { return ""; });
    };
    std::istringstream failed("a(b)");
    failed.setstate(std::ios::failbit);
    std::istream bufferless(nullptr);
    std::ifstream closed("/nowhere/at/all");
    std::ifstream directory("/");
    EXPECT_EQ(refuses(failed), kName);
    EXPECT_EQ(refuses(bufferless), kName);
    EXPECT_EQ(refuses(closed), kName);
    // What breaks in the middle: a value ends there, a name does not.
    struct Breaking : std::streambuf {
        explicit Breaking(std::string& s) { setg(s.data(), s.data(), s.data() + s.size()); }
        int_type underflow() override { throw std::ios_base::failure("broken"); }
    };
    const std::pair<std::string, std::string> parts[] = {
        {"a(b", "a=b|"}, {"a(b(1)", kName}, {"a:t", kType}};
    for (auto [part, expected] : parts) {
        Breaking buffer(part);
        std::istream broken(&buffer);
        EXPECT_EQ(refuses(broken), expected);
        EXPECT_TRUE(broken.bad());
    }
}

TEST(PmlParser, ReadsFiles) {
    const support::TempDir dir;
    dir.file("f.pml", "a(b\n)");
    Unit unit;
    EXPECT_TRUE(ntvFromPml(unit, File(dir.path("f.pml"))));
    EXPECT_EQ(treeOf(unit), "a=b");
    EXPECT_TRUE(ntvFromValueString(unit, File(String(dir.path("f.pml")).replace("/", "\\"))));
    EXPECT_EQ(treeOf(unit), "{a=b}");
    for (const std::string& name : {dir.path("missing"), dir.path(), std::string()}) {
        EXPECT_FALSE(ntvFromPml(unit, File(name))) << name;
        EXPECT_TRUE(unit.empty());
        unit.addChild("a");
    }
}

TEST(PmlParser, IsFalseWhenMemoryIsShort) {
    const std::string long_(50, 'x');
    const std::string text = "a:t(" + long_ + "(b:t(1)" + long_ + "b(c(" + long_ + ")d))e(2))";
    const auto check = [](auto source) {
        Unit whole;
        ASSERT_TRUE(ntvFromPml(whole, source));
        const std::string expected = treeOf(whole);
        const support::AllocationCounter outside;
        unsigned long failures = 0;
        for (bool done = false; !done; ++failures) {
            Unit unit("n", "t", "v");
            {
                const support::FailAllocations failing(failures + 1);
                done = ntvFromPml(unit, source);
                ASSERT_NE(done, failing.happened());
            }
            EXPECT_TRUE(support::isSound(unit));
            if (done) {
                EXPECT_EQ(treeOf(unit), expected);
            }
        }
        EXPECT_GT(failures, 10u);
        EXPECT_EQ(outside.outstanding(), 0);
    };
    check(istr(text));
    check(iwstr(String(text).toWstring()));
}

TEST(PmlParser, TakesTheSameStackAtAnyDepth) {
    const std::string text = support::chain(support::kDeep, "x");
    Unit unit;
    Unit wide;
    EXPECT_TRUE(ntvFromPml(unit, istr(text.data(), 2 * support::kDeep)));  // without its end
    EXPECT_EQ(unit.chainEnd().getStringValue(), "");
    EXPECT_TRUE(ntvFromPml(unit, text));
    EXPECT_TRUE(ntvFromPml(wide, std::wstring(text.begin(), text.end())));
    EXPECT_EQ(wide.str(ShowMode::COMPACT), text);
    EXPECT_EQ(unit.str(ShowMode::SIMPLE), text);
    EXPECT_THROW(ntvFromPml(unit, support::chain(support::kDeep, "b(1)b(2)")),
                 ntv::DuplicatedUnitException);
}

}  // namespace
}  // namespace qor::pml
