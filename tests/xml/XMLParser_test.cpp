#include "qor/xml/XMLParser.h"

#include "support/formats.h"
#include "support/test.h"
#include "xml/no_loss.h"

namespace qor {
namespace {

// Records its calls: "+a" and "-a" for elements, "@x" for attributes, ".a" for text.
struct Recorder : XMLParserCallback {
    String calls;

    void onNodeBegin(XMLParser*, XMLNode* node) override { calls += "+" + node->name(); }
    void onNodeEnd(XMLParser*, XMLNode* node) override {
        calls += "-" + (node != nullptr ? node->name() : String("null"));
    }
    void onCDATAFound(XMLParser*, XMLNode* node) override { calls += "." + node->name(); }
    void onAttrFound(XMLParser*, XMLAttr* attr) override {
        calls += "@" + attr->name() + "=" + attr->value();
    }
};

// docs/formats.md has the usual documents in its table.
TEST(XMLParser, ReadsNearlyEveryText) {
    const struct {
        const char* text;
        const char* calls;
        const char* tree;
    } cases[] = {
        {"<a x='1'>t1<b/>t2<!--c--><![CDATA[<&]]></a>", "+a@x=1.a+b-b.a.a-a",
         "<a x=\"1\"><b/><![CDATA[t1t2<&]]></a>"},
        {"", "", ""},
        {"text only", "", ""},
        {"<a x='1'><b/", "+a@x=1+b-b", "<a x=\"1\"><b/></a>"},
        {"</a><b/>", "-null", ""},
        {"<a></a/><b/>", "+a-a+b-b", "<b/>"},
        {"<a", "+a", "<a/>"},
        {"<a/", "+a-a", "<a/>"},
        {"<a><", "+a", "<a/>"},
        {"<>t</>", "+.-", "<>t</>"},
        {"< a >t", "+a.a", "<a>t</a>"},
        {"<a/b>t", "+a.a", "<a>t</a>"},
        {"<a<b =''>t", "+a<b@=.a<b", "<a<b>t</a<b>"},
        // Text begins with the blanks before it; blanks alone are no text, except at the end.
        {"<a> <b/> x y <c/> </a>", "+a+b-b.a+c-c-a", "<a><b/><c/> x y </a>"},
        {"<a>x<b/> ", "+a.a+b-b.a", "<a><b/>x </a>"},
        {"<a> ]x</a>", "+a-a", "<a> ]x</a>"},  // without a call
        {"<a>x]</a>", "+a.a-a", "<a>x]</a>"},
        // Attributes.
        {"<a x = junk\"1>'\" y='&quot;\"'x='3'/>", "+a@x=1>'@y=\"\"@x=3-a",
         "<a x=\"3\" y=\"&quot;&quot;\" x=\"3\"/>"},
        {"<a b=1/>t<c d=\"e\">", "+a@b=e", "<a b=\"e\"/>"},
        {"<a / x='1'>", "+a", "<a/>"},
        {"<a x='1'<b>t", "+a@x=1.a", "<a x=\"1\">t</a>"},
        // Declarations and comments.
        {"<?xml version='1.0'?><a><?p <b/> ?>t</a>", "+a.a-a", "<a>t</a>"},
        {"<!DOCTYPE a><a/>", "+a-a", "<a/>"},
        {"<!DOCTYPE a [<!ENTITY e \"x\"><!ELEMENT a (b)>] z><a>&e;]</a>", "+a.a-a",
         "<a><![CDATA[&e;]]]></a>"},
        {"<a><!DOCTYPE b [<!ENTITY e \"x\">] z>t</a>", "+a.a-a", "<a>t</a>"},
        {"<a><!ENTITY x><!-- <b/> -- > --->t<!-- u", "+a.a", "<a>t</a>"},
        {"<a><!", "+a", "<a/>"},
        // CDATA sections; one without an end loses its last two bytes.
        {"<a><![CDATA[]]>x<![CDATA[]]]>]]></a>", "+a.a.a.a-a", "<a>x]]]&gt;</a>"},
        {"<a><![CDATA[h", "+a.a", "<a/>"},
        {"<a><![CDATA", "+a.a", "<a>[CDATA</a>"},
        {"<![CDATA[x]]><a/>", "+a-a", "<a/>"},
    };
    for (const auto& c : cases) {
        Recorder recorder;
        XMLParser parser;
        parser.setCallback(&recorder);
        parser.parse(istr(c.text));
        EXPECT_EQ(recorder.calls, c.calls) << c.text;
        const String tree = parser.rootNode() != nullptr ? parser.rootNode()->str(false, 0) : "";
        EXPECT_EQ(tree, c.tree) << c.text;
    }
}

// Runs of all lengths around those of the blocks in which the text is searched.
TEST(XMLParser, FindsTheEndOfRunsOfAnyLength) {
    for (unsigned n = 0; n < 70; ++n) {
        const String blanks(std::string(n, "\t\n\r "[n % 4]));
        const String run(std::string(n, 'r'));
        const String attr = "n" + run + blanks + "=" + blanks + "\"" + run + "\"";
        const String text = "<" + blanks + "e" + run + " " + attr + blanks + "s='" + run +
                            "&amp;'>" + blanks + "<b/>" + blanks + "t" + run + "&lt;" + run +
                            "</e" + run + ">";
        const XMLParser parser{istr(text)};
        const XMLNode& root = *parser.rootNode();
        EXPECT_EQ(root.name(), "e" + run);
        EXPECT_EQ(root("n" + run).value(), run);
        EXPECT_EQ(root("s").value(), run + "&");
        EXPECT_EQ(root.cdata(), blanks + "t" + run + "<" + run);
        EXPECT_EQ(root.numofChildren(), 1u);
        // A text that is cut off anywhere reads up to its end.
        for (const std::string& cut : {"<a>" + run, "<a>" + blanks, "<a" + run, "<a" + blanks})
            EXPECT_EQ(XMLParser(istr(cut)).rootNode()->name()[0], 'a');
    }
}

// docs/formats.md has the messages.
TEST(XMLParser, RefusesFourMalformations) {
    const struct {
        const char* text;
        const char* tree;
        unsigned line;
    } cases[] = {
        {"<a><?x", "<a/>", 212},      {"<a x='1' b/>", "<a x=\"1\"/>", 527},
        {"<a b=1/>", "<a/>", 541},    {"<a b='1\">", "<a/>", 555},
        {"<a b='&1\">", "<a/>", 555},
    };
    for (const auto& c : cases) {
        XMLParser parser;
        try {
            parser.parse(istr(c.text));
            ADD_FAILURE() << c.text;
        } catch (const XMLRuntimeException& e) {
            EXPECT_EQ(e.line(), c.line);
            EXPECT_STREQ(e.what(), "XMLRuntimeException");
            EXPECT_EQ(parser.rootNode()->str(false, 0), c.tree);
            EXPECT_FALSE(parser.nextNode());
        }
    }
    std::ostringstream os;
    os << XMLRuntimeException("m", "f", 7) << ' ' << XMLRuntimeException("n");
    EXPECT_EQ(os.str(), "m @ f:7 n @ :0");
}

TEST(XMLParser, OwnsItsTreesUntilTheyAreReleased) {
    const NoLoss noLoss;
    XMLParser parser(istr("<a><b/></a/><c>t</c>x<d>"));
    std::unique_ptr<XMLNode> tree(parser.release());
    EXPECT_EQ(tree->str(false, 0), "<c>t</c>");
    EXPECT_EQ(parser.rootNode(), nullptr);
    // The nodes after the root can be read one by one.
    EXPECT_TRUE(parser.nextNode());
    EXPECT_FALSE(parser.nextNode());
    EXPECT_EQ(parser.rootNode()->name(), "d");
    std::ostringstream os;
    os << parser;
    parser.parse(istr("\0<e/>", 5));
    os << parser << XMLInputString("<x/>").str();
    EXPECT_EQ(os.str(), "<d/><x/>");
    // Attributes of a parser may grow, by the callback too.
    struct : XMLParserCallback {
        void onAttrFound(XMLParser*, XMLAttr* attr) override { attr->value(std::string(40, 'v')); }
    } grow;
    parser.setCallback(&grow);
    parser.parse(istr("<e x='1'/>"));
    (*tree)("y").value(parser.rootNode()->attr("x").value());
    // It may replace them too.
    struct : XMLParserCallback {
        void onAttrFound(XMLParser*, XMLAttr* attr) override {
            if (attr->name() != "x") return;
            XMLNode other("other", nullptr);
            other.addAttr("first", attr->value());
            attr->node()->assign(other);
        }
    } replace;
    parser.setCallback(&replace);
    parser.parse(istr("<a x='1' y='2' z='3'/>"));
    EXPECT_EQ(parser.rootNode()->str(false, 0), "<other first=\"1\" y=\"2\" z=\"3\"/>");
    parser.setCallback(nullptr);
    parser.parse(istr("<e x='1'/>"));
    const std::unique_ptr<XMLNode> changed(parser.release());
    (*changed)("x").value((*tree)("y").value());
    tree->clearAttrs();
    XMLNode other("other", nullptr);
    other.addChildNode(tree.release());
    other["c"].child("late");
    other["c"].attr("x");
    other["c"]["late"].addChildNode(XMLParser("<e><f y='2'/></e>").release());
    EXPECT_EQ(other.str(false, 0),
              "<other><c x=\"\"><late><e><f y=\"2\"/></e></late>t</c></other>");
    other = XMLNode("new", nullptr);
    EXPECT_EQ(other.str(false, 0), "<new/>");
}

TEST(XMLParser, ReservesMemoryForTheFirstRootOnly) {
    constexpr unsigned kRoots = 1000;
    XMLParser parser("<a></a>" + repeated("<b/>", kRoots) + std::string(100000, ' '));
    std::vector<std::unique_ptr<XMLNode>> roots;
    roots.emplace_back(parser.release());
    const AllocationCounter counter;
    while (parser.nextNode())
        roots.emplace_back(parser.release());
    EXPECT_EQ(roots.size(), 1 + kRoots);
    EXPECT_LT(counter.bytes(), kRoots * 2000);
}

TEST(XMLParser, AFailureLeaksNothing) {
    // Of several pages, with a name and texts that need memory of their own and a name twice.
    String text = "<a a-name-that-is-long='long &amp; longer' x='1' x='2'>";
    for (int i = 0; i < 1000; ++i)
        text += "<b/>";
    text += "<b>text of some length</b></a>";
    const NoLoss noLoss;
    XMLParser parser;
    EXPECT_GT(failEachAllocation([&] { parser.parse(istr(text)); },
                                 [&] {
                                     EXPECT_FALSE(parser.nextNode());
                                     parser.parse(istr("<x/>"));
                                     freeSpareBlocks();
                                 }),
              8u);
    const XMLNode& root = *parser.rootNode();
    EXPECT_EQ(root.attr(2).value(), "2");
    // A list of children or a map of them that cannot be made is made later.
    const auto unchanged = [&] { EXPECT_EQ(root.numofChildren(), 1001u); };
    EXPECT_GT(failEachAllocation([&] { root.getChildNodes(); }, unchanged), 0u);
    EXPECT_GT(failEachAllocation([&] { root.getChildNodeMap(); }, unchanged), 1000u);
    EXPECT_EQ(root.getChildNodes().back()->cdata(), "text of some length");
    EXPECT_EQ(root.getChildNodeMap().size(), 1001u);
}

TEST(XMLParser, ReadsAStreamByLines) {
    const TempDir dir;
    const std::string path = dir.path("x.xml");
    std::ofstream(path) << "<a>x\ny";
    std::ifstream file(path);
    const XMLParser parser(file);
    EXPECT_EQ(parser.rootNode()->cdata(), "x\ny\n");
    EXPECT_TRUE(file.eof() && file.fail());
    // Of several blocks. If memory runs out, the text is not just cut off.
    const std::string text = repeated("<b>t</b>\n", 1000);
    std::ofstream(path) << "<a>" + text;
    file = std::ifstream(path);
    XMLParser failing;
    EXPECT_GT(failEachAllocation([&] { failing.parse(file); }, [&] { file = std::ifstream(path); }),
              2u);
    EXPECT_EQ(failing.rootNode()->numofChildren(), 1000u);
    EXPECT_EQ(failing.rootNode()->child(999).cdata(), "t");
}

}  // namespace
}  // namespace qor
