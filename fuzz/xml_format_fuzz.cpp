// A tree that is written reads back as it was, but for text that is white space alone, which the
// format does not keep.

#include "qor/xml/XMLParser.h"
#include "xml_tree.h"

namespace {

using namespace qor;

// Takes its choices from the input; ones after the end.
class Choices {
public:
    explicit Choices(istr input) : input_(input) {}
    bool atEnd() const { return input_.empty(); }
    unsigned char byte() {
        const unsigned char c = input_.empty() ? 1 : static_cast<unsigned char>(*input_);
        ++input_;
        return c;
    }
    // Any bytes but zeros.
    String text() {
        String text;
        for (int n = byte() % 12; n > 0 && !atEnd(); --n) {
            const unsigned char c = byte();
            text += c != 0 ? c : static_cast<unsigned char>(']');
        }
        return text;
    }
    String name() {
        constexpr std::string_view kNames = "abcdefghijklmnopqrstuvwxyz._-:\xC3\xA5<&\"'!?]";
        String name = "n";
        for (int n = byte() % 3; n > 0; --n)
            name += kNames[byte() % kNames.size()];
        return name;
    }

private:
    istr input_;
};

bool isBlank(const String& text) {
    return text.find_first_not_of(" \t\r\n") == String::npos;
}

// Whether there is a node with text and children, whose text gains white space in pretty form.
bool build(Choices& choices, XMLNode& root) {
    bool mixed = false;
    for (XMLNode* node = &root; !choices.atEnd();) {
        switch (choices.byte() % 8) {
            case 0:
                if (node->parent() != nullptr) node = node->parent();
                break;
            case 1:
            case 2:
                node->attr(choices.name()).value(choices.text());
                break;
            case 3:
                node->cdata(choices.text());
                if (isBlank(std::as_const(*node).cdata())) node->cdata("");
                break;
            case 4:
                node->name(choices.name());
                break;
            case 5:
                node->addChildNode(choices.name())->cdata("x");
                break;
            default:
                node = node->addChildNode(choices.name());
        }
        mixed =
            mixed || (node->parent() != nullptr && !std::as_const(*node->parent()).cdata().empty());
        mixed = mixed || (node->numofChildren() != 0 && !std::as_const(*node).cdata().empty());
    }
    return mixed;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Choices choices(istr(data, size));
    XMLNode root(choices.name(), nullptr);
    const bool mixed = build(choices, root);
    fuzz::require(fuzz::isSound(root));
    for (const bool pretty : {false, true}) {
        if (pretty && mixed) continue;
        const XMLParser parser(root.str(pretty, 0));
        fuzz::require(parser.rootNode() != nullptr && fuzz::isSame(root, *parser.rootNode()));
    }
    XMLNode other("other", nullptr);
    other.child("x").cdata("y");
    XMLNode& held = other.child("x");
    held.assign(root);
    fuzz::require(fuzz::isSame(held, root) && fuzz::isSound(other));
    return 0;
}
