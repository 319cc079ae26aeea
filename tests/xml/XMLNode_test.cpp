#include "qor/xml/XMLNode.h"

#include "support/formats.h"
#include "support/leak_table.h"
#include "support/test.h"
#include "support/threads.h"
#include "xml/no_loss.h"

namespace qor {
namespace {

// Names and values in the order of the map.
String shown(const XMLAttrMap& map) {
    String text;
    for (const auto& [name, attr] : map)
        text += name + "=" + attr.value() + " ";
    return text;
}

String shown(const std::vector<XMLNode*>& nodes) {
    String text;
    for (const XMLNode* node : nodes)
        text += node->name() + "=" + node->cdata() + " ";
    return text;
}

// A child of that name and text.
XMLNode* add(XMLNode& parent, istr name, istr text) {
    XMLNode* const child = parent.addChildNode(name);
    child->cdata(text);
    return child;
}

TEST(XMLNode, IsWrittenInBothForms) {
    XMLNode a("a", nullptr);
    a.attr("x").value("1");
    a.attr("y").value("2");
    a.cdata("t");
    a["b"].cdata("u<v");
    a.child("c");
    EXPECT_EQ(a.str(false, 0), "<a x=\"1\" y=\"2\"><b><![CDATA[u<v]]></b><c/>t</a>");
    EXPECT_EQ(streamed(a),
              "<a x=\"1\"\n     y=\"2\"\n    >\n    <b><![CDATA[u<v]]></b>\n    <c/>\n    t\n</a>");
    dumper d;
    d.level(2);
    a.dump(d);
    EXPECT_EQ(d.str(), a.str(true, 2));  // docs/formats.md has another level
    // Meta attributes stay on the line, and do not move the end of the tag.
    XMLNode meta("m", nullptr);
    meta.addAttr("__type__", "t");
    meta.addAttr("__key__", "\"k\"");
    EXPECT_EQ(meta.str(true, 0), "<m __type__=\"t\" __key__=\"&quot;k&quot;\"/>");
    meta.addAttr("z", "1");
    EXPECT_EQ(meta.str(true, 0),
              "<m __type__=\"t\" __key__=\"&quot;k&quot;\"\n     z=\"1\"\n    />");
    meta.addAttr("", "no name");
    meta.cdata("v");
    EXPECT_EQ(meta.str(false, 0), "<m __type__=\"t\" __key__=\"&quot;k&quot;\" z=\"1\">v</m>");
    EXPECT_EQ(XMLNode("a<", XMLNode::cdata_t()).str(true, 0), "<><![CDATA[a<]]></>");
}

TEST(XMLNode, ReturnsNullObjectsForMissingNodes) {
    XMLNode node("n", nullptr);
    const XMLNode& fixed = node;
    EXPECT_TRUE(fixed["x"]["y"].isNull() && fixed["x"]("z").isNull() && fixed[0].isNull());
    EXPECT_TRUE(fixed.attr(0).isNull() && fixed("z").str().empty() && node[0].isNull());
    EXPECT_EQ(XMLNode::null().str(true, 0), "");
    EXPECT_TRUE(XMLNode::null().isEmpty() && fixed.isSimple() && !fixed.isEmpty());
    EXPECT_TRUE(fixed.getAttrMap().empty() &&
                fixed.getAttrMap().begin() == fixed.getAttrMap().end());
    // Reading through a node that is not const creates the attribute.
    EXPECT_EQ(node("z").value(), "");
    EXPECT_EQ(node.str(false, 0), "<n z=\"\"/>");
    EXPECT_TRUE(XMLNode("", nullptr).isEmpty() && !XMLNode("", nullptr).isNull());
    XMLNode::destroy_null();
    XMLAttr::destroy_null();
    EXPECT_TRUE(fixed["x"]("y").isNull());
}

TEST(XMLNode, ListsANameOnceForEachAddition) {
    for (const int more : {0, 40}) {  // searched, and with an index
        XMLNode node("n", nullptr);
        for (int i = 0; i < more; ++i)
            node.addAttr("m" + std::to_string(i), "");
        XMLAttr& b = node.attr("b");
        node.addAttr("a", "1");
        node.addAttr(XMLAttr("b", "2", nullptr));
        node.addAttr("c", "3");
        node.addAttr("a", "4");
        EXPECT_EQ(&b, &node("b"));
        EXPECT_EQ(b.node(), &node);
        const unsigned long first = static_cast<unsigned long>(more);
        EXPECT_EQ(node.getAttrMap().size(), first + 3);
        EXPECT_EQ(node.attr(first + 4).value(), "4");
        EXPECT_TRUE(node.attr(first + 5).isNull());
        EXPECT_TRUE(node.str(false, 0).ends_with(" b=\"2\" a=\"4\" b=\"2\" c=\"3\" a=\"4\"/>"));
        EXPECT_TRUE(shown(node.getAttrMap()).starts_with("a=4 b=2 c=3 "));
        EXPECT_EQ(node.getAttrNames().back(), "a");
        const XMLNode copy(node);
        EXPECT_EQ(copy.str(false, 0), node.str(false, 0));
        EXPECT_EQ(copy("b").node(), &copy);
        // It is found by its first name, and written with its present one.
        b.name("y");
        b = XMLAttr("z", "2", &node);
        EXPECT_EQ(node.getAttrMap().find("b")->second.name(), "z");
        EXPECT_EQ(node.getAttrMap().count("z"), 0u);
        EXPECT_TRUE(node.str(false, 0).ends_with(" z=\"2\" a=\"4\" z=\"2\" c=\"3\" a=\"4\"/>"));
        EXPECT_EQ(XMLNode(node).str(false, 0), node.str(false, 0));
        node.clearAttrs();
        EXPECT_EQ(node.numofAttrs(), 0u);
    }
}

TEST(XMLNode, KeepsTheMapOfChildrenRight) {
    for (const int more : {0, 40}) {  // searched, and with a map
        XMLNode root("r", nullptr);
        for (int i = 0; i < more; ++i)
            add(root, "m" + std::to_string(i), "");
        XMLNode* const a1 = add(root, "a", "1");
        add(root, "a", "2");
        XMLNode* const b = add(root, "b", "3");
        std::vector<XMLNode*> found;
        root.getChildren("a", found);
        EXPECT_EQ(shown(found), "a=1 a=2 ");
        a1->name("b");
        EXPECT_EQ(&root["b"], b);
        EXPECT_EQ(root["a"].cdata(), "2");
        a1->name("a");  // is the last one of its name now
        root.getChildren("a", found);
        EXPECT_EQ(shown(found), "a=2 a=1 ");
        b->assign(*a1);
        root.getChildren("a", found);
        EXPECT_EQ(shown(found), "a=2 a=1 a=1 ");
        EXPECT_TRUE(std::as_const(root)["b"].isNull());
        EXPECT_EQ(b->parent(), &root);
        const String name = "xab";
        b->name(name.data() + 1, name.data() + 3);
        EXPECT_EQ(root.getChildNodeMap().find("ab")->second, b);
        EXPECT_EQ(root.getChildNodeMap().size(), root.numofChildren());
        EXPECT_EQ(b->getDepth(), 1u);
        root.clearNodes();
        EXPECT_TRUE(root.isSimple() && root.getChildNodeMap().empty());
    }
}

TEST(XMLNode, KeepsTheListOfChildrenRight) {
    const XMLNode source(*XMLParser("<s><x/><y/></s>").rootNode());
    const std::unique_ptr<XMLNode> parsed(XMLParser("<r><a/><b/></r>").release());
    XMLNode made("r", nullptr);
    for (XMLNode* const root : {parsed.get(), &made}) {
        const std::vector<XMLNode*>& list = root->getChildNodes();
        const XMLNode::ChildMap& map = root->getChildNodeMap();
        root->clearNodes();
        EXPECT_TRUE(list.empty() && map.empty());
        for (int i = 0; i < 40; ++i)
            root->addChildNode("n" + std::to_string(i));
        EXPECT_EQ(list.size(), 40u);
        EXPECT_EQ(list[39], &root->child(39));
        EXPECT_EQ(list[7], &root->child("n7"));
        root->assign(source);
        EXPECT_EQ(shown(list), "x= y= ");
        EXPECT_EQ(map.size(), 2u);
        root->child("x").name("z");
        EXPECT_EQ(map.find("z")->second, list[0]);
        root->child("z").name("x");
        root->child("x").append(source);
        EXPECT_EQ(root->str(false, 0), "<s><x><s><x/><y/></s></x><y/></s>");
    }
}

// The destructor of a derived class may look at its node.
TEST(XMLNode, ADestroyedChildIsAWholeNode) {
    struct Looking : XMLNode {
        Looking(XMLNode* parent, std::string& seen) : XMLNode("looking", parent), seen_(seen) {}
        ~Looking() override {
            seen_ += std::to_string(numofChildren()) + std::to_string(getChildNodes().size()) +
                     std::to_string(getChildNodeMap().size());
            if (child(0ul).isNull()) seen_ += " none ";
            name("gone");
        }
        std::string& seen_;
    };
    std::string seen;
    XMLNode root("r", nullptr);
    for (const bool listed : {false, true}) {
        XMLNode& node = *new Looking(&root, seen);
        node.addChildNode("kid");
        if (listed) node.getChildNodes(), node.getChildNodeMap();
        root.clearNodes();
    }
    EXPECT_EQ(seen, "000 none 000 none ");
}

TEST(XMLNode, ShowsItsChildrenInOrder) {
    const std::unique_ptr<XMLNode> parsed(XMLParser("<r><a/><b><c/></b></r>").release());
    XMLNode made("r", nullptr);
    made.addChildNode("a");
    made.addChildNode("b")->addChildNode("c");
    for (XMLNode* const root : {parsed.get(), &made}) {
        const XMLNode::Children children = root->children();
        EXPECT_EQ(children.size(), 2u);
        EXPECT_TRUE(children.begin()->children().empty());
        // Children that are added in the loop are reached, also after the index is created.
        String names;
        for (const XMLNode& child : children) {
            if (root->numofChildren() < 20) root->addChildNode("n");
            names += child.name();
        }
        EXPECT_EQ(names, "ab" + std::string(18, 'n'));
        auto each = children.begin();
        EXPECT_EQ(&*each++, &root->child("a"));
        EXPECT_EQ(&*each, &root->child("b"));
        root->clearNodes();
        EXPECT_TRUE(children.empty() && children.begin() == children.end());
    }
    EXPECT_TRUE(XMLNode::null().children().empty());
}

// Any change of a parsed tree is released with it.
TEST(XMLNode, ReleasesTheChangesOfAParsedTree) {
    const std::string text(100, 't');
    const std::vector<void (*)(XMLNode&, const std::string&)> changes = {
        [](XMLNode& node, const std::string& t) { node.name(t); },
        [](XMLNode& node, const std::string& t) { node.cdata(t); },
        [](XMLNode& node, const std::string& t) { node.cdata() += t; },
        [](XMLNode& node, const std::string& t) { node.attr("x").value(t); },
        [](XMLNode& node, const std::string& t) { node.attr("x").name(t); },
        [](XMLNode& node, const std::string& t) { node.attr(t); },
        [](XMLNode& node, const std::string& t) { node.addAttr("x", t); },
        [](XMLNode& node, const std::string& t) { node.addChildNode(t); },
        [](XMLNode& node, const std::string& t) { node.child(t); },
        [](XMLNode& node, const std::string&) { node.getChildNodes(); },
        [](XMLNode& node, const std::string&) { node.getChildNodeMap(); },
        [](XMLNode& node, const std::string& t) { node.assign(XMLNode(t, nullptr)); },
        [](XMLNode& node, const std::string&) { node.clearNodes(); },
        [](XMLNode& node, const std::string&) { node.clearAttrs(); },
        [](XMLNode& node, const std::string&) {
            node.addChildNode(XMLParser("<o><p q='1'/></o>").release());
        },
    };
    const NoLoss noLoss;
    for (const auto& change : changes) {
        XMLNode other("other", nullptr);
        for (const bool ofRoot : {true, false}) {
            XMLNode* const root = XMLParser("<r x='1'><a x='1'><b/><c/></a></r>").release();
            change(ofRoot ? *root : *root->getChildNodes()[0], text);
            ofRoot ? other.addChildNode(root) : delete root;
        }
    }
}

TEST(XMLNode, CopiesAndTakesParts) {
    const XMLParser parser("<r><a x='1'>t<b/></a><c/></r>");
    XMLNode root(*parser.rootNode());
    root += root;
    EXPECT_EQ(root.str(false, 0), "<r><a x=\"1\"><b/>t</a><c/><r><a x=\"1\"><b/>t</a><c/></r></r>");
    root = root["a"];
    EXPECT_EQ(root.str(false, 0), "<a x=\"1\"><b/>t</a>");
    EXPECT_EQ(root("x").node(), &root);
    EXPECT_EQ(root["b"].parent(), &root);
    root.assign(root);
    XMLNode* const own = new XMLNode("own", &root);
    root.addChildNode(static_cast<XMLNode*>(nullptr));
    EXPECT_EQ(root.getChildNodes().back(), own);
    EXPECT_EQ(root.numofChildren(), 2u);
}

TEST(XMLNode, EntersTheLeakTableOnce) {
    XMLNode::destroy_null();
    XMLAttr::destroy_null();
    const LeakTable table;
    {
        XMLParser parser(istr("<first/><r a='1' b='&amp;'><c><d/></c>t</r>"));
        XMLNode root(*parser.rootNode());
        for (int i = 0; i < 40; ++i) {
            root.addAttr("a" + std::to_string(i % 30), "a value that needs memory of its own");
            root.addChildNode("c" + std::to_string(i));
        }
        root.addChildNode(parser.release());
        root.child("made")("x").name("other");
        root.child("c1").assign(root);
        root += root["r"];
        EXPECT_TRUE(std::as_const(root)["no"].isNull() && std::as_const(root)("no").isNull());
        checkedNew<XMLNode>("file", 1, "func", istr("n"), &root["parent"]);
        checkedDelete(checkedNew<XMLNode>("file", 1, "func", root), "file", 2, "func");
        XMLOutStream out("out");
        out += XMLOutStream("part", out) << L"text";
        XMLInStream in(istr("<a><b x></a>"));
        in.parse(istr(out.str(true, 0)));
        const XMLStreamBase copy(in);
        EXPECT_GT(table.size(), 100u);
    }
    EXPECT_GT(table.size(), 0u);  // the null objects
    XMLNode::destroy_null();
    XMLAttr::destroy_null();
    EXPECT_EQ(table.size(), 0u);
    EXPECT_EQ(table.shown(), "");
}

TEST(XMLNode, AFailureChangesNothing) {
    const XMLParser parser(
        "<r><a long-name-of-an-attribute='long value of an attribute'><b/></a></r>");
    const String text = parser.rootNode()->str(false, 0);
    const NoLoss noLoss;
    XMLNode root("r", nullptr);
    for (int i = 0; i < 16; ++i) {
        root.addChildNode("c");
        root.addAttr("a" + std::to_string(i), "");
    }
    root.addAttr("a0", "");
    const String before = root.str(false, 0);
    const auto unchanged = [&] {
        EXPECT_EQ(root.str(false, 0), before);
        EXPECT_EQ(root.getAttrMap().size(), 16u);
        EXPECT_EQ(root["c"].numofAttrs(), 0u);
    };
    const String longName = std::string(40, 'n');
    EXPECT_GT(failEachAllocation([&] { root.addAttr(longName, longName); }, unchanged), 4u);
    root.clearAttrs();
    for (int i = 0; i < 16; ++i)
        root.addAttr("a" + std::to_string(i), "");
    root.addAttr("a0", "");
    EXPECT_GT(failEachAllocation([&] { root.append(*parser.rootNode()); }, unchanged), 6u);
    XMLNode& last = *root.getChildNodes().back();
    EXPECT_EQ(last.str(false, 0), text);
    const String whole = root.str(false, 0);
    const auto same = [&] { EXPECT_EQ(root.str(false, 0), whole); };
    EXPECT_GT(failEachAllocation([&] { root.getChildNodes()[3]->name(longName); }, same), 2u);
    EXPECT_EQ(root.child(longName).name(), longName);
    EXPECT_GT(failEachAllocation([&] { last.assign(root[longName]); },
                                 [&] { EXPECT_EQ(last.str(false, 0), text); }),
              1u);
    EXPECT_EQ(last.str(false, 0), "<" + longName + "/>");
}

TEST(XMLNode, WideTreesTakeNoMoreThanTheirSize) {
    constexpr int kMany = 100000;
    XMLNode wide("w", nullptr);
    for (int i = 0; i < kMany; ++i)
        wide.addChildNode("c");
    for (int i = kMany - 1; i >= 0; --i)
        wide.getChildNodes()[static_cast<unsigned>(i)]->name("d" + std::to_string(i));
    EXPECT_EQ(std::as_const(wide)["d77"].name(), "d77");
    String text = "<a ";
    for (int i = 0; i < kMany; ++i)
        text += "a" + std::to_string(i % (kMany / 2)) + "='&amp;'";
    const XMLParser attrs(text + "/>");
    EXPECT_EQ(attrs.rootNode()->numofAttrs(), unsigned(kMany));
    EXPECT_EQ(attrs.rootNode()->getAttrMap().size(), unsigned(kMany / 2));
    EXPECT_EQ(attrs.rootNode()->attr(kMany - 1).value(), "&");
    // A value is copied once, however often its name is listed.
    XMLNode again("r", nullptr);
    for (int i = 0; i < 1000; ++i)
        again.addAttr("x", std::string(100, 'v'));
    const AllocationCounter counter;
    EXPECT_EQ(XMLNode(again).numofAttrs(), 1000u);
    EXPECT_LT(counter.allocations(), 100u);
}

// While the map of one node is built, other threads can read other trees.
TEST(XMLNode, BuildsAMapWithoutALock) {
    XMLNode wide("wide", nullptr);
    XMLNode other("other", nullptr);
    other.addChildNode("c");
    wide.addChildNode("c");
    bool listed = false;
    const AtAllocation meanwhile(
        [&] { std::thread([&] { listed = other.getChildNodes().size() == 1; }).join(); });
    EXPECT_EQ(wide.getChildNodeMap().size(), 1u);
    EXPECT_TRUE(listed);
}

TEST(XMLNode, ManyThreadsReadOneTree) {
    constexpr int kThreads = 4, kRounds = 20;
    const String text = "<r>" + repeated("<n a='1'><c/><c/><c/></n>", 2000) + "</r>";
    const auto seenIn = [](const XMLNode& root) {
        std::vector<const void*> places = {&root["n"], &root["no"], &root("no")};
        for (const XMLNode& node : root.children()) {
            places.push_back(node.getChildNodes().data());
            places.push_back(&node.getChildNodeMap());
            places.push_back(&node("a"));
        }
        return places;
    };
    for (int round = 0; round < kRounds; ++round) {
        const XMLParser parser{istr(text)};
        std::array<std::vector<const void*>, kThreads> seen;
        std::atomic<int> ready = 0;
        inThreads(kThreads, [&](unsigned i) {
            ++ready;
            while (ready < kThreads)
                std::this_thread::yield();
            seen[i] = seenIn(*parser.rootNode());
        });
        for (const auto& places : seen)
            ASSERT_TRUE(places == seenIn(*parser.rootNode()));
    }
}

}  // namespace
}  // namespace qor
