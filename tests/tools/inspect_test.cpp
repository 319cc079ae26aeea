#include <filesystem>
#include <fstream>

#include "common/failure.h"
#include "inspect/inspector.h"
#include "inspect/readers.h"
#include "inspect/writers.h"
#include "support/formats.h"
#include "support/test.h"

namespace tools {
namespace {

using Reader = std::string (*)(istr, Sink&);
using MakeWriter = std::unique_ptr<Sink> (*)(Output&, bool);

// The text that a writer makes of the calls, without the end of the last line.
std::string written(MakeWriter make, const std::function<void(Sink&)>& call, bool compact = true) {
    std::string text;
    Output out(text);
    call(*make(out, compact));
    out.flush();
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

std::string converted(Reader reader, istr content, MakeWriter make, bool compact = true) {
    return written(
        make, [&](Sink& sink) { reader(content, sink); }, compact);
}

std::unique_ptr<Sink> nbrWriter(Output& out, bool) {
    return makeNbrWriter(out);
}

const struct Tree {
    const char* pml;
    const char* json;  // null: not compared
    const char* xml;
} kTrees[] = {
    {"a()", nullptr, "<a/>"},
    {"r(a(1.50)b(007)c(x y))", R"({ "a":1.50, "b":"007", "c":"x y" })",
     "<r><a>1.50</a><b>007</b><c>x y</c></r>"},
    {"r((a)(b))", R"([ "a", "b" ])", "<r><any>a</any><any>b</any></r>"},
    {"r((a)b(2))", R"([ "a", { "b":2 } ])", "<r><any>a</any><b>2</b></r>"},
    {"r:T(b:base64(aGk=)w:utf8(w7g=))", R"({ "b":"aGk=", "w":"ø" })",
     R"(<r __type__="T"><b __type__="base64">aGk=</b><w __type__="utf8">w7g=</w></r>)"},
    {"r(w:utf8(hello!))", R"({ "w":"hello!" })", R"(<r><w __type__="utf8">hello!</w></r>)"},
    {"r(a(b(c(1)(2)))d(e))", R"({ "a":{ "b":[ { "c":1 }, 2 ] }, "d":"e" })",
     "<r><a><b><c>1</c><any>2</any></b></a><d>e</d></r>"},
    {R"(r(a("<^"^^>")))", R"({ "a":"<\"^>" })", "<r><a><![CDATA[<\"^>]]></a></r>"},
};

TEST(Convert, PmlToEachTextFormat) {
    for (const Tree& tree : kTrees) {
        SCOPED_TRACE(tree.pml);
        EXPECT_EQ(converted(readPml, tree.pml, makeXmlWriter), tree.xml);
        if (tree.json == nullptr) continue;
        EXPECT_EQ(converted(readPml, tree.pml, makeJsonWriter), tree.json);
    }
}

const struct {
    Reader reader;
    const char* content;
    MakeWriter writer;
    const char* expected;
} kConversions[] = {
    {readJson, R"({"a":[1,{"b":null}],"c d":true})", makePmlWriter, "(a((1)(b()))c d(1))"},
    {readJson, R"({"a":[1],"c d":true})", makeXmlWriter,
     R"(<any><a><any>1</any></a><any __key__="c d">true</any></any>)"},
    {readJson, R"(["\u001bx/"])", makeJsonWriter, R"([ "\u001bx\/" ])"},
    {readXml, R"(<a x="1" y="b">t<c/><c>2</c></a>)", makeJsonWriter,
     R"([ { "@x":1 }, { "@y":"b" }, { "c":"" }, { "c":2 }, { "#text":"t" } ])"},
    {readXml, R"(<a x="1">t</a>)", makeJsonWriter, R"({ "@x":1, "#text":"t" })"},
    {readXml, R"(<a x="1">t</a>)", makePmlWriter, "a(@x(1)#text(t))"},
    {readXml, R"(<a x="1"/>)", makeTreeWriter, "{[@x] 1}"},
    // The parser keeps the last value.
    {readXml, R"(<a x="1" x="3"/>)", makeJsonWriter, R"([ { "@x":3 }, { "@x":3 } ])"},
    {readXml, "<r><any>1</any><any>2</any></r>", makeJsonWriter, "[ 1, 2 ]"},
    {readXml, "<a>7</a>", makeJsonWriter, "[ 7 ]"},
};

TEST(Convert, BetweenFormats) {
    for (const auto& c : kConversions)
        EXPECT_EQ(converted(c.reader, c.content, c.writer), c.expected) << c.content;
}

TEST(Convert, ToNbrByTheRulesOfContainers) {
    const std::pair<const char*, const char*> kTexts[] = {
        {R"([7,"hi",300])", "FF 01 28 01 01 01 07 01 F1 02 68 69 01 01 02 2C 01 FF 01 29"},
        // A double takes eight bytes.
        {R"([true,[ ],1.5])",
         "FF 01 28 01 01 01 01 01 FF 01 28 FF 01 29 01 01 08 00 00 00 00 00 00 F8 3F FF 01 29"},
        // What is no number in JSON stays text.
        {"[0x10,007]", "FF 01 28 01 F1 04 30 78 31 30 01 F1 03 30 30 37 FF 01 29"},
        {R"({"k":null})", "FF 01 28 01 FF 01 28 01 F1 01 6B 02 00 FF 01 29 FF 01 29"},
        {R"({"k":[1],"l":2})",
         "FF 01 28 01 FF 01 28 01 F1 01 6B 02 FF 01 28 01 01 01 01 FF 01 29 FF 01 29"
         " 01 FF 01 28 01 F1 01 6C 02 01 01 02 FF 01 29 FF 01 29"},
    };
    for (const auto& [json, hex] : kTexts)
        EXPECT_EQ(hexOf(istr(converted(readJson, json, nbrWriter))), hex) << json;
    EXPECT_EQ(converted(readXml, "<a x='1'/>", nbrWriter),
              converted(readJson, R"({"@x":1})", nbrWriter));
}

TEST(Convert, NbrKeepsTagsAndMarksBinaryData) {
    const qor::Bytes message = support::bytes(
        "FF 01 28 01 01 02 2C 01 02 FF 01 28 01 F1 02 68 69 01 F1 01 61 FF 01 29"
        " FF 01 29");
    EXPECT_EQ(converted(readNbr, message, makeTreeWriter), "{[1] 2C 01 [2] {[1] 'hi' [1] 'a'}}");
    EXPECT_EQ(converted(readNbr, message, makeJsonWriter), R"({ "1":"LAE=", "2":[ "hi", "a" ] })");
    EXPECT_EQ(converted(readNbr, message, makePmlWriter), "(1:base64(LAE=)2(1(hi)1(a)))");
    EXPECT_EQ(converted(readNbr, message, nbrWriter), std::string(istr(message)));
}

// The size has another width in each head.
TEST(Convert, NbrTextOfEachWidthOfSize) {
    for (const char* head : {"F1 03", "F2 03 00", "F3 03 00 00", "F4 03 00 00 00"}) {
        const qor::Bytes text = support::bytes(qor::String(head) + " 61 62 63");
        EXPECT_EQ(converted(readNbr, text, makeTreeWriter), "'abc'") << head;
        qor::Bytes data = text;
        data[0] &= 0x0F;
        EXPECT_EQ(converted(readNbr, data, makeTreeWriter), "61 62 63") << head;
    }
    qor::String cut =
        "\xF1\x05"
        "abc";
    EXPECT_EQ(converted(readNbr, cut, makeTreeWriter), "'abc'");
}

// The writers show what the library shows.
TEST(Show, AsTheLibraryDoes) {
    const qor::String json = R"({"b":[1,[],{}],"a":{"x":null,"y":"\/\"\n"}})";
    const auto value = qor::json::JsonParser::from(json);
    for (const bool compact : {true, false}) {
        EXPECT_EQ(converted(readJson, json, makeJsonWriter, compact),
                  value->encode(!compact, false, 0));
    }
    const qor::String xml =
        R"(<a x="1" y="&lt;" __type__="t" z="">t<b u="1"/><b u="1" v="2">x&amp;y</b><c><d/></c></a>)";
    const qor::XMLParser parser{qor::istr(xml)};
    for (const bool compact : {true, false}) {
        EXPECT_EQ(converted(readXml, xml, makeXmlWriter, compact),
                  parser.rootNode()->str(!compact, 0));
    }
    for (const Tree& tree : kTrees) {
        qor::pml::ntv::Unit unit;
        parsePml(tree.pml, unit);
        for (const bool compact : {true, false}) {
            using qor::pml::ShowMode;
            EXPECT_EQ(converted(readPml, tree.pml, makePmlWriter, compact),
                      unit.str(compact ? ShowMode::COMPACT : ShowMode::FORMATTED));
        }
    }
}

const struct {
    Reader reader;
    std::string content;
    const char* message;
} kBad[] = {
    {readJson, "{\"a\":1,\n \"b\" 2}", "line 2, column 6: "},
    {readJson, "", "line 1, column 1: "},
    {readJson, std::string("[\"a\0b\"", 6), "line 1, column 7: array value no end"},
    {readJson, std::string("{\"a\" \0}", 7), "line 1, column 6: no name"},
    {readPml, "a(b(1)\n  b(2))", "line 2, column 7: a sibling has the name already"},
    {readPml, "plain", "line 1, column 6: no unit"},
    {readXml, "<a>\n<!-- <x y> -->\n<b c/></a>", "line 3, column 1: Malformed XML Attribute"},
    {readXml, "<a/>\n<?pi", "line 2, column 1: Malformed XML processing"},
    {readXml, "<?b?><a/><!-- <? -->\n<?pi <?", "line 2, column 1: Malformed XML processing"},
    {readXml, "text", "line 1, column 5: no element"},
};

std::string failureOf(Reader reader, istr content) {
    return support::whatOf<BadContent>([&] { converted(reader, content, makeTreeWriter); });
}

TEST(Show, NamesThePlaceOfBadContent) {
    for (const auto& c : kBad) {
        const std::string message = failureOf(c.reader, istr(c.content));
        EXPECT_EQ(message.substr(0, std::string(c.message).size()), c.message) << c.content;
    }
    const qor::Bytes malformed = support::bytes("FF 01 28 01 01 01 07 02 7A 01");
    EXPECT_TRUE(failureOf(readNbr, malformed).starts_with("offset 8: "))
        << failureOf(readNbr, malformed);
}

TEST(Show, RemarksOnToleratedFaults) {
    const struct {
        const char* hex;
        const char* remark;
    } kRemarks[] = {
        {"FF 01 28 FF 01 29 07 08", "2 bytes after the message are ignored"},
        {"FF 01 28 01 01 05 AA", "the message is cut off"},
        {"FF 01 28 05 FF", "the message is cut off"},
        {"01 05 AA", "the message is cut off"},
        {"FF 01 28 05 00 06 01 01 07 FF 01 29", ""},
    };
    for (const auto& [hex, remark] : kRemarks) {
        const qor::Bytes content = support::bytes(hex);
        std::string found;
        written(makeTreeWriter, [&](Sink& sink) { found = readNbr(content, sink); });
        EXPECT_EQ(found, remark) << hex;
    }
    std::string found;
    written(makePmlWriter, [&](Sink& sink) { found = readPml("a(b) c(d)", sink); });
    EXPECT_EQ(found, "the text from line 1, column 6 on is ignored");
}

constexpr const char* kTree = "r(a(x(1)y((2)(3)))b(4))";

TEST(Path, LeadsToAPart) {
    const std::pair<const char*, const char*> kPaths[] = {
        {"", kTree}, {"/a/x/", "x(1)"}, {"a/y/[1]", "(3)"}, {"[1]", "b(4)"}, {"b", "b(4)"}};
    const auto found = [](const char* path) {
        return written(makePmlWriter, [&](Sink& sink) {
            PathFilter filter(sink, parsePath(path));
            readPml(kTree, filter);
        });
    };
    for (const auto& [path, part] : kPaths)
        EXPECT_EQ(found(path), part) << path;
    for (const char* nowhere : {"a/y/[2]", "b/c"})
        EXPECT_THROW(found(nowhere), Failure) << nowhere;
    EXPECT_THROW(parsePath("a/[x]"), UsageError);
}

TEST(Path, FindsAttributesAndContinuesAfterADeadEnd) {
    for (const auto& [path, part] : {std::pair("b/@x", "1"), {"b/c", "'z'"}}) {
        const auto read = [&, at = path](Sink& sink) {
            PathFilter filter(sink, parsePath(at));
            readXml("<a><b y='0'/><b x='1'><c>z</c></b></a>", filter);
        };
        EXPECT_EQ(written(makeTreeWriter, read), part);
    }
}

TEST(Depth, ElidesDeeperParts) {
    const char* const expected[] = {"(* ... *)", "r(a((* ... *))b(4))",
                                    "r(a(x(1)y((* ... *)))b(4))", kTree};
    for (unsigned long depth = 0; depth < std::size(expected); ++depth) {
        const std::string text = written(makePmlWriter, [&](Sink& sink) {
            DepthFilter filter(sink, depth);
            readPml(kTree, filter);
        });
        EXPECT_NE(text.find(expected[depth]), std::string::npos) << text;
    }
}

// Deep trees need no stack, and the indents of deep lines are limited.
TEST(Show, AnyDepth) {
    using namespace support;
    constexpr std::size_t kDepth = 60000;
    const std::tuple<Reader, MakeWriter, Deep> kDeep[] = {
        {readJson, makeJsonWriter, JsonFormat::deep(kDepth)},
        {readPml, makePmlWriter, PmlFormat::deep(kDepth)},
        {readXml, makeXmlWriter, XmlFormat::deep(kDepth)},
        {readNbr, makeTreeWriter, NbrFormat::deep(kDepth)},
    };
    for (const auto& [reader, writer, deep] : kDeep)
        EXPECT_TRUE(converted(reader, istr(deep.text), writer) == deep.shown);
    constexpr std::size_t kLines = 1000, kMostOfLine = 300;
    const std::string deep = repeated("a(", kLines) + "(1)(2)" + repeated(")", kLines);
    EXPECT_LT(converted(readPml, istr(deep), makePmlWriter, false).size(),
              2 * kLines * kMostOfLine);
}

TEST(Input, FormatIsGuessed) {
    const struct {
        std::string content;
        Format format;
    } kContents[] = {
        {" <a/>", Format::Xml},
        {"\n{ }", Format::Json},
        {"[1]", Format::Json},
        {"FF 01 28\nFF 01 29", Format::Hex},
        {"\xFF\x01(", Format::Nbr},
        {"host(example)\n", Format::Pml},
        {std::string("\0\0\0\2hi\0\0\0\0", 10), Format::Frames},
        {std::string("\0\0\0\2hi\0\0\0", 9), Format::Nbr},
        {"", Format::Nbr},
    };
    for (const auto& [content, format] : kContents)
        EXPECT_EQ(formatOfContent(content), format) << content;
    EXPECT_EQ(formatOfName("a/b.json.gz"), Format::Json);
    EXPECT_EQ(formatOfName("b.jsonx"), Format::Guess);
}

TEST(Input, GzipMembersAndDamage) {
    const std::string text(100000, 'x');
    const std::string packed = gzip(text);
    EXPECT_EQ(gunzip(packed), text);
    EXPECT_EQ(gunzip(packed + gzip("more") + std::string(9, '\0')), text + "more");
    EXPECT_THROW(gunzip(packed + std::string("\0x", 2)), BadContent);
    EXPECT_THROW(gunzip(packed.substr(0, packed.size() - 1)), BadContent);
    std::string damaged = packed;
    damaged[damaged.size() - 5] ^= 1;  // of the checksum
    EXPECT_THROW(gunzip(damaged), BadContent);
}

TEST(Input, FramesAreReadToTheByteWhereTheyEnd) {
    std::istringstream source(std::string("\0\0\0\2hi\0\0\0\0\0\0\0\5ab", 16));
    FrameReader frames(source);
    std::string payload;
    ASSERT_TRUE(frames.next(payload));
    EXPECT_EQ(payload, "hi");
    ASSERT_TRUE(frames.next(payload));
    EXPECT_EQ(payload, "");
    EXPECT_EQ(frames.offset(), 6U);
    EXPECT_EQ(support::whatOf<BadContent>([&] { frames.next(payload); }),
              "offset 10: the frame is cut off: 2 of 5 bytes are there");
    // A length of 4 GiB without its bytes takes no memory.
    std::istringstream huge("\xFF\xFF\xFF\xFB");
    EXPECT_THROW(FrameReader(huge).next(payload), BadContent);
    EXPECT_LT(payload.capacity(), 1U << 20);
}

TEST(Inspect, OneBadFrameDoesNotHideTheOthers) {
    const support::TempDir directory;
    directory.file("a.frames",
                   std::string("\0\0\0\3\x01\x01\x07\0\0\0\2\x20\x00\0\0\0\3\xF1\x01z", 20));
    std::string text;
    Output out(text);
    std::string remarks;
    InspectOptions options;
    Inspector inspector(options, out, [&](const std::string& remark) { remarks += remark + "\n"; });
    EXPECT_FALSE(inspector.inspect(directory.path("a.frames")));
    out.flush();
    EXPECT_EQ(text,
              "# frame 0 at offset 0, 3 bytes\n07\n# frame 1 at offset 7, 2 bytes\n"
              "# frame 2 at offset 13, 3 bytes\n'z'\n");
    EXPECT_TRUE(remarks.starts_with("frame 1 at offset 7: offset 0: ")) << remarks;

    options.path = parsePath("[2]");
    options.hasPath = true;
    options.to = Target::Frames;
    text.clear();
    EXPECT_TRUE(inspector.inspect(directory.path("a.frames")));
    out.flush();
    EXPECT_EQ(text, std::string("\0\0\0\3\xF1\x01z", 7));
}

TEST(Inspect, DirectoriesWithAnyName) {
    const support::TempDir directory;
    const std::string kNames[] = {"back/slash2", "back\\slash", "dir\xFF"};
    for (const std::string& name : kNames) {
        std::filesystem::create_directories(directory.path(name));
        std::ofstream(directory.path(name) + "/file") << name;
    }
    std::string text;
    Output out(text);
    const InspectOptions options;
    Inspector inspector(options, out, [](const std::string&) {});
    for (const std::string& name : kNames) {
        text.clear();
        EXPECT_TRUE(inspector.inspect(directory.path(name)));
        out.flush();
        EXPECT_EQ(text, "(file(" + std::to_string(name.size()) + "))\n");
    }
}

}  // namespace
}  // namespace tools
