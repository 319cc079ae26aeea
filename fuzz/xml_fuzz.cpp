// The XML parser: any bytes up to the first zero give a consistent tree, and each further step
// after the first root consumes input.

#include <memory>
#include <string>

#include "qor/xml/XMLParser.h"
#include "repeated.h"
#include "xml_tree.h"

namespace {

using namespace qor;

// Counts the calls of the callback, and checks their arguments.
struct Counter : XMLParserCallback {
    int begun = 0;
    int ended = 0;
    int texts = 0;
    int attrs = 0;

    void onNodeBegin(XMLParser*, XMLNode* node) override {
        ++begun;
        require(node->numofAttrs() == 0);
    }
    void onNodeEnd(XMLParser*, XMLNode* node) override { ended += node != nullptr ? 1 : 0; }
    void onCDATAFound(XMLParser*, XMLNode* node) override { texts += node != nullptr ? 1 : 0; }
    void onAttrFound(XMLParser*, XMLAttr* attr) override {
        ++attrs;
        require(&attr->node()->attr(attr->name()) == attr);
    }
    bool operator==(const Counter& other) const {
        return begun == other.begun && ended == other.ended && texts == other.texts &&
               attrs == other.attrs;
    }
};

struct Outcome {
    std::unique_ptr<XMLNode> tree;
    unsigned line = 0;  // the line of the failure
    Counter calls;
};

// Parses the whole text at once, or the first root and then one step after another.
Outcome outcomeOf(istr text, bool further) {
    Outcome outcome;
    XMLParser parser;
    parser.setCallback(&outcome.calls);
    try {
        parser.parse(text);
        // Each step consumes something.
        unsigned long steps = 0;
        while (further && (parser.nextNode() || parser.nextNode()))
            require(++steps <= text.size());
    } catch (const XMLRuntimeException& e) {
        require(!e.msg().empty());
        outcome.line = e.line();
        require(!parser.nextNode());
    }
    outcome.tree.reset(parser.release());
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input = fuzz::repeated(data, size);
    const istr text(input);
    outcomeOf(text, true);
    Outcome first = outcomeOf(text, false);
    // Bytes after the first zero are ignored.
    const Outcome again = outcomeOf(input.c_str(), false);
    require(first.line == again.line && first.calls == again.calls);
    require((first.tree == nullptr) == (again.tree == nullptr));
    if (first.tree == nullptr) return 0;
    require(fuzz::isSame(*first.tree, *again.tree));
    const XMLNode copy(*first.tree);
    const String text1 = first.tree->str(false, 0);
    require(fuzz::isSound(*first.tree) && fuzz::isSame(*first.tree, copy));
    require(fuzz::isSound(copy) && copy.str(false, 0) == text1);
    // A tree is destroyed with the one that it was added to.
    XMLNode other("other", nullptr);
    other.addChildNode(first.tree.release());
    require(fuzz::isSound(other));
    return 0;
}
