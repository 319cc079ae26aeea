#include <limits>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "inspect/readers.h"
#include "inspect/writers.h"
#include "qor/xml/XMLParser.h"

namespace tools {

namespace {

using qor::XMLNode;

// Counts the elements that were opened, since the parser does not report its position.
class Counter : public qor::XMLParserCallback {
public:
    void onNodeBegin(qor::XMLParser*, XMLNode*) override { ++count_; }
    unsigned long count() const { return count_; }

private:
    unsigned long count_ = 0;
};

// The offset at which the n-th element begins; the first one is 1. If there are fewer, the offset
// of a part that has no end, or else of the end.
unsigned long placeOfElement(std::string_view text, unsigned long n) {
    constexpr struct {
        std::string_view begin, end;
    } kPassed[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}, {"</", ">"}};
    std::size_t at = 0;
    while ((at = text.find('<', at)) != text.npos) {
        std::size_t next = at + 1;
        bool isElement = true;
        for (const auto& passed : kPassed) {
            if (!text.substr(at).starts_with(passed.begin)) continue;
            isElement = false;
            next = text.find(passed.end, at + passed.begin.size());
            break;
        }
        if (next == text.npos || (isElement && --n == 0)) return at;
        at = next;
    }
    return text.size();
}

Shape shapeOf(const XMLNode& node) {
    bool isList = node.numofChildren() != 0 && node.numofAttrs() == 0 && node.cdata().empty();
    bool isRepeated = node.getAttrMap().size() != node.numofAttrs();
    std::unordered_set<std::string_view> names;
    for (unsigned long i = 0; i < node.numofChildren(); ++i) {
        const std::string_view name = node[i].name();
        isList = isList && name == "any";
        isRepeated = isRepeated || (!names.empty() && names.contains(name));
        names.insert(name);
    }
    return isList ? Shape::List : isRepeated ? Shape::Pairs : Shape::Map;
}

Scalar scalarOf(istr text) {
    return {isJsonNumber(text) ? Kind::Number : Kind::Text, text};
}

// An element whose children are being emitted.
struct Open {
    const XMLNode* node;
    unsigned long next;
};

// The parser ignores the first zero byte and what follows it.
istr partParsed(istr content) {
    const std::string_view text(content);
    return istr(text.substr(0, text.find('\0')));
}

// The offset of the fault. Parses the content again with a Counter, which would slow down the first
// parse.
unsigned long placeOfFault(istr content) {
    Counter counter;
    qor::XMLParser parser;
    parser.setCallback(&counter);
    try {
        parser.parse(content);
    } catch (const qor::XMLRuntimeException& e) {
        constexpr auto kAll = std::numeric_limits<unsigned long>::max();
        const bool isInElement = e.msg().find("processing") == std::string::npos;
        return placeOfElement(std::string_view(content), isInElement ? counter.count() : kAll);
    }
    return content.size();
}

std::unique_ptr<XMLNode> parse(istr content) {
    try {
        qor::XMLParser parser(content);
        std::unique_ptr<XMLNode> root(parser.release());
        if (root != nullptr) return root;
    } catch (const qor::XMLRuntimeException& e) {
        const istr parsed = partParsed(content);
        throw BadContent(placeOf(content, placeOfFault(parsed)) + ": " + e.msg());
    }
    throw BadContent(placeOf(content, partParsed(content).size()) + ": no element in it");
}

}  // namespace

std::string readXml(istr content, Sink& sink) {
    const std::unique_ptr<XMLNode> root = parse(content);
    std::vector<Open> open;
    const auto enter = [&](const XMLNode& node) {
        const Label label{node.name(), {}};
        if (node.isSimple()) return sink.leaf(label, scalarOf(node.cdata()));
        sink.begin(label, shapeOf(node), false);
        for (const qor::String& name : node.getAttrNames()) {
            sink.leaf({name, {}, Part::Attribute}, scalarOf(node.attr(name).value()));
        }
        open.push_back({&node, 0});
    };
    enter(*root);
    while (!open.empty()) {
        Open& level = open.back();
        if (level.next != level.node->numofChildren()) {
            enter(std::as_const(*level.node)[level.next++]);
            continue;
        }
        if (!level.node->cdata().empty()) {
            sink.leaf({istr("#text", 5), {}, Part::Content}, scalarOf(level.node->cdata()));
        }
        sink.end();
        open.pop_back();
    }
    sink.finish();
    return {};
}

}  // namespace tools
