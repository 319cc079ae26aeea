#include "qor/xml/XMLParser.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>

#include "xml/attr_map.h"
#include "xml/escape.h"
#include "xml/node.h"
#include "xml/pool.h"

namespace qor {

// Each is reported with a line of its own, which stays as it is when the source moves.
struct XMLParser::Malformations {
    static constexpr Malformation kNoProcessingEnd = {
        "Malformed XML processing node - end '?>' expected, but none found.", 212};
    static constexpr Malformation kNoEqualSign = {"Malformed XML Attribute - no = found", 527};
    static constexpr Malformation kNoBeginningQuote = {
        "Malformed XML Attribute - string literal expected, but no beginning quote (\") found.",
        541};
    static constexpr Malformation kNoEndingQuote = {
        "Malformed XML Attribute - string literal expected, but no ending quote (\") found.", 555};
};

namespace {

constexpr unsigned char kBlank = 1;
// What ends the name of an element, and that of an attribute.
constexpr unsigned char kNameEnd = 2;
constexpr unsigned char kAttrEnd = 4;
// What ends text that stands for itself, between tags and between quotes.
constexpr unsigned char kTextEnd = 8;
constexpr unsigned char kDoubleQuotedEnd = 16;
constexpr unsigned char kSingleQuotedEnd = 32;
constexpr unsigned char kTagEnd = 64;

// The zero byte behind the text ends everything but white space.
constexpr std::array<unsigned char, 256> kClasses = [] {
    std::array<unsigned char, 256> classes{};
    const auto mark = [&classes](std::string_view bytes, unsigned char kind) {
        for (const char c : bytes)
            classes[static_cast<unsigned char>(c)] |= kind;
        if (kind != kBlank) classes[0] |= kind;
    };
    mark("\t\n\r ", kBlank);
    mark("\t\n\r />", kNameEnd);
    mark("\t\n\r =", kAttrEnd);
    mark("<&", kTextEnd);
    mark("\"&", kDoubleQuotedEnd);
    mark("'&", kSingleQuotedEnd);
    mark(">", kTagEnd);
    return classes;
}();

bool is(unsigned char kind, char c) noexcept {
    return (kClasses[static_cast<unsigned char>(c)] & kind) != 0;
}

// The first byte of the kind, which the zero byte is of.
inline const char* skipTo(unsigned char kind, const char* at) noexcept {
    // Four at a time spare most of the steps in between.
    while (true) {
        if (is(kind, at[0])) return at;
        if (is(kind, at[1])) return at + 1;
        if (is(kind, at[2])) return at + 2;
        if (is(kind, at[3])) return at + 3;
        at += 4;
    }
}

// Longer text is searched by other means than byte for byte.
constexpr std::ptrdiff_t kShortText = 32;

// How much is looked at to tell a declaration.
constexpr unsigned long kDeclaration = 25;

// The first page of a tree's memory.
constexpr std::size_t kSmallPage = 512;
std::size_t firstPageFor(std::size_t text) noexcept {
    return std::clamp<std::size_t>(4 * text, kSmallPage, 1U << 15);
}

String linesOf(std::ifstream& is) {
    String text;
    for (std::string line; std::getline(is, line);) {
        text += line;
        text += '\n';
    }
    return text;
}

}  // namespace

XMLParserCallback::~XMLParserCallback() = default;
void XMLParserCallback::onNodeBegin(XMLParser*, XMLNode*) {}
void XMLParserCallback::onNodeEnd(XMLParser*, XMLNode*) {}
void XMLParserCallback::onCDATAFound(XMLParser*, XMLNode*) {}
void XMLParserCallback::onAttrFound(XMLParser*, XMLAttr*) {}

const char* XMLRuntimeException::what() const noexcept {
    return "XMLRuntimeException";
}

std::ostream& operator<<(std::ostream& os, const XMLRuntimeException& e) {
    return os << e.msg() << " @ " << e.file() << ':' << e.line();
}

XMLParser::XMLParser(istr text) : XMLParser() {
    parse(text);
}

XMLParser::XMLParser(std::ifstream& is) : XMLParser() {
    parse(is);
}

XMLParser::~XMLParser() = default;

void XMLParser::init() {
    entities_ = {{"amp", "&"}, {"quot", "\""}, {"apos", "'"}, {"lt", "<"}, {"gt", ">"}};
}

void XMLParser::parse(istr text) {
    // Copied before the old text goes, of which it may be a part.
    const char* const zero = xml::findByte('\0', text.begin(), text.end());
    if (zero != nullptr) text = istr(text.begin(), zero);
    String copy;
    copy.reserve(text.size() + xml::ParsedText::kBlock);
    copy += text;
    parseOwn(copy);
}

void XMLParser::parse(std::ifstream& is) {
    parse(linesOf(is));
}

void XMLParser::parseOwn(String& text) {
    current_ = nullptr;
    pool_ = nullptr;
    inDoctype_ = false;
    root_.reset();
    replaced_.clear();
    text_.swap(text);
    length_ = text_.size();
    text_.append(xml::ParsedText::kBlock, '\0');
    begin_ = cursor_ = token_ = text_.data();
    end_ = begin_ + length_;
    while (nextNode()) {
    }
}

XMLNode* XMLParser::release() noexcept {
    current_ = nullptr;
    return root_.release();
}

void XMLParser::parseEntity(const char*, const char*) {}

void XMLParser::fail(const Malformation& found) {
    throw XMLRuntimeException(found.message, __FILE__, found.line);
}

inline const char* XMLParser::skipBlanks(const char* at) const noexcept {
    while (is(kBlank, *at))
        ++at;
    return at;
}

// The mark, or the end.
inline const char* XMLParser::scanTo(char mark, const char* at) const noexcept {
    const char* const found = xml::findByte(mark, at, end_);
    return found != nullptr ? found : end_;
}

const char* XMLParser::scanTo(std::string_view mark, const char* at) const noexcept {
    const std::string_view rest(at, static_cast<std::size_t>(end_ - at));
    return at + std::min(rest.find(mark), rest.size());
}

// Where the next step begins; whether there is one.
inline bool XMLParser::goOnAt(const char* at) noexcept {
    cursor_ = at;
    return at != end_;
}

bool XMLParser::parseProcessing(const char* from) {
    constexpr std::string_view kEnd = "?>";
    const char* const at = scanTo(kEnd, from);
    if (at == end_) fail(Malformations::kNoProcessingEnd);
    cursor_ = at + kEnd.size();
    return true;
}

bool XMLParser::parseDeclaration(const char* from) {
    constexpr std::string_view kComment = "--";
    constexpr std::string_view kDoctype = "DOCTYPE";
    constexpr std::string_view kEntity = "ENTITY";
    constexpr std::string_view kCData = "[CDATA[";
    const std::string_view head(
        from, static_cast<std::size_t>(std::min<std::ptrdiff_t>(kDeclaration, end_ - from)));
    if (head.starts_with(kComment)) {
        cursor_ = parseComments(from + kComment.size());
        return true;
    }
    if (head.starts_with(kDoctype)) return parseDoctype(from + kDoctype.size());
    if (head.starts_with(kEntity)) {
        const char* const declared = from + kEntity.size();
        const char* const at = scanTo('>', declared);
        parseEntity(declared, at);
        cursor_ = behind(at);
        return true;
    }
    if (head.starts_with(kCData)) return parseCData(from + kCData.size());
    // What is none of them goes on as text.
    return goOnAt(from);
}

const char* XMLParser::parseComments(const char* from) const noexcept {
    constexpr std::string_view kEnd = "-->";
    const char* const at = scanTo(kEnd, from);
    return at != end_ ? at + kEnd.size() : end_;
}

bool XMLParser::parseDoctype(const char* from) {
    const char* const at = std::find_if(from, end_, [](char c) { return c == '>' || c == '['; });
    inDoctype_ = *at == '[';
    cursor_ = behind(at);
    return true;
}

bool XMLParser::endDoctype(const char* from) {
    inDoctype_ = false;
    cursor_ = behind(scanTo('>', from));
    return true;
}

bool XMLParser::parseCData(const char* from) {
    constexpr std::string_view kEnd = "]]>";
    token_ = from;
    const char* to = scanTo(kEnd, from);
    // The search looks at three bytes at a time, so a section without an end loses its last two.
    if (to == end_) to -= std::min<std::ptrdiff_t>(kEnd.size() - 1, end_ - from);
    if (current_ != nullptr) {
        current_->cdata_.append(from, to);
        if (callback_ != nullptr) callback_->onCDATAFound(this, current_);
    }
    return goOnAt(to + std::min<std::ptrdiff_t>(kEnd.size(), end_ - to));
}

// The steps that nearly all of a text takes stand in front of nextNode, to be compiled into it.

inline void XMLParser::closeCurrent(const char* at) {
    if (callback_ != nullptr) callback_->onNodeEnd(this, current_);
    cursor_ = behind(at);
    if (current_ != nullptr) current_ = current_->holder_;
}

void XMLParser::open(const xml::ParsedText& name) {
    if (current_ != nullptr) {
        current_ = current_->addPooled(name, *pool_);
        return;
    }
    std::unique_ptr<XMLNode> root(new (__FILE__, __LINE__, "qor::XMLParser::parse") XMLNode(name));
    // A text may have any number of roots, so only the first one is given room in advance.
    xml::Pool& pool = root->makePool(root_ == nullptr ? firstPageFor(length_) : kSmallPage);
    if (root_ != nullptr) replaced_.push_back(std::move(root_));
    root_ = std::move(root);
    current_ = root_.get();
    pool_ = &pool;
}

inline const char* XMLParser::parseAttr(const char* from) {
    // It is meant that neither "/" nor ">" ends the name.
    const char* const nameEnd = skipTo(kAttrEnd, from);
    const char* at = skipBlanks(nameEnd);
    if (*at != '=') fail(Malformations::kNoEqualSign);
    // It is meant that anything may stand in front of the quote.
    at = std::find_if(at + 1, end_, [](char c) { return c == '"' || c == '\''; });
    if (at == end_) fail(Malformations::kNoBeginningQuote);
    const xml::ParsedText name{from, nameEnd};
    const char* const value = at + 1;
    const unsigned char plainEnd = *at == '"' ? kDoubleQuotedEnd : kSingleQuotedEnd;
    const char* valueEnd = skipTo(plainEnd, value);
    XMLAttr* attr = nullptr;
    if (*valueEnd == *at) {
        XMLAttrMap::Owner& attrs = current_->attrs_;
        if (attrs == nullptr) attrs = XMLAttrMap::create(pool_);
        attr = &attrs->addParsed(name, {value, valueEnd}, current_, pool_);
    } else {
        valueEnd = scanTo(*at, valueEnd);
        if (valueEnd == end_) fail(Malformations::kNoEndingQuote);
        String decoded;
        xml::unescape(decoded, istr(value, valueEnd));
        attr = &current_->addListed(name.view(), std::move(decoded), pool_);
    }
    if (callback_ != nullptr) {
        current_->attrs_->plain_ = false;
        callback_->onAttrFound(this, attr);
    }
    return valueEnd + 1;
}

inline const char* XMLParser::parseAttrs(const char* from) {
    current_->clearAttrs();
    const char* at = skipBlanks(from);
    while (at != end_ && *at != '>' && *at != '/' && *at != '<')
        at = skipBlanks(parseAttr(at));
    return at;
}

inline const char* XMLParser::parseNode(const char* from) {
    const char* const name = skipBlanks(from);
    const char* const at = skipTo(kNameEnd, name);
    open({name, at});
    if (callback_ != nullptr) callback_->onNodeBegin(this, current_);
    return skipTo(kTagEnd, parseAttrs(at));
}

inline bool XMLParser::parseOpening(const char* from) {
    const char* const at = parseNode(from);
    if (at[-1] != '/') return goOnAt(behind(at));
    closeCurrent(at);
    return true;
}

inline bool XMLParser::parseClosing(const char* from) {
    const char* const at = skipTo(kTagEnd, from);
    // It is meant that "</a/>" and "</>" close an element as "<a/>" does, and so do not end the
    // parsing when it was the root.
    const bool closedItself = at[-1] == '/';
    closeCurrent(at);
    return closedItself || current_ != nullptr;
}

// Text has the blanks in front of it. Outside the root it is dropped.
inline bool XMLParser::parseText(bool told) {
    const char* const near = token_ + std::min(kShortText, end_ - token_);
    const char* to = token_;
    while (to != near && !is(kTextEnd, *to))
        ++to;
    const bool plain = to != near && *to == '<';
    if (!plain) to = scanTo('<', to);
    if (current_ != nullptr) {
        if (plain) {
            current_->cdata_.append(cursor_, to);
        } else {
            xml::unescape(current_->cdata_, istr(cursor_, to));
        }
        if (told && callback_ != nullptr) callback_->onCDATAFound(this, current_);
    }
    return goOnAt(to);
}

bool XMLParser::nextNode() try {
    if (cursor_ == end_) return false;
    token_ = skipBlanks(cursor_);
    if (*token_ == ']' && inDoctype_) return endDoctype(token_);
    if (*token_ != '<') return parseText(*token_ != ']');
    const char* const behindMark = token_ + 2;
    switch (token_[1]) {
        case '?':
            return parseProcessing(behindMark);
        case '!':
            return parseDeclaration(behindMark);
        case '/':
            return parseClosing(behindMark);
        case '\0':
            // Nothing would ever be consumed.
            cursor_ = end_;
            return false;
        default:
            return parseOpening(token_ + 1);
    }
} catch (...) {
    // Half of a step may have been taken, so there is no place to go on from.
    cursor_ = end_;
    throw;
}

std::ostream& operator<<(std::ostream& os, const XMLParser& parser) {
    if (parser.rootNode() != nullptr) os << *parser.rootNode();
    return os;
}

}  // namespace qor
