// An XML tree that is written reads back unchanged, except for text that is only white space, which
// the format does not keep.

#include <algorithm>

#include "choices.h"
#include "qor/xml/XMLParser.h"
#include "repeated.h"
#include "xml_tree.h"

namespace {

using namespace qor;

// A text of any bytes except zeros.
String textOf(Choices& choices) {
    String text = choices.bytes(12);
    std::replace(text.begin(), text.end(), '\0', ']');
    return text;
}

String nameOf(Choices& choices) {
    constexpr std::string_view kNames = "abcdefghijklmnopqrstuvwxyz._-:\xC3\xA5<&\"'!?]";
    return "n" + choices.token(kNames);
}

bool isBlank(const String& text) {
    return text.find_first_not_of(" \t\r\n") == String::npos;
}

// Whether the tree has a node with text and children: the pretty form adds white space to its text.
bool build(Choices& choices, XMLNode& root) {
    bool mixed = false;
    for (XMLNode* node = &root; !choices.atEnd();) {
        switch (choices.byte() % 8) {
            case 0:
                if (node->parent() != nullptr) node = node->parent();
                break;
            case 1:
            case 2:
                node->attr(nameOf(choices)).value(textOf(choices));
                break;
            case 3:
                node->cdata(textOf(choices));
                if (isBlank(std::as_const(*node).cdata())) node->cdata("");
                break;
            case 4:
                node->name(nameOf(choices));
                break;
            case 5:
                node->addChildNode(nameOf(choices))->cdata("x");
                break;
            default:
                node = node->addChildNode(nameOf(choices));
        }
        mixed =
            mixed || (node->parent() != nullptr && !std::as_const(*node->parent()).cdata().empty());
        mixed = mixed || (node->numofChildren() != 0 && !std::as_const(*node).cdata().empty());
    }
    return mixed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input = fuzz::repeated(data, size);
    Choices choices((istr(input)));
    XMLNode root(nameOf(choices), nullptr);
    const bool mixed = build(choices, root);
    require(fuzz::isSound(root));
    for (const bool pretty : {false, true}) {
        // Indentation makes the text of a very deep tree too large.
        if (pretty && (mixed || input.size() >= 10000)) continue;
        const XMLParser parser(root.str(pretty, 0));
        require(parser.rootNode() != nullptr && fuzz::isSame(root, *parser.rootNode()));
    }
    XMLNode other("other", nullptr);
    other.child("x").cdata("y");
    XMLNode& held = other.child("x");
    held.assign(root);
    require(fuzz::isSame(held, root) && fuzz::isSound(other));
    return 0;
}
