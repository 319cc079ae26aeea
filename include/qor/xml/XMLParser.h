#ifndef QOR_XML_XMLPARSER_H
#define QOR_XML_XMLPARSER_H

#include <exception>
#include <iosfwd>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include "qor/base/base_type_string.h"
#include "qor/xml/XMLNode.h"

namespace qor {

class XMLParser;

// Told what a parser finds while it builds the tree, in the thread that parses. An exception of the
// callback ends the parsing and comes out of it. A callback may look at the tree and change what
// has been read, but neither delete nor release nodes that are still open.
class QOR_API XMLParserCallback {
public:
    XMLParserCallback() = default;
    XMLParserCallback(const XMLParserCallback&) = default;
    XMLParserCallback& operator=(const XMLParserCallback&) = default;
    virtual ~XMLParserCallback();

    // The node has its name, but no attributes yet.
    virtual void onNodeBegin(XMLParser* parser, XMLNode* node);
    // At the end of an element. The node is null for a closing tag with no element open.
    virtual void onNodeEnd(XMLParser* parser, XMLNode* node);
    // Text or a CDATA section was appended to the node's text. It is meant that text whose first
    // character that is no blank is a "]" is appended without a call.
    virtual void onCDATAFound(XMLParser* parser, XMLNode* node);
    virtual void onAttrFound(XMLParser* parser, XMLAttr* attr);
};

// Text that is XML to be parsed, where text alone would be the name of an element.
class XMLInputString {
public:
    XMLInputString() = default;
    XMLInputString(istr text) : text_(text) {}
    const String& str() const noexcept { return text_; }

private:
    String text_;
};

// What the parser raises. It is no Exception of the library: it has neither a call stack nor an
// entry in the log.
class QOR_API XMLRuntimeException : public std::exception {
public:
    explicit XMLRuntimeException(istr message) : message_(message) {}
    XMLRuntimeException(istr message, istr file, unsigned line)
        : message_(message), file_(file), line_(line) {}

    // The name of the class. The message is msg().
    const char* what() const noexcept override;
    const String& msg() const noexcept { return message_; }
    const String& file() const noexcept { return file_; }
    // 0 if there is none.
    unsigned line() const noexcept { return line_; }

private:
    String message_;
    String file_;
    unsigned line_ = 0;
};

// "message @ file:line".
QOR_API std::ostream& operator<<(std::ostream& os, const XMLRuntimeException& e);

// Makes a tree of XMLNode of a text, and forgives nearly everything: closing tags are not compared
// with what they close, missing ones do not matter, what follows the root is not read, names may
// have any characters, declarations and comments are dropped. docs/formats.md tells what becomes of
// what. Four malformations raise XMLRuntimeException: a processing instruction without an end, and
// an attribute without "=", without a quote, or without the quote that ends it.
//
// White space is blank, tab, CR and LF. The text ends at its first zero byte.
//
// After an exception the tree is there as far as it was read. The parser owns its tree until it is
// released. Cost grows linearly with the text. The memory of a tree is released with its root.
// A parser belongs to one thread.
class QOR_API XMLParser : noncopyable {
public:
    XMLParser() { init(); }
    // Parse at once, and raise as parse does.
    explicit XMLParser(istr text);
    explicit XMLParser(std::ifstream& is);
    virtual ~XMLParser();

    // Not owned; null for none.
    void setCallback(XMLParserCallback* callback) noexcept { callback_ = callback; }

    // Drops the old tree and reads the text, of which a copy is kept, until the root is closed.
    void parse(istr text);
    // From the stream's place to its end, with a line feed behind every line.
    void parse(std::ifstream& is);
    // One step of parse. False when the root has been closed or the text is at its end, which it is
    // after an exception too.
    bool nextNode();

    // Null if there is none. An element behind a root that closes itself becomes the root; the
    // parser keeps those before until the next parse, or its own end.
    const XMLNode* rootNode() const noexcept { return root_.get(); }
    // Hands the tree over to the caller, who deletes the root. The parser can go on with the text,
    // but not within that tree.
    XMLNode* release() noexcept;

protected:
    // A declaration of an entity, which is dropped.
    virtual void parseEntity(const char* from, const char* to);

    // What the five names of entities stand for, for a parseEntity that adds to them. Decoding goes
    // by qor::xml::unescape and does not look here.
    std::map<String, String> entities_;

private:
    struct Malformation {
        const char* message;
        unsigned line;
    };
    struct Malformations;

    void init();
    void parseOwn(String& text);
    [[noreturn]] void fail(const Malformation& found);

    // Where the next step begins, and whether there is one.
    struct Step {
        const char* at;
        bool more;
    };

    const char* scanTo(std::string_view mark, const char* at) const noexcept;
    const char* after(const char* at) const noexcept { return at != end_ ? at + 1 : at; }
    Step goOnAt(const char* at) const noexcept { return {at, at != end_}; }

    // `kTold` is whether there may be a callback.
    template <bool kTold>
    Step step(const char* from);
    Step tellingStep(const char* from);
    Step plainSteps(const char* from, bool once);
    const char* parseProcessing(const char* from);
    Step parseDeclaration(const char* from);
    const char* parseComments(const char* from) const noexcept;
    const char* parseDoctype(const char* from);
    const char* endDoctype(const char* from);
    const char* parseCData(const char* from);
    template <bool kTold>
    const char* parseText(const char* from, const char* token);
    template <bool kTold>
    Step parseClosing(const char* from);
    template <bool kTold>
    Step parseOpening(const char* from);
    template <bool kTold>
    const char* parseNode(const char* from);
    template <bool kTold>
    const char* parseAttrs(const char* from, XMLNode& node);
    template <bool kTold>
    const char* parseAttr(const char* from, XMLNode& node);
    template <char kQuote>
    xml::ParsedText parseValue(const char*& at);
    [[gnu::noinline]] xml::ParsedText parseSingleQuoted(const char*& at);
    xml::ParsedText decode(const char* from, const char* to) noexcept;

    void open(const xml::ParsedText& name);
    void openRoot(const xml::ParsedText& name);
    template <bool kTold>
    void closeCurrent();

    String text_;
    unsigned long length_ = 0;
    const char* begin_ = nullptr;
    const char* end_ = nullptr;     // where a zero byte stands
    const char* cursor_ = nullptr;  // where nextNode goes on; the end during a step
    bool inDoctype_ = false;
    XMLNode* current_ = nullptr;  // the open element
    std::unique_ptr<XMLNode> root_;
    std::vector<std::unique_ptr<XMLNode>> replaced_;  // earlier roots
    XMLParserCallback* callback_ = nullptr;
};

// The root, as it writes itself; nothing if there is none.
QOR_API std::ostream& operator<<(std::ostream& os, const XMLParser& parser);

}  // namespace qor

#endif  // QOR_XML_XMLPARSER_H
