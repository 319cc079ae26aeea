#include "qor/xml/xml_T.h"

#include <queue>
#include <stack>

#include "support/bound.h"
#include "support/formats.h"
#include "support/test.h"

namespace qor {
namespace {

// Binds its member by hand.
struct Chain : XMLCodecBase {
    std::unique_ptr<Chain> next;

    void codecXml(XMLStream& s) override {
        const XMLInStream part(std::as_const(s)["n"]);
        if (part.isNull()) return;
        next = std::make_unique<Chain>();
        next->decodeXml(part);
    }
};

template <class T>
String written(const T& value) {
    XMLStream out;
    xml::encode(out, value);
    return out.str(false, 0);
}

// docs/formats.md has the usual values in its table.
TEST(XmlField, WritesByTheFormat) {
    std::queue<int> queue({1, 2});
    std::stack<int> stack({3, 4});
    const struct {
        String written;
        const char* expected;
    } cases[] = {
        {written(Tuple(char(0), static_cast<unsigned char>('d'), Sbyte(-2), Bit(true), Char('e'))),
         "<root><m0/><m1>d</m1><m2>-2</m2><m3>1</m3><m4>e</m4></root>"},
        {written(Tuple(short(-1), Long(-5), Ulonglong(~0ULL), 0.1F, L'\xE5', Bytes())),
         "<root><m0>-1</m0><m1>-5</m1><m2>18446744073709551615</m2><m3>0.1</m3>"
         "<m4>\\u00E5</m4><m5 __type__=\"base64\"/></root>"},
        {written(Tuple(std::vector<int>{1}, std::deque<int>(), queue, stack)),
         "<root><m0><any>1</any></m0><m1 __type__=\"deque\"/>"
         "<m2 __type__=\"queue\"><any>1</any><any>2</any></m2>"
         "<m3 __type__=\"stack\"><any>3</any><any>4</any></m3></root>"},
        {written(Tuple(std::set<int>{1}, std::multiset<int>{2, 2}, std::unordered_set<int>())),
         "<root><m0 __type__=\"set\"><any>1</any></m0><m1 __type__=\"multiset\"><any>2</any>"
         "<any>2</any></m1><m2 __type__=\"set\"/></root>"},
        {written(
             Tuple(std::multimap<String, int>{{"a b", 1}}, std::unordered_multimap<int, int>())),
         "<root><m0 __type__=\"multimap\"><any __key__=\"a b\">1</any></m0>"
         "<m1 __type__=\"multimap\"/></root>"},
        {written(std::map<istr, int>{{"only written", 1}}),
         "<root __type__=\"map\"><any __key__=\"only written\">1</any></root>"},
        {written(Tuple(Leaf{1, ""}, std::vector<Leaf>{{2, "t"}}, Optional<Leaf>())),
         "<root><m0 __type__=\"Leaf\"><id>1</id><text/></m0><m1><leaf __type__=\"Leaf\"><id>2</id>"
         "<text>t</text></leaf></m1></root>"},
        {written(Named("n")), "<Named __super__=\"Base\"><name>n</name></Named>"},
        {written(Tuple(Named("n"))),
         "<root><m0 __type__=\"Named\" __super__=\"Base\"><name>n</name></m0></root>"},
        {Named("n").toXml(true), "<Named __super__=\"Base\">\n    <name>n</name>\n</Named>"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.written, c.expected);
    // No line is broken.
    EXPECT_EQ(written(Tuple(Bytes(istr(std::string(90, 'a'))))),
              "<root><m0 __type__=\"base64\">" + repeated("YWFh", 30) + "</m0></root>");
}

TEST(XmlField, TakesAnElementOrAnAttribute) {
    const String text =
        "<r both='1' attr.1='2' element='3' w='\\u0041' list='x'><attr.1>4</attr.1>"
        "<bad>x</bad></r>";
    XMLStream in((XMLInputString(text)));
    long both = 0, attr = 0, element = 0, bad = 9;
    Optional<long> optional;
    volatile int flag = 0;
    Wchar wide;
    std::vector<int> list{1};
    Optional<std::vector<int>> some = std::vector<int>{4};
    field(in, {"both", 1}, both);
    field(in, {"both", 1}, optional);
    field(in, {"both", 1}, flag);
    field(in, {"bad", 1}, bad);
    field(in, {"w", 1}, wide);
    field(in, {"list", 1}, list);
    xml::attrField(in, {"attr.1", 1}, attr);
    xml::elementField(in, {"element", 1}, element);
    EXPECT_EQ(std::tuple(both, optional.value(), int(flag), attr, element),
              std::tuple(1, 1, 1, 2, 0));
    EXPECT_EQ(std::tuple(bad, wide.value(), list.size()), std::tuple(0, L'A', 1u));
    EXPECT_EQ(in.str(false, 0).size(), text.size());  // nothing was made by reading

    XMLStream out("r");
    xml::attrField(out, {"attr.1", 1}, attr);
    xml::attrField(out, {"o", 1}, optional);
    xml::elementField(out, {"elem.100", 1}, both);
    field(out, {"flag", 1}, flag);
    field(out, {"list", 1}, list);
    field(out, {"some", 1}, some);
    // Once more.
    field(out, {"flag", 1}, attr);
    list = {2, 3};
    field(out, {"list", 1}, list);
    field(out, {"some", 1}, some);
    EXPECT_EQ(out.str(false, 0),
              "<r attr.1=\"2\" o=\"1\"><elem.100>1</elem.100><flag>2</flag>"
              "<list><any>2</any><any>3</any></list><some><any>4</any></some></r>");
}

TEST(XmlField, ReadsWhatOthersWrote) {
    const XMLInStream in(istr(
        "<root id=\"123\"><sender uri=\"uri\">123</sender><content><text>test</text>"
        "<attachmentList><attachment>1.log</attachment><attachment>2.log</attachment>"
        "</attachmentList></content><groupName>&lt;></groupName><m><x>1</x><x __key__='k'>2</x>"
        "<x __key__='k'>3</x></m></root>"));
    std::list<String> attachments;
    xml::decode(XMLInStream("attachmentList", XMLInStream("content", in)), attachments);
    EXPECT_EQ(attachments, (std::list<String>{"1.log", "2.log"}));
    EXPECT_EQ(in("id").value() + in["sender"]("uri").value(), "123uri");
    String group;
    EXPECT_TRUE(XMLInStream("groupName", in) >> group);
    EXPECT_EQ(group, "<>");
    EXPECT_EQ(in["groupName"].str(false, 0), "<groupName><![CDATA[<>]]></groupName>");
    std::map<String, int> map{{"old", 1}};
    xml::decode(XMLInStream("m", in), map);
    // An element without a key has an empty one, and of two with the same key the last one counts.
    EXPECT_EQ(map, (std::map<String, int>{{"", 1}, {"k", 3}}));
}

TEST(XMLCodecBase, LimitsTheDepthOfHandwrittenCodecs) {
    Chain chain;
    chain.fromXml(repeated("<n>", 2 * xml::kMaxDepth));
    unsigned depth = 0;
    for (const Chain* link = &chain; link != nullptr; link = link->next.get())
        ++depth;
    EXPECT_EQ(depth, xml::kMaxDepth + 1);  // the last one was not read
}

TEST(XMLStream, ReturnsFalseForMissingNodes) {
    const XMLInStream none(istr("<a><b c></a>"));
    EXPECT_TRUE(none.isNull() && none["x"]("y").isNull() && none.str(true, 0).empty());
    int number = 7;
    String text = "t";
    volatile bool on = true;
    EXPECT_FALSE((none >> number) || (none >> text) || (none >> on));
    const XMLInStream in(istr("<a><w>\\u12</w><t>never</t><n>12x</n><e/></a>"));
    EXPECT_FALSE(XMLInStream("no", in) >> text);
    EXPECT_FALSE(XMLInStream("e", in) >> number);
    EXPECT_TRUE(number == 7 && text == "t" && on);
    wchar_t wide = L'x';
    EXPECT_FALSE(XMLInStream("w", in) >> wide);
    EXPECT_EQ(wide, 0);
    EXPECT_TRUE((XMLInStream("n", in) >> number) && number == 12);
    EXPECT_TRUE((XMLInStream("e", in) >> text) && text.empty());
    // A stream that reads does not write.
    XMLStream reading(XMLStream::in_t(), istr("<r/>"));
    reading += XMLOutStream("part");
    Named("n").encodeXml(reading);
    xml::encode(reading, Tuple(1));
    EXPECT_EQ(reading.str(false, 0), "<r/>");
    // The null node, which represents all missing ones, cannot be changed.
    XMLStream missing(XMLStream::in_t(), "no", in);
    missing["made"]("made").value("v");
    EXPECT_TRUE(XMLNode::null().isEmpty());
    EXPECT_TRUE(missing.isNull() && missing.str(false, 0).empty());
    missing.setInputting(false);
    XMLStream renamed(missing);
    missing.cdata("c");
    renamed.name("n");
    EXPECT_EQ(missing.str(false, 0) + renamed.str(false, 0), "<>c</><n/>");
    EXPECT_TRUE(XMLNode::null().isEmpty());
    XMLStreamBase empty(nullptr, XMLStreamBase::in_t());
    EXPECT_TRUE(empty.node().isEmpty() && empty.isNull() && !(missing >> number));
}

TEST(XMLStream, HasTheSameNodeInADerivedClass) {
    struct Out : XMLOutStream {
        using XMLOutStream::XMLOutStream;
    };
    struct In : XMLInStream {
        using XMLInStream::XMLInStream;
    };
    struct Both : XMLStream {
        using XMLStream::XMLStream;
    };
    XMLNode node("n", nullptr);
    Out(node) << 5;
    int number = 0;
    EXPECT_TRUE(In(node) >> number);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(Out("o").name() + Both("b").name(), "ob");
    EXPECT_EQ(Both(XMLStream::out_t(), node).name() + Both(XMLStream::in_t(), node).name(), "nn");
}

TEST(XMLStream, HasTheNumbersOfDerivedScalars) {
    struct Flag : Bit {
        using Bit::operator=;
    } flag;
    struct Octet : Byte {
        using Byte::operator=;
    } octet;
    flag = true;
    EXPECT_TRUE(XMLInStream(istr("<m>0</m>")) >> flag);
    EXPECT_FALSE(flag);
    octet = 32;
    XMLOutStream out("m");
    out << octet;
    EXPECT_EQ(out.str(false, 0), "<m>32</m>");
    EXPECT_TRUE(XMLInStream(istr("<m>200</m>")) >> octet);
    EXPECT_EQ(octet, 200);
}

TEST(XMLStream, OwnsOrBorrowsItsNode) {
    XMLStreamBase base;
    EXPECT_TRUE(base.isNull() && base.name().empty() && base.type().empty());
    base.type("t");
    base.cdata("c");
    EXPECT_EQ(base.str(false, 0), "< __type__=\"t\">c</>");
    XMLStreamBase copy(base);
    copy.name("t");
    copy.type("t");  // is the name again
    EXPECT_EQ(base.name() + copy.type() + copy.node().str(false, 0), "t<t __type__=\"t\">c</t>");
    base = copy;
    copy.setInputting(true);
    copy.name("no");
    copy.cdata("no");
    copy.clear();
    EXPECT_EQ(base.name() + copy.name(), "t");
    const std::unique_ptr<XMLNode> node(base.release());
    EXPECT_TRUE(base.isNull());

    XMLOutStream out("out");
    XMLOutStream part("t", out);
    part << L"hi";
    part.attr("x").value("1");
    out += part;
    XMLOutStream(*node) << Time() << 5 << "text";
    EXPECT_EQ(node->str(false, 0), "<t __type__=\"t\">text</t>");
    EXPECT_EQ(
        out.str(false, 0),
        "<out><t __type__=\"utf8\" x=\"1\">aGk=</t><t __type__=\"utf8\" x=\"1\">aGk=</t></out>");
    XMLStream named("<a/>");
    named.enter("A", "a", "B", "Object");
    EXPECT_EQ(named.str(false, 0), "<<a/> __type__=\"A\" __class__=\"B\"/>");
    XMLStream neutral;
    neutral.enter("", "", "root", "");
    neutral.enter("aA", "", "AA", "");
    EXPECT_EQ(neutral.str(false, 0), "<aA/>");
    // A view of the own tree is copied, and the own node stays owned.
    XMLInStream in(istr("<a><b>7</b></a>"));
    in = XMLInStream("b", in);
    in.setInputNode(&in.node(), false);
    EXPECT_EQ(in.str(false, 0), "<b>7</b>");
    // A view of another tree stays one.
    XMLInStream other(istr("<a><c/></a>"));
    XMLInStream view(istr("<v/>"));
    view = XMLInStream("c", other);
    EXPECT_EQ(&view.node(), &other.node().child("c"));
    Named read("kept");
    read.fromXml("<x><name>n");
    EXPECT_EQ(read.name, "n");
    read.fromXml("<x name>");
    EXPECT_EQ(streamed(static_cast<const XMLCodecBase&>(read)),
              "<Named __super__=\"Base\">\n    <name>n</name>\n</Named>");
}

}  // namespace
}  // namespace qor
