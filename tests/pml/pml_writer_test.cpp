#include "qor/pml/pml_writer.h"

#include "support/pml.h"
#include "support/test.h"

namespace qor::pml {
namespace {

using ntv::Unit;

TEST(PmlWriter, ShowsModesAndPatterns) {
    EXPECT_EQ(streamed(ShowMode(1)) + streamed(ShowMode(2)) + streamed(ShowMode(3)) +
                  streamed(ShowMode(4)),
              "COMPACTSIMPLEMIXEDFORMATTED");
    EXPECT_EQ(streamed(ShowMode(0)) + streamed(ShowMode(5)), "<UnknownShowMode><UnknownShowMode>");
    EXPECT_EQ(streamed(ShowPattern(16)) + streamed(ShowPattern(10)), "NONEPATH TYPE");
    ShowPattern pattern(15);
    EXPECT_EQ(pattern.show_path(false).show_name(false).show_type(false).data(), 1);
    EXPECT_EQ(pattern.show_path(true).show_name(true).show_type(true).show_value(false).data(), 14);
    EXPECT_TRUE(pattern.show_path() && pattern.show_name() && !pattern.show_value());
}

TEST(PmlWriter, EscapesAndUnescapes) {
    const wchar_t* const cases[][2] = {
        {L"", L""},        {L"a b", L"a b"},           {L" a", L"\" a\""}, {L"a\n", L"\"a\n\""},
        {L"(", L"\"(\""},  {L"a:b", L"\"a:b\""},       {L"*", L"\"*\""},   {L"it's", L"\"it's\""},
        {L"^", L"\"^^\""}, {L"\"x\"", L"\"^\"x^\"\""}, {L"\x7F", L"\x7F"}, {L"\x80", L"\"\x80\""}};
    for (const auto& [plain, escaped] : cases) {
        std::wstring wide(plain);
        String narrow(wide);
        EXPECT_EQ(escapeString(wide), escaped);
        EXPECT_EQ(escapeString(narrow), String(escaped));
    }
    String zero("a\0(", 3);
    EXPECT_EQ(escapeString(zero), String("\"a\0(\"", 5));
    for (const char* kept : {"", "x", "'", "'x", "x'", "'x\""}) {
        String text(kept);
        EXPECT_EQ(unescapeString(text), kept);
    }
    String text("\"'^^x'\"");
    EXPECT_EQ(unescapeString(text), "'^^x'");
    EXPECT_EQ(unescapeString(text), "^^x");
    std::wstring wide(L"\"(\"");
    EXPECT_EQ(unescapeString(wide), L"(");
    for (char c = 1; c > 0; ++c) {
        const bool special = std::string_view("():*^'\"").find(c) != std::string_view::npos;
        EXPECT_EQ(isSpeacialChar(c), special);
        EXPECT_EQ(isSpeacialChar(static_cast<wchar_t>(c)), special);
    }
    EXPECT_FALSE(isSpeacialChar('\0') || isSpeacialChar(L'\u0128'));
}

String written(const Unit& unit, int mode, int pattern = ShowPattern::ALL) {
    return unit.str(mode, pattern);
}

TEST(PmlWriter, LaysOut) {
    Unit tree;
    // On a common line named children keep their indents, and unnamed ones get theirs twice.
    ASSERT_TRUE(
        ntvFromPml(tree, "r(l(:t(x(1)y(2)):t((a)(b)))m(:t(1)n(2))o(p(q(r(1)))s(t(u(1)v(2)))))"));
    EXPECT_EQ(written(tree, ShowMode::MIXED),
              "r(l(\n        :t(    x(1)    y(2))\n        :t(    (a)    (b))\n)m(\n:t(1)n(2))"
              "o(p(q(r(1)))s(t(u(1)v(2)))))");
    // A chain that ends in several children is not written as one.
    EXPECT_EQ(written(*tree.at("o"), ShowMode::SIMPLE, 15),
              "o(\n    p(q(r(1)))\n    s(\n        t(\n            u(1)\n            v(2)\n"
              "        )\n    )\n)");
    EXPECT_EQ(written(*tree.at("o"), ShowMode::FORMATTED, 8),
              "(* /o *) (\n    (* /o/p *) ((()))\n    (* /o/s *) (\n        (* /o/s/t *) (\n"
              "            (* /o/s/t/u *) ()\n            (* /o/s/t/v *) ()\n        )\n    )\n)");
    // A part is written like a whole tree, but with its path.
    EXPECT_EQ(written(*tree.at("m"), ShowMode::FORMATTED, 15),
              "(* /m *) m(\n    (* /m/[0] *) :t(1)\n    (* /m/n *) n(2)\n)");
    EXPECT_EQ(streamed(*tree.at("m")), "m(\n    :t(1)\n    n(2)\n)");
    String text("> ");
    text << *tree.at("m")->at("n");
    EXPECT_EQ(text, "> n(2)");
}

TEST(PmlWriter, WritesNamesTypesAndValues) {
    const struct {
        Unit unit;
        const char* text;
    } cases[] = {
        {Unit(), "()"},
        {Unit("n", "t", ""), "n:t()"},
        {Unit("a^b\"c", "", "a^b\"c"), "a^^b^\"c(\"a^^b^\"c\")"},
        // A name is not quoted, and then reads as something else; a type is written as it is.
        {Unit("(a:b)", " t^", "'"), "(a:b): t^(\"'\")"},
        {Unit(" a ", "", "\xC3\xA5"), " a (\"\xC3\xA5\")"},
        {Unit("n", "", new ntv::CharacterValue('*')), "n(*)"},
        {Unit("n", "", new ntv::ListValue), "n()"},
    };
    for (const auto& test : cases) {
        for (int mode = ShowMode::COMPACT; mode <= ShowMode::FORMATTED; ++mode)
            EXPECT_EQ(written(test.unit, mode), test.text);
    }
}

TEST(PmlWriter, WritesToEachTarget) {
    const TempDir dir;
    const File file(dir.path("f.pml"));
    const Unit unit("n", "t", std::string(50000, 'x'));
    const std::string expected = "n:t(" + std::string(50000, 'x') + ")";
    std::ofstream(file.filename()) << std::string(60000, '-');
    EXPECT_TRUE(ntvToCompactPml(unit, file, ShowPattern::ALL));
    String text("> ");
    EXPECT_TRUE(format(file, text, ShowMode::SIMPLE, ShowPattern::ALL));
    EXPECT_EQ(text, "> " + expected);
    std::ostringstream os;
    EXPECT_TRUE(ntvToMixedPml(unit, os, 7) && ntvToSimplePml(unit, os, 4));
    EXPECT_TRUE(ntvToFormattedPml(unit, os, 2));
    EXPECT_EQ(os.str(), expected + "n():t()");

    for (const int unknown : {0, 5, -1}) {
        EXPECT_FALSE(ntvToPml(unit, text, unknown, 7) || ntvToPml(unit, os, unknown, 7) ||
                     ntvToPml(unit, file, unknown, 7));
    }
    EXPECT_EQ(text, "> " + expected);
    EXPECT_TRUE(format(file, os, ShowMode::COMPACT, 0));  // the file is as it was
    EXPECT_FALSE(ntvToCompactPml(unit, File(dir.path()), 7));
    EXPECT_FALSE(ntvToCompactPml(unit, File("/dev/full"), 7));
    EXPECT_FALSE(format(File(dir.path("missing")), text, ShowMode::COMPACT, 7));
    os.setstate(std::ios::badbit);
    EXPECT_FALSE(ntvToCompactPml(unit, os, 7));
}

TEST(PmlWriter, PassesALongListOnInPieces) {
    struct Pieces : std::stringbuf {
        std::streamsize xsputn(const char* text, std::streamsize size) override {
            largest = std::max(largest, size);
            return std::stringbuf::xsputn(text, size);
        }
        std::streamsize largest = 0;
    } pieces;
    Unit list;
    for (int i = 0; i < 20000; ++i)
        list.addChild("", "value");
    std::ostream os(&pieces);
    EXPECT_TRUE(ntvToCompactPml(list, os, 7));
    EXPECT_EQ(pieces.str(), list.str(ShowMode::COMPACT));
    EXPECT_LT(pieces.largest, 32768);
}

// Text and file are unchanged until the new text is complete.
TEST(PmlWriter, ChangesNothingWhenMemoryEnds) {
    const TempDir dir;
    const File file(dir.path("f.pml"));
    const auto content = [&dir] { return contentOf(dir.path("f.pml")); };
    std::ofstream(file.filename()) << "old";
    String grown("> ");
    const Unit unit("n", "t", std::string(50000, 'x'));
    EXPECT_GT(failEachAllocation([&] { ntvToPml(unit, grown, ShowMode::COMPACT, 7); },
                                 [&] { EXPECT_EQ(grown, "> "); }),
              0u);
    EXPECT_GT(failEachAllocation([&] { ntvToPml(unit, file, ShowMode::COMPACT, 7); },
                                 [&] { EXPECT_EQ(content(), "old"); }),
              0u);
    EXPECT_EQ("> " + content(), grown);
}

// Only 3000 levels: with indents the text grows with the square of the depth.
TEST(PmlWriter, NeedsTheSameStackAtAnyDepth) {
    Unit tree;
    ASSERT_TRUE(ntvFromPml(tree, chain(3000, "b(1)c(2)")));
    EXPECT_EQ(written(tree, ShowMode::SIMPLE).size(),
              3000U * (4 * 2999 + 5) - 1 + 2 * (4 * 3000 + 5));
    EXPECT_EQ(written(tree, ShowMode::COMPACT), chain(3000, "b(1)c(2)"));
}

}  // namespace
}  // namespace qor::pml
