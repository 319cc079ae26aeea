#include "qor/pml/pml_stream.h"

#include "support/pml.h"
#include "support/test.h"

namespace qor::pml {
namespace {

TEST(Stream, KnowsItsDirection) {
    const stream s;
    EXPECT_TRUE(s.isOutputStream() && !s.isInputStream() && !s.allNesessary());
    s.setAsInputStream();
    EXPECT_EQ(dumped(s), "{direction_=input unit_={name_= type_= value_=}}");
    s.setAsOutputStream(true);
    EXPECT_TRUE(stream(s).isOutputStream() && stream(s).allNesessary());
    EXPECT_EQ(dumped(s), "{direction_=output unit_={name_= type_= value_=}}");
}

TEST(Stream, ReadsFromText) {
    EXPECT_EQ(treeOf(stream("a(b)", false).unit()), "a=b");
    EXPECT_EQ(treeOf(stream("a(b)", true).unit()), "{a=b}");
    EXPECT_EQ(treeOf(stream(L"\u00E5(b)", false).unit()), "\xC3\xA5=b");
    stream s(iwstr(L"a(b)"), true);
    EXPECT_TRUE(s.isInputStream());
    EXPECT_THROW(s.from("x:", false), DecodeException);
    EXPECT_THROW(stream("a:b)", true), DecodeException);
    s.from("x(y)", false);
    stream copy(s);
    copy.value("z");
    copy.name("n");
    copy.type("t");
    EXPECT_EQ(copy.name() + copy.type() + treeOf(s.unit()), "ntx=y");
    s = copy;
    EXPECT_EQ(treeOf(s.unit()), "n:t=z");
    s.clear();
    EXPECT_TRUE(s.unit().empty());
}

TEST(Stream, IsWholeOrEmptyWhenMemoryIsShort) {
    const TempDir dir;
    const std::string path = dir.path("f.pml");
    const std::string longer(100, 'x');
    const String text = "r(a(" + longer + ")b(c(1)d(" + longer + "))e(2))";
    const std::wstring wide = text.toWstring();
    std::ofstream(path) << static_cast<const std::string&>(text);
    const std::string whole = "r{a=" + longer + " b{c=1 d=" + longer + "} e=2}";
    const std::function<void(stream&)> reads[] = {
        [&](stream& s) { s.from(text, false); },
        [&](stream& s) { s.from(iwstr(wide), false); },
        [&](stream& s) { s.from(path, from_file(), false); },
        [&](stream& s) { s = stream(text, false); },
    };
    for (const auto& read : reads) {
        SCOPED_TRACE(&read - reads);
        stream s("old(x)", false);
        const auto isOld = [&] { return treeOf(s.unit()) == "old=x"; };
        EXPECT_GT(
            failEachAllocation([&] { read(s); }, [&] { EXPECT_TRUE(s.unit().empty() || isOld()); }),
            3u);
        EXPECT_EQ(treeOf(s.unit()), whole);
    }
}

TEST(Stream, CombinesAllChildrenOrRaises) {
    const stream other("r(a(1)b(a value that needs a block of its own))", false);
    failEachAllocation(
        [&] {
            stream s;
            s.combine(other);
            EXPECT_EQ(s.unit().numofChildren(), 2u);
        },
        [] {});
}

TEST(Stream, FindsAndCreatesChildren) {
    stream s("r(a(b(1))c()d(())x(0))", false);
    const stream& reader = s;
    EXPECT_TRUE(s.has("a/b") && s.has("d[0]") && s.has("") && !s.has("a/c"));
    EXPECT_TRUE(s.isEmptyChild("c") && s.isEmptyChild("none"));
    EXPECT_FALSE(s.isEmptyChild("a") || s.isEmptyChild("d") || s.isEmptyChild("x"));
    EXPECT_EQ(&reader["none"], &ntv::Unit::null());
    EXPECT_EQ(&reader[name_id{"none"}], &ntv::Unit::null());
    s["y"] << 1;
    s[name_id{"z"}] << 2;
    EXPECT_EQ(treeOf(s.unit()), "r{a{b=1} c= d{=} x=0 y=1 z=2}");
    s.enter("T", "N", "", "");
    EXPECT_EQ(s.name() + s.type(), "rT");
    s.name("");
    s.enter("U", "N", "", "");
    s.enter("", "M", "", "");
    EXPECT_EQ(s.name() + s.type(), "NT");

    stream other("r(a(new)b(:t(1)e(2))(unnamed))", false);
    s["p/q"] << 3;
    other["p/q"] << 4;
    s[".."] << 5;
    other[".."] << 6;
    s.combine(other);
    s.combine(s);
    s.combine(stream("scalar", true));
    EXPECT_EQ(treeOf(s.unit()), "N:T{a{b=1} c= d{=} x=0 y=1 z=2 p/q=3 ..=5 b{:t=1 e=2}}");
    EXPECT_TRUE(isSound(s.unit()) && isSound(other.unit()));
}

TEST(Stream, IsWrittenAsItsUnit) {
    const stream s("r(a:t(1)b(2))", false);
    EXPECT_EQ(s.toPml(false), "r(a:t(1)b(2))");
    EXPECT_EQ(s.toPml(true), "r(\n    a:t(1)\n    b(2)\n)");
    String text(s.str(ShowMode::COMPACT, 4));
    EXPECT_TRUE(s.toString(text, ShowMode::COMPACT, 1));
    text << s;
    EXPECT_EQ(text, "r(a()b())((1)(2))" + streamed(s));
    EXPECT_EQ(streamed(s), s.toPml(true));
    ntv::Unit unit("kept");
    unit << s;
    EXPECT_EQ(treeOf(unit), "kept{a:t=1 b=2}");
    stream target;
    target.name("own");
    EXPECT_TRUE(*unit.at("a") >> target);
    EXPECT_EQ(treeOf(target.unit()), "own:t=1");
}

TEST(Stream, ReadsAndWritesFilesAndTexts) {
    const TempDir dir;
    const std::string path = dir.path("f.pml");
    for (const std::string& name : {dir.path("missing"), dir.path(), std::string()}) {
        stream s("r(a(1))", false);
        s.from(name, from_file(), false);
        EXPECT_TRUE(s.unit().empty()) << name;
        EXPECT_FALSE(stream(name, from_file(), true).has("a"));
    }
    const ntv::Unit unit("n", "", "x y");
    pmlFile file(path, false);
    EXPECT_TRUE(file.fromNTV(unit, ShowMode::COMPACT, 7));
    EXPECT_FALSE(file.fromNTV(unit, 0, 7) || pmlFile(dir.path(), false).fromNTV(unit, 1, 7));
    ntv::Unit read;
    EXPECT_TRUE(file.toNTV(read));
    EXPECT_EQ(treeOf(read), "n=x y");
    EXPECT_TRUE(pmlFile(path, true).toNTV(read));
    EXPECT_EQ(treeOf(read), "{n=x y}");
    EXPECT_FALSE(pmlFile(dir.path("missing"), false).toNTV(read));
    EXPECT_EQ(treeOf(stream(path, from_file(), true).unit()), "{n=x y}");
    EXPECT_EQ(treeOf(stream(path, from_file(), false).unit()), "n=x y");

    pmlString text("a(");
    EXPECT_TRUE(text.fromNTV(unit, ShowMode::COMPACT, 7) && text.fromNTV(unit, 9, 7));
    EXPECT_EQ(text.data(), "a(n(x y)");
    const pmlType& place = text;
    EXPECT_TRUE(place.toNTV(read));
    EXPECT_EQ(treeOf(read), "a{n=x y}");
}

}  // namespace
}  // namespace qor::pml
