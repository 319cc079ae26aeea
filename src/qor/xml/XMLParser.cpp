#include "qor/xml/XMLParser.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "xml/attr_map.h"
#include "xml/escape.h"
#include "xml/node.h"
#include "xml/pool.h"
#include "xml/scan.h"

namespace qor {

// Deliberate (compatibility): each fault has its own fixed line number.
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

// The number of bytes that must be readable after the text, without its terminating zero.
constexpr std::size_t kRoomAfterText = xml::kScanRoom - 1;

// The number of bytes that are checked for a declaration.
constexpr unsigned long kDeclaration = 25;

// The memory that a tree gets at first.
constexpr std::size_t kSmallPool = 256;
std::size_t estimateFor(std::size_t text) noexcept {
    return std::min(6 * text + kSmallPool, kLargestKeptBlock / 2);
}

// Not by std::getline, which hides a std::bad_alloc.
String linesOf(std::ifstream& is) {
    String text;
    for (char room[4096]; is.read(room, sizeof(room)), is.gcount() != 0;)
        text.append(room, static_cast<std::size_t>(is.gcount()));
    if (!text.empty() && text.back() != '\n') text += '\n';
    return text;
}

// The text up to its first zero byte, in a string with the room that the searches need.
String copyOf(istr text) {
    const char* const zero = xml::findByte('\0', text.begin(), text.end());
    if (zero != nullptr) text = istr(text.begin(), zero);
    String copy;
    copy.reserve(text.size() + kRoomAfterText);
    copy += text;
    return copy;
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
    // Not assigned to the map itself: with libc++ that would lose nodes if memory runs out.
    decltype(entities_) entities = {
        {"amp", "&"}, {"quot", "\""}, {"apos", "'"}, {"lt", "<"}, {"gt", ">"}};
    entities_.swap(entities);
}

void XMLParser::parse(istr text) {
    // The text is copied before the old text is destroyed, of which it may be a part.
    String copy = copyOf(text);
    parseOwn(copy);
}

void XMLParser::parse(std::ifstream& is) {
    // The lines are freed before the parsing.
    String copy = copyOf(linesOf(is));
    parseOwn(copy);
}

void XMLParser::parseOwn(String& text) {
    current_ = nullptr;
    inDoctype_ = false;
    root_.reset();
    replaced_.clear();
    text_.swap(text);
    String().swap(text);
    length_ = text_.size();
    text_.append(kRoomAfterText, '\0');
    begin_ = cursor_ = text_.data();
    end_ = begin_ + length_;
    Step taken{std::exchange(cursor_, end_), true};
    while (taken.more && taken.at != end_)
        taken = callback_ != nullptr ? tellingStep(taken.at) : plainSteps(taken.at, false);
    cursor_ = taken.at;
}

XMLNode* XMLParser::release() noexcept {
    current_ = nullptr;
    return root_.release();
}

void XMLParser::parseEntity(const char*, const char*) {}

void XMLParser::fail(const Malformation& found) {
    throw XMLRuntimeException(found.message, __FILE__, found.line);
}

const char* XMLParser::scanTo(std::string_view mark, const char* at) const noexcept {
    const std::string_view rest(at, static_cast<std::size_t>(end_ - at));
    return at + std::min(rest.find(mark), rest.size());
}

const char* XMLParser::parseProcessing(const char* from) {
    constexpr std::string_view kEnd = "?>";
    const char* const at = scanTo(kEnd, from);
    if (at == end_) fail(Malformations::kNoProcessingEnd);
    return at + kEnd.size();
}

XMLParser::Step XMLParser::parseDeclaration(const char* from) {
    constexpr std::string_view kComment = "--";
    constexpr std::string_view kDoctype = "DOCTYPE";
    constexpr std::string_view kEntity = "ENTITY";
    constexpr std::string_view kCData = "[CDATA[";
    const std::string_view head(
        from, static_cast<std::size_t>(std::min<std::ptrdiff_t>(kDeclaration, end_ - from)));
    if (head.starts_with(kComment)) {
        return {parseComments(from + kComment.size()), true};
    }
    if (head.starts_with(kDoctype)) return {parseDoctype(from + kDoctype.size()), true};
    if (head.starts_with(kEntity)) {
        const char* const declared = from + kEntity.size();
        const char* const at = xml::findAny<'>'>(declared);
        parseEntity(declared, at);
        return {after(at), true};
    }
    if (head.starts_with(kCData)) return goOnAt(parseCData(from + kCData.size()));
    // Anything else is text.
    return goOnAt(from);
}

const char* XMLParser::parseComments(const char* from) const noexcept {
    constexpr std::string_view kEnd = "-->";
    const char* const at = scanTo(kEnd, from);
    return at != end_ ? at + kEnd.size() : end_;
}

const char* XMLParser::parseDoctype(const char* from) {
    const char* const at = xml::findAny<'>', '['>(from);
    inDoctype_ = *at == '[';
    return after(at);
}

const char* XMLParser::endDoctype(const char* from) {
    inDoctype_ = false;
    return after(xml::findAny<'>'>(from));
}

const char* XMLParser::parseCData(const char* from) {
    constexpr std::string_view kEnd = "]]>";
    const char* to = scanTo(kEnd, from);
    // Deliberate (compatibility): a section without an end loses its last two bytes.
    if (to == end_) to -= std::min<std::ptrdiff_t>(kEnd.size() - 1, end_ - from);
    if (current_ != nullptr) {
        current_->addParsedText({from, to});
        if (callback_ != nullptr) callback_->onCDATAFound(this, current_);
    }
    return to + std::min<std::ptrdiff_t>(kEnd.size(), end_ - to);
}

// The common steps are before nextNode, so that they are compiled into it.

// Decodes a part of the text in place.
xml::ParsedText XMLParser::decode(const char* from, const char* to) noexcept {
    char* const text = text_.data() + (from - begin_);
    return {text, xml::unescapeTo(text, from, to)};
}

inline void XMLParser::open(const xml::ParsedText& name) {
    if (current_ != nullptr) [[likely]] {
        current_ = current_->addParsed(name);
    } else {
        openRoot(name);
    }
}

void XMLParser::openRoot(const xml::ParsedText& name) {
    // A text may have any number of roots, so memory is reserved only for the first one.
    const std::size_t estimate = estimateFor(std::exchange(length_, 0));
    std::unique_ptr<XMLNode> root = xml::Pool::create(name, estimate);
    if (root_ != nullptr) replaced_.push_back(std::move(root_));
    root_ = std::move(root);
    current_ = root_.get();
}

template <bool kWithCallback>
inline void XMLParser::closeCurrent() {
    if (kWithCallback && callback_ != nullptr) callback_->onNodeEnd(this, current_);
    if (current_ != nullptr) current_ = current_->holder_;
}

// Moves `at` to the closing quote.
template <char kQuote>
inline xml::ParsedText XMLParser::parseValue(const char*& at) {
    const char* const from = at;
    at = xml::findFar<kQuote, '&'>(from);
    const bool plain = *at != '&';
    if (!plain) [[unlikely]]
        at = xml::findAny<kQuote>(at);
    if (*at == '\0') [[unlikely]]
        fail(Malformations::kNoEndingQuote);
    return plain ? xml::ParsedText{from, at} : decode(from, at);
}

xml::ParsedText XMLParser::parseSingleQuoted(const char*& at) {
    return parseValue<'\''>(at);
}

template <bool kWithCallback>
inline const char* XMLParser::parseAttr(const char* from, XMLNode& node) {
    // Deliberate (compatibility): neither "/" nor ">" ends the name.
    const char* const nameEnd = xml::findNear<'=', ' ', '\t', '\n', '\r'>(from);
    const char* at = xml::skipBlanks(nameEnd);
    if (*at != '=') [[unlikely]]
        fail(Malformations::kNoEqualSign);
    ++at;
    // Deliberate (compatibility): any text before the quote is skipped.
    if (*at != '"') at = xml::findNear<'"', '\''>(at);
    if (*at == '\0') [[unlikely]]
        fail(Malformations::kNoBeginningQuote);
    const char quote = *at++;
    const xml::ParsedText value = quote == '"' ? parseValue<'"'>(at) : parseSingleQuoted(at);
    XMLAttr& attr = node.addParsedAttr({from, nameEnd}, value);
    if (kWithCallback && callback_ != nullptr) {
        node.touch();
        callback_->onAttrFound(this, &attr);
        // The callback may have replaced the map by one on the heap.
        if (node.attrs_ != nullptr && !node.attrs_->isRow())
            node.attrs_->marks_ = XMLAttrMap::kAllMarks;
    }
    return at + 1;
}

template <bool kWithCallback>
inline const char* XMLParser::parseAttrs(const char* from, XMLNode& node) {
    if (kWithCallback) node.clearAttrs();
    const char* at = xml::skipBlanks(from);
    while (*at != '>' && *at != '/' && *at != '<' && *at != '\0')
        at = xml::skipBlanks(parseAttr<kWithCallback>(at, node));
    return at;
}

template <bool kWithCallback>
inline const char* XMLParser::parseNode(const char* from) {
    const char* const name = xml::skipBlanks(from);
    const char* const at = xml::findNear<'>', '/', ' ', '\t', '\n', '\r'>(name);
    open({name, at});
    if (kWithCallback && callback_ != nullptr) callback_->onNodeBegin(this, current_);
    return *at == '>' && !kWithCallback
               ? at
               : xml::findAny<'>'>(parseAttrs<kWithCallback>(at, *current_));
}

template <bool kWithCallback>
inline XMLParser::Step XMLParser::parseOpening(const char* from) {
    const char* const at = parseNode<kWithCallback>(from);
    if (at[-1] != '/') return goOnAt(after(at));
    closeCurrent<kWithCallback>();
    return {after(at), true};
}

template <bool kWithCallback>
inline XMLParser::Step XMLParser::parseClosing(const char* from) {
    const char* const at = xml::findNear<'>'>(from);
    // Deliberate (compatibility): "</a/>" and "</>" close an element as "<a/>" does: they do not
    // end the parsing if it is the root.
    const bool closedItself = at[-1] == '/';
    closeCurrent<kWithCallback>();
    return {after(at), closedItself || current_ != nullptr};
}

// The text includes the blanks before `token`. Outside the root it is dropped.
template <bool kWithCallback>
inline const char* XMLParser::parseText(const char* from, const char* token) {
    const char* to = xml::findFar<'<', '&'>(token);
    xml::ParsedText text{from, to};
    // Deliberate (compatibility): for text that begins with "]" the callback is not called.
    const bool isReported = *token != ']';
    if (*to == '&') [[unlikely]] {
        to = xml::findAny<'<'>(to);
        text = decode(from, to);
    }
    if (current_ != nullptr) {
        current_->addParsedText(text);
        if (kWithCallback && callback_ != nullptr && isReported)
            callback_->onCDATAFound(this, current_);
    }
    return to;
}

template <bool kWithCallback>
[[gnu::always_inline]] inline XMLParser::Step XMLParser::step(const char* from) {
    const char* const token = xml::skipBlanks(from);
    if (*token == ']' && inDoctype_) return {endDoctype(token), true};
    if (*token != '<') return goOnAt(parseText<kWithCallback>(from, token));
    const char* const afterMark = token + 2;
    switch (token[1]) {
        case '/':
            return parseClosing<kWithCallback>(afterMark);
        case '?':
            return {parseProcessing(afterMark), true};
        case '!':
            return parseDeclaration(afterMark);
        case '\0':
            // A step here would not consume anything.
            return {end_, false};
        default:
            return parseOpening<kWithCallback>(token + 1);
    }
}

XMLParser::Step XMLParser::tellingStep(const char* from) {
    return step<true>(from);
}

// Version 2.0.5 exports this symbol.
template XMLParser::Step XMLParser::step<false>(const char* from);

XMLParser::Step XMLParser::plainSteps(const char* from, bool once) {
    Step taken{from, true};
    do {
        taken = step<false>(taken.at);
    } while (taken.more && taken.at != end_ && callback_ == nullptr && !once);
    return taken;
}

bool XMLParser::nextNode() {
    if (cursor_ == end_) return false;
    // If the step raises, cursor_ stays at the end: parsing cannot continue after a failed step.
    const char* const from = std::exchange(cursor_, end_);
    const Step taken = callback_ != nullptr ? tellingStep(from) : plainSteps(from, true);
    cursor_ = taken.at;
    return taken.more;
}

std::ostream& operator<<(std::ostream& os, const XMLParser& parser) {
    if (parser.rootNode() != nullptr) os << *parser.rootNode();
    return os;
}

}  // namespace qor
