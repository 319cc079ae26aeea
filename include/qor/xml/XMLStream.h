#ifndef QOR_XML_XMLSTREAM_H
#define QOR_XML_XMLSTREAM_H

#include <iosfwd>
#include <memory>

#include "qor/base/interface.h"
#include "qor/xml/XMLNode.h"
#include "qor/xml/XMLParser.h"
#include "qor/xml/xml_value.h"

// The streams through which values reach XML. qor/xml/xml_T.h has the fields of user types.

namespace qor {

namespace xml {

// The greatest depth of nested objects that are read; deeper ones count as missing. Each level uses
// the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

}  // namespace xml

// A node that is written or read, and whether the stream owns it. Writing to a stream without a
// node makes one; reading from it finds nothing. A stream belongs to one thread.
class QOR_API XMLStreamBase {
public:
    // Select the direction.
    struct out_t {};
    struct in_t {};

    // For writing, and without a node.
    XMLStreamBase() = default;
    // A copy of a stream that owns its node has a copy of the node; otherwise both are streams of
    // the same node.
    XMLStreamBase(const XMLStreamBase& other);
    XMLStreamBase& operator=(const XMLStreamBase& other);
    // The node is not owned. What is read is not changed.
    XMLStreamBase(XMLNode* node, out_t) : node_(node) {}
    XMLStreamBase(const XMLNode* node, in_t)
        : inputting_(true), node_(const_cast<XMLNode*>(node)) {}
    XMLStreamBase(bool inputting, bool owned, XMLNode* node)
        : inputting_(inputting), owned_(owned), node_(node) {}
    virtual ~XMLStreamBase() { clear(); }

    bool isInputting() const noexcept { return inputting_; }
    void setInputting(bool on) noexcept { inputting_ = on; }
    // Replace direction and node. A node that was owned is deleted.
    void setOutputNode(XMLNode* node, bool owned) noexcept { assign(false, owned, node); }
    void setInputNode(const XMLNode* node, bool owned) noexcept {
        assign(true, owned, const_cast<XMLNode*>(node));
    }
    void assign(bool inputting, bool owned, XMLNode* node) noexcept;
    void swap(XMLStreamBase& other) noexcept;
    // The direction stays.
    void clear() noexcept { assign(inputting_, false, nullptr); }
    // Gives up the node, which the caller owns if the stream did.
    XMLNode* release() noexcept;

    // The node's; empty without a node.
    const String& name() const noexcept;
    const String& cdata() const noexcept;
    // When writing. Without a node one is made.
    void name(istr text);
    void cdata(istr text);
    // The type word, "__type__", or the name if there is none. Setting it to the name leaves it
    // out.
    const String& type() const;
    void type(istr text);

    // No node, or the null node.
    bool isNull() const { return node_ == nullptr || node_->isNull(); }
    // Makes an owned node when writing without one.
    void checkNode();
    // If it isNull, the first form returns XMLNode::null(), and the second form a new node. In a
    // stream that reads, this is a spare node and not the stream's own: the stream still isNull,
    // and does not find what is created there.
    const XMLNode& node() const { return node_ != nullptr ? *node_ : XMLNode::null(); }
    XMLNode& node();

    const XMLAttr& attrAt(unsigned long index) const { return node().attr(index); }
    unsigned long numofAttrs() const { return node().numofAttrs(); }
    const XMLNode& childAt(unsigned long index) const { return node().child(index); }
    unsigned long numofChildren() const { return node().numofChildren(); }

    // As XMLNode::str; empty without a node.
    String str(bool pretty, unsigned depth) const { return node().str(pretty, depth); }
    dumper& dump(dumper& d) const;

    // The number of objects around the one that is being read. Maintained by the binding.
    unsigned nesting() const noexcept { return nesting_; }
    void nesting(unsigned depth) noexcept { nesting_ = depth; }

private:
    void makeNode(istr name);

    bool inputting_ = false;
    bool owned_ = false;
    XMLNode* node_ = nullptr;
    std::unique_ptr<XMLNode> spare_;
    unsigned nesting_ = 0;
};

// Writes values into a node: each replaces the node's text.
class QOR_API XMLOutStream : public virtual XMLStreamBase {
public:
    // Into a new node, which the stream owns.
    XMLOutStream() : XMLOutStream("root") {}
    explicit XMLOutStream(istr name);
    // Into the parent's child of that name, made if it is missing, or into the node; not owned.
    XMLOutStream(istr name, XMLOutStream& parent) : XMLOutStream(parent.child(name)) {}
    explicit XMLOutStream(XMLNode& node) : XMLStreamBase(&node, out_t()) {}

    // Made if they are missing.
    XMLAttr& attr(istr name) { return node().attr(name); }
    XMLAttr& operator()(istr name) { return attr(name); }
    XMLNode& child(istr name) { return node().child(name); }
    XMLNode& operator[](istr name) { return child(name); }
    // Appends a copy of the other node as a child.
    XMLOutStream& operator+=(const XMLOutStream& other);

    // As formatValue has it, with the type word "utf8" for wide text and "base64" for bytes.
    // Ignored by a stream that reads.
    template <xml::Writable T>
    XMLOutStream& operator<<(const T& value) {
        String text;
        xml::formatValue(value, text);
        return write(text, xml::typeOf<std::decay_t<T>>());
    }
    template <xml::VolatileScalar T>
    XMLOutStream& operator<<(const T& value) {
        return *this << static_cast<std::remove_cv_t<T>>(value);
    }

protected:
    explicit XMLOutStream(xml::Pool*) {}  // for XMLStream, which makes the base itself

private:
    XMLOutStream& write(String& text, istr type);
};

// Reads values from a node.
class QOR_API XMLInStream : public virtual XMLStreamBase {
public:
    XMLInStream() { setInputting(true); }
    // Parse, and own the tree.
    explicit XMLInStream(istr text) { parse(text); }
    explicit XMLInStream(std::ifstream& is) { parse(is); }
    // From the parent's child of that name, or from the node; not owned.
    XMLInStream(istr name, const XMLInStream& parent);
    explicit XMLInStream(const XMLNode& node) : XMLStreamBase(&node, in_t()) {}

    // Read the tree of a text, in place of the present node. Malformed text is no exception here:
    // the stream is then without a node.
    void parse(istr text);
    void parse(std::ifstream& is);

    // The null objects for missing ones.
    const XMLAttr& attr(istr name) const { return node().attr(name); }
    const XMLAttr& operator()(istr name) const { return attr(name); }
    const XMLNode& child(istr name) const { return node().child(name); }
    const XMLNode& operator[](istr name) const { return child(name); }

    // As parseValue has it. False, with the target as it was, if the stream isNull.
    template <xml::Readable T>
    bool operator>>(T& target) const {
        return !isNull() && xml::parseValue(cdata(), target);
    }
    // Reads into a temporary first.
    template <xml::VolatileScalar T>
    bool operator>>(T& target) const {
        std::remove_volatile_t<T> value = target;
        const bool good = *this >> value;
        if (!isNull()) target = value;
        return good;
    }

protected:
    explicit XMLInStream(xml::Pool*) {}

private:
    template <class Source>
    void parseFrom(Source& source);
};

// Both directions in one, so that a type has one routine for both. A constructor with a text makes
// a stream that writes an element of that name; for text to be read use XMLInputString or in_t.
//
// The look-ups that are not const create what is missing, also when the stream reads; without a
// node, in the spare one of node().
class QOR_API XMLStream : public XMLOutStream, public XMLInStream {
public:
    // For writing.
    XMLStream() : XMLStream("root") {}
    explicit XMLStream(istr name) : XMLStream(out_t(), name) {}
    explicit XMLStream(const char* name) : XMLStream(istr(name)) {}
    XMLStream(out_t tag, istr name);
    XMLStream(out_t tag, istr name, XMLOutStream& parent) : XMLStream(tag, parent.child(name)) {}
    XMLStream(out_t tag, XMLNode& node)
        : XMLStreamBase(&node, tag), XMLOutStream(nullptr), XMLInStream(nullptr) {}

    // For reading.
    explicit XMLStream(const XMLInputString& text) : XMLStream(in_t(), istr(text.str())) {}
    explicit XMLStream(std::ifstream& is);
    XMLStream(in_t tag, istr text);
    XMLStream(in_t tag, istr name, const XMLInStream& parent);
    XMLStream(in_t tag, const XMLNode& node)
        : XMLStreamBase(&node, tag), XMLOutStream(nullptr), XMLInStream(nullptr) {}

    using XMLInStream::attr;
    using XMLInStream::child;
    using XMLInStream::operator();
    using XMLInStream::operator[];
    using XMLOutStream::attr;
    using XMLOutStream::child;
    using XMLOutStream::operator();
    using XMLOutStream::operator[];

    // A codec calls it first. When writing, it names a stream whose name is empty, "root" or "any",
    // and sets the meta attributes "__type__", "__class__" and "__super__" if they add information
    // to the name.
    void enter(istr type, istr name, istr className, istr super);
    void leave() noexcept {}
    // The fields of a base class are written into the same element.
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}
};

// The base of types that are carried through a pointer.
class QOR_API XMLCodecBase : public virtual Interface {
public:
    XMLCodecBase() = default;
    XMLCodecBase(const XMLCodecBase&) = default;
    XMLCodecBase& operator=(const XMLCodecBase&) = default;

    // Both call codecXml; decodeXml does nothing inside xml::kMaxDepth others of the thread.
    virtual void encodeXml(XMLOutStream& out) const;
    virtual void decodeXml(const XMLInStream& in);
    // The routine for both directions.
    virtual void codecXml(XMLStream& s);
    ~XMLCodecBase() override;

    String toXml(bool pretty) const;
    // Malformed text changes nothing.
    void fromXml(istr text);
};

// Writes toXml(true).
QOR_API std::ostream& operator<<(std::ostream& os, const XMLCodecBase& object);

}  // namespace qor

#endif  // QOR_XML_XMLSTREAM_H
