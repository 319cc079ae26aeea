#include "qor/xml/XMLStream.h"

#include <memory>
#include <ostream>
#include <utility>

#include "qor/base/field.h"
#include "qor/log/log_dumper.h"

namespace qor {

namespace {

constexpr istr kType("__type__", 8);
constexpr istr kClass("__class__", 9);
constexpr istr kSuper("__super__", 9);

// The number of calls of decodeXml that run on this thread.
constinit thread_local unsigned decoding = 0;
struct Decoding : noncopyable {
    Decoding() noexcept { ++decoding; }
    ~Decoding() { --decoding; }
};

XMLNode* newNode(istr name) {
    return new (__FILE__, __LINE__, "qor::XMLStreamBase::checkNode") XMLNode(name, nullptr);
}

bool isPart(const XMLNode* node, const XMLNode* root) noexcept {
    while (node != nullptr && node != root)
        node = node->parent();
    return node != nullptr;
}

// Names that an object may replace.
bool isNeutral(istr name) noexcept {
    return name.empty() || name == "root" || name == "any";
}

// Equal except for the case of the first letter.
bool isSameWord(istr left, istr right) noexcept {
    if (left.size() != right.size()) return false;
    return left.empty() ||
           (CharToLower(*left) == CharToLower(*right) && left.removeLeft(1) == right.removeLeft(1));
}

}  // namespace

XMLStreamBase::XMLStreamBase(const XMLStreamBase& other)
    : inputting_(other.inputting_),
      owned_(other.owned_ && other.node_ != nullptr),
      node_(owned_ ? new XMLNode(*other.node_) : other.node_),
      nesting_(other.nesting_) {}

XMLStreamBase& XMLStreamBase::operator=(const XMLStreamBase& other) {
    XMLStreamBase copy(other);
    // The node of `other` may be a part of the tree that is deleted here.
    if (owned_ && !copy.owned_ && isPart(copy.node_, node_)) {
        copy.node_ = new XMLNode(*copy.node_);
        copy.owned_ = true;
    }
    copy.swap(*this);
    return *this;
}

void XMLStreamBase::assign(bool inputting, bool owned, XMLNode* node) noexcept {
    const bool isSame = owned_ && node_ == node;
    if (owned_ && !isSame) delete node_;
    inputting_ = inputting;
    owned_ = (owned || isSame) && node != nullptr;
    node_ = node;
    spare_.reset();
}

void XMLStreamBase::swap(XMLStreamBase& other) noexcept {
    std::swap(inputting_, other.inputting_);
    std::swap(owned_, other.owned_);
    std::swap(node_, other.node_);
    std::swap(nesting_, other.nesting_);
}

XMLNode* XMLStreamBase::release() noexcept {
    owned_ = false;
    return std::exchange(node_, nullptr);
}

const String& XMLStreamBase::name() const noexcept {
    return node_ != nullptr ? node_->name() : String::null();
}

const String& XMLStreamBase::cdata() const noexcept {
    return node_ != nullptr ? std::as_const(*node_).cdata() : String::null();
}

void XMLStreamBase::name(istr text) {
    if (inputting_) return;
    if (isNull()) {
        makeNode(text);
    } else {
        node_->name(text);
    }
}

void XMLStreamBase::cdata(istr text) {
    if (inputting_) return;
    checkNode();
    node_->cdata(text);
}

const String& XMLStreamBase::type() const {
    const String& word = node().attr(kType).value();
    return word.empty() ? name() : word;
}

void XMLStreamBase::type(istr text) {
    if (inputting_ || text == istr(name())) return;
    node().attr(kType).value(text);
}

void XMLStreamBase::checkNode() {
    if (!inputting_ && isNull()) makeNode(istr());
}

XMLNode& XMLStreamBase::node() {
    // XMLNode::null() is shared and must not be changed.
    checkNode();
    if (!isNull()) return *node_;
    if (spare_ == nullptr) spare_.reset(newNode(istr()));
    return *spare_;
}

void XMLStreamBase::makeNode(istr name) {
    node_ = newNode(name);
    owned_ = true;
}

dumper& XMLStreamBase::dump(dumper& d) const {
    return d.raw(str(true, d.level()));
}

XMLOutStream::XMLOutStream(istr name) {
    begin(false, true, newNode(name));
}

XMLOutStream& XMLOutStream::operator+=(const XMLOutStream& other) {
    if (!isInputting() && !other.isNull()) node().append(other.node());
    return *this;
}

XMLOutStream& XMLOutStream::write(String& text, istr typeWord) {
    if (isInputting()) return *this;
    if (!typeWord.empty()) type(typeWord);
    node().cdata().swap(text);
    return *this;
}

XMLInStream::XMLInStream(istr name, const XMLInStream& parent) : XMLInStream(parent.child(name)) {
    nesting(parent.nesting());
}

template <class Source>
void XMLInStream::parseFrom(Source& source) {
    XMLParser parser;
    try {
        parser.parse(source);
    } catch (const XMLRuntimeException&) {
        // Then the stream has no node, and reading from it finds nothing.
        delete parser.release();
    }
    setInputNode(parser.release(), true);
}

void XMLInStream::parse(istr text) {
    parseFrom(text);
}

void XMLInStream::parse(std::ifstream& is) {
    parseFrom(is);
}

XMLStream::XMLStream(out_t, istr name) : XMLOutStream(nullptr), XMLInStream(nullptr) {
    begin(false, true, newNode(name));
}

XMLStream::XMLStream(std::ifstream& is) : XMLOutStream(nullptr), XMLInStream(nullptr) {
    parse(is);
}

XMLStream::XMLStream(in_t, istr text) : XMLOutStream(nullptr), XMLInStream(nullptr) {
    parse(text);
}

XMLStream::XMLStream(in_t tag, istr name, const XMLInStream& parent)
    : XMLStream(tag, parent.child(name)) {
    nesting(parent.nesting());
}

void XMLStream::enter(istr typeWord, istr elementName, istr className, istr super) {
    if (isInputting()) return;
    if (isNeutral(name())) {
        if (const istr better = elementName.empty() ? typeWord : elementName; !better.empty()) {
            name(better);
        }
    }
    if (!typeWord.empty() && (type().empty() || type() == name())) type(typeWord);
    if (!className.empty() && !isSameWord(className, type())) attr(kClass).value(className);
    if (!super.empty() && super != "Object") attr(kSuper).value(super);
}

void XMLCodecBase::encodeXml(XMLOutStream& out) const {
    if (out.isInputting()) return;
    XMLStream stream(XMLStream::out_t(), out.node());
    forCodec(*this).codecXml(stream);
}

void XMLCodecBase::decodeXml(const XMLInStream& in) {
    if (decoding >= xml::kMaxDepth) return;
    const Decoding depth;
    XMLStream stream(XMLStream::in_t(), in.node());
    stream.nesting(in.nesting());
    codecXml(stream);
}

void XMLCodecBase::codecXml(XMLStream&) {}

XMLCodecBase::~XMLCodecBase() = default;

String XMLCodecBase::toXml(bool pretty) const {
    XMLOutStream out;
    encodeXml(out);
    return out.str(pretty, 0);
}

void XMLCodecBase::fromXml(istr text) {
    decodeXml(XMLInStream(text));
}

std::ostream& operator<<(std::ostream& os, const XMLCodecBase& object) {
    return os << object.toXml(true);
}

}  // namespace qor
