#ifndef QOR_XML_XMLSTREAM_H
#define QOR_XML_XMLSTREAM_H

#include <iosfwd>
#include <memory>

#include "qor/base/interface.h"
#include "qor/xml/XMLNode.h"
#include "qor/xml/XMLParser.h"
#include "qor/xml/xml_value.h"

// The streams that write and read values as XML. For user types, use qor/xml/xml_T.h.

namespace qor {

namespace xml {

// The largest depth of nested objects that can be read; deeper ones count as missing. Each level
// uses the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

}  // namespace xml

// The base of the streams: a node that is written or read, and whether the stream owns it. Writing
// to a stream without a node creates one; reading from it finds nothing. Use a stream from one
// thread only.
class QOR_API XMLStreamBase {
public:
    // Select the direction.
    struct out_t {};
    struct in_t {};

    // For writing, without a node.
    XMLStreamBase() = default;
    // If `other` owns its node, the copy owns a copy of the node; otherwise both refer to the same
    // node.
    XMLStreamBase(const XMLStreamBase& other);
    XMLStreamBase& operator=(const XMLStreamBase& other);
    // The node is not owned and must outlive the stream. A stream that reads changes it only by
    // look-ups that are not const, which create what is missing.
    XMLStreamBase(XMLNode* node, out_t) : node_(node) {}
    XMLStreamBase(const XMLNode* node, in_t)
        : inputting_(true), node_(const_cast<XMLNode*>(node)) {}
    XMLStreamBase(bool inputting, bool owned, XMLNode* node)
        : inputting_(inputting), owned_(owned), node_(node) {}
    virtual ~XMLStreamBase() { clear(); }

    bool isInputting() const noexcept { return inputting_; }
    void setInputting(bool on) noexcept { inputting_ = on; }
    // Replace direction and node. An owned node is deleted, unless it is also the new one, which
    // then stays owned; the new one must not be another part of its tree.
    void setOutputNode(XMLNode* node, bool owned) noexcept { assign(false, owned, node); }
    void setInputNode(const XMLNode* node, bool owned) noexcept {
        assign(true, owned, const_cast<XMLNode*>(node));
    }
    void assign(bool inputting, bool owned, XMLNode* node) noexcept;
    void swap(XMLStreamBase& other) noexcept;
    // Removes the node; the direction is unchanged.
    void clear() noexcept { assign(inputting_, false, nullptr); }
    // Removes and returns the node. If the stream owned it, the caller now does.
    XMLNode* release() noexcept;

    // Of the node; empty without a node.
    const String& name() const noexcept;
    const String& cdata() const noexcept;
    // Set those of the node, which is created if it is missing. They do nothing in a stream that
    // reads.
    void name(istr text);
    void cdata(istr text);
    // The attribute "__type__", or the name if there is none. Setting it to the name does nothing,
    // and neither does setting it in a stream that reads.
    const String& type() const;
    void type(istr text);

    // True if there is no node, or if it is XMLNode::null().
    bool isNull() const { return node_ == nullptr || node_->isNull(); }
    // In a stream that writes, creates an owned node if there is none.
    void checkNode();
    // The node. Without one, the first form returns XMLNode::null(), and the second form a new
    // node. In a stream that reads, that is a spare node: isNull() is still true, and reading does
    // not find anything in it.
    const XMLNode& node() const { return node_ != nullptr ? *node_ : XMLNode::null(); }
    XMLNode& node();

    const XMLAttr& attrAt(unsigned long index) const { return node().attr(index); }
    unsigned long numofAttrs() const { return node().numofAttrs(); }
    const XMLNode& childAt(unsigned long index) const { return node().child(index); }
    unsigned long numofChildren() const { return node().numofChildren(); }

    // As XMLNode::str; empty without a node.
    String str(bool pretty, unsigned depth) const { return node().str(pretty, depth); }
    dumper& dump(dumper& d) const;

    // The nesting depth of the object that is being read. Maintained by the binding.
    unsigned nesting() const noexcept { return nesting_; }
    void nesting(unsigned depth) noexcept { nesting_ = depth; }

protected:
    // For the bodies of constructors: a class that is derived from the streams constructs this
    // virtual base itself, without a node.
    void begin(bool inputting, bool owned, const XMLNode* node) noexcept {
        inputting_ = inputting;
        owned_ = owned;
        node_ = const_cast<XMLNode*>(node);
    }

private:
    void makeNode(istr name);

    bool inputting_ = false;
    bool owned_ = false;
    XMLNode* node_ = nullptr;
    std::unique_ptr<XMLNode> spare_;
    unsigned nesting_ = 0;
};

// Writes values to a node: each value replaces the node's text.
class QOR_API XMLOutStream : public virtual XMLStreamBase {
public:
    // To a new node, which the stream owns.
    XMLOutStream() : XMLOutStream("root") {}
    explicit XMLOutStream(istr name);
    // To the parent's child of that name, which is created if it is missing, or to `node`; not
    // owned.
    XMLOutStream(istr name, XMLOutStream& parent) : XMLOutStream(parent.child(name)) {}
    explicit XMLOutStream(XMLNode& node) { begin(false, false, &node); }

    // They are created if they are missing.
    XMLAttr& attr(istr name) { return node().attr(name); }
    XMLAttr& operator()(istr name) { return attr(name); }
    XMLNode& child(istr name) { return node().child(name); }
    XMLNode& operator[](istr name) { return child(name); }
    // Appends a copy of the other stream's node as a child. Does nothing in a stream that reads.
    XMLOutStream& operator+=(const XMLOutStream& other);

    // Sets the text as by formatValue, and the type to "utf8" for wide text and "base64" for bytes.
    // Does nothing in a stream that reads.
    template <xml::Writable T>
    XMLOutStream& operator<<(const T& value) {
        String text;
        using xml::formatValue;
        formatValue(value, text);
        return write(text, xml::typeOf<std::decay_t<T>>());
    }
    template <xml::VolatileScalar T>
    XMLOutStream& operator<<(const T& value) {
        return *this << static_cast<std::remove_cv_t<T>>(value);
    }

protected:
    explicit XMLOutStream(xml::Pool*) {}  // for XMLStream, which sets the node

private:
    XMLOutStream& write(String& text, istr type);
};

// Reads values from a node.
class QOR_API XMLInStream : public virtual XMLStreamBase {
public:
    XMLInStream() { setInputting(true); }
    // Parse the text and own the tree.
    explicit XMLInStream(istr text) { parse(text); }
    explicit XMLInStream(std::ifstream& is) { parse(is); }
    // From the parent's child of that name, or from the node; not owned.
    XMLInStream(istr name, const XMLInStream& parent);
    explicit XMLInStream(const XMLNode& node) { begin(true, false, &node); }

    // Replace the node by the tree of a text. Malformed text does not raise: the stream then has no
    // node.
    void parse(istr text);
    void parse(std::ifstream& is);

    // If they are missing, these return the null objects.
    const XMLAttr& attr(istr name) const { return node().attr(name); }
    const XMLAttr& operator()(istr name) const { return attr(name); }
    const XMLNode& child(istr name) const { return node().child(name); }
    const XMLNode& operator[](istr name) const { return child(name); }

    // Reads the text as by parseValue. If isNull(), returns false and leaves the target unchanged.
    template <xml::Readable T>
    bool operator>>(T& target) const {
        using xml::parseValue;
        return !isNull() && parseValue(cdata(), target);
    }
    // Reads to a temporary first, so that the target is written once.
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

// A stream that either writes or reads, so that one codec serves both directions. A constructor
// with a plain text creates a stream that writes an element of that name; for text to be read use
// XMLInputString or in_t.
//
// The look-ups that are not const create a missing child or attribute, even if the stream reads;
// without a node, they do so in the spare node of node().
class QOR_API XMLStream : public XMLOutStream, public XMLInStream {
public:
    // For writing.
    XMLStream() : XMLStream("root") {}
    explicit XMLStream(istr name) : XMLStream(out_t(), name) {}
    explicit XMLStream(const char* name) : XMLStream(istr(name)) {}
    XMLStream(out_t tag, istr name);
    XMLStream(out_t tag, istr name, XMLOutStream& parent) : XMLStream(tag, parent.child(name)) {}
    XMLStream(out_t, XMLNode& node) : XMLOutStream(nullptr), XMLInStream(nullptr) {
        begin(false, false, &node);
    }

    XMLStream(const XMLStream&) = default;
    // The default would copy the tree for each base.
    XMLStream& operator=(const XMLStream& other) {
        XMLStreamBase::operator=(other);
        return *this;
    }

    // For reading.
    explicit XMLStream(const XMLInputString& text) : XMLStream(in_t(), istr(text.str())) {}
    explicit XMLStream(std::ifstream& is);
    XMLStream(in_t tag, istr text);
    XMLStream(in_t tag, istr name, const XMLInStream& parent);
    XMLStream(in_t, const XMLNode& node) : XMLOutStream(nullptr), XMLInStream(nullptr) {
        begin(true, false, &node);
    }

    using XMLInStream::attr;
    using XMLInStream::child;
    using XMLInStream::operator();
    using XMLInStream::operator[];
    using XMLOutStream::attr;
    using XMLOutStream::child;
    using XMLOutStream::operator();
    using XMLOutStream::operator[];

    // A codec calls it first. If the stream writes, sets the node's name if that is empty, "root"
    // or "any", and the attributes "__type__", "__class__" and "__super__" if they differ from the
    // name.
    void enter(istr type, istr name, istr className, istr super);
    void leave() noexcept {}
    // The fields of a base class are written into the same element.
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}
};

// The base of types that are written and read through a reference to this class.
class QOR_API XMLCodecBase : public virtual Interface {
public:
    XMLCodecBase() = default;
    XMLCodecBase(const XMLCodecBase&) = default;
    XMLCodecBase& operator=(const XMLCodecBase&) = default;

    // Both call codecXml. encodeXml does nothing if `out` reads. decodeXml does nothing if it is
    // nested in kMaxDepth other calls of decodeXml on the same thread.
    virtual void encodeXml(XMLOutStream& out) const;
    virtual void decodeXml(const XMLInStream& in);
    // The codec for both directions.
    virtual void codecXml(XMLStream& s);
    ~XMLCodecBase() override;

    String toXml(bool pretty) const;
    // Reads the object from a text. If that is malformed, nothing is changed.
    void fromXml(istr text);
};

// Writes toXml(true).
QOR_API std::ostream& operator<<(std::ostream& os, const XMLCodecBase& object);

}  // namespace qor

#endif  // QOR_XML_XMLSTREAM_H
