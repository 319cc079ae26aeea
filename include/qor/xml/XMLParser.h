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

// Receives the events of a parser while it builds the tree, on the parsing thread. An exception of
// the callback ends the parsing and is passed to the caller. A callback may read the tree and
// change the nodes that were already read, but must not delete open elements, and must not call
// parse, nextNode or release of the parser.
class QOR_API XMLParserCallback {
public:
    XMLParserCallback() = default;
    XMLParserCallback(const XMLParserCallback&) = default;
    XMLParserCallback& operator=(const XMLParserCallback&) = default;
    virtual ~XMLParserCallback();

    // The node has its name, but no attributes yet.
    virtual void onNodeBegin(XMLParser* parser, XMLNode* node);
    // At the end of an element. The node is null for a closing tag if no element is open.
    virtual void onNodeEnd(XMLParser* parser, XMLNode* node);
    // Text or a CDATA section was appended to the node's text. Deliberate (compatibility): not
    // called for text whose first non-blank character is a "]".
    virtual void onCDATAFound(XMLParser* parser, XMLNode* node);
    virtual void onAttrFound(XMLParser* parser, XMLAttr* attr);
};

// XML to be parsed, for constructors to which a plain text is the name of an element.
class XMLInputString {
public:
    XMLInputString() = default;
    XMLInputString(istr text) : text_(text) {}
    const String& str() const noexcept { return text_; }

private:
    String text_;
};

// The exception of the parser. It does not derive from qor::Exception: it has no call stack and is
// not logged.
class QOR_API XMLRuntimeException : public std::exception {
public:
    explicit XMLRuntimeException(istr message) : message_(message) {}
    XMLRuntimeException(istr message, istr file, unsigned line)
        : message_(message), file_(file), line_(line) {}

    // The name of the class. The message is msg().
    const char* what() const noexcept override;
    const String& msg() const noexcept { return message_; }
    const String& file() const noexcept { return file_; }
    // 0 if it is not known.
    unsigned line() const noexcept { return line_; }

private:
    String message_;
    String file_;
    unsigned line_ = 0;
};

// Writes "message @ file:line".
QOR_API std::ostream& operator<<(std::ostream& os, const XMLRuntimeException& e);

// Builds a tree of XMLNode from a text, and tolerates most faults: closing tags need not match and
// may be missing, text after the root is not read, names may have any characters, declarations and
// comments are dropped. docs/formats.md has the details. Four faults raise XMLRuntimeException: a
// processing instruction without an end, and an attribute without "=", without an opening quote, or
// without a closing quote.
//
//     XMLParser parser(text);
//     const std::unique_ptr<XMLNode> root(parser.release());   // null if there is no element
//
// White space is blank, tab, CR and LF. The text ends at its first zero byte.
//
// After an exception the tree has the nodes that were already read. The parser owns its tree until
// release(). Time is linear in the size of the text. The memory of a tree is freed with its root.
// Use a parser from one thread only.
class QOR_API XMLParser : noncopyable {
public:
    XMLParser() { init(); }
    // Call parse().
    explicit XMLParser(istr text);
    explicit XMLParser(std::ifstream& is);
    virtual ~XMLParser();

    // The callback is not owned; null removes it.
    void setCallback(XMLParserCallback* callback) noexcept { callback_ = callback; }

    // Deletes the old tree and reads the text, of which it keeps a copy, until a closing tag closes
    // the root.
    void parse(istr text);
    // Parses from the stream's position to its end, with a line feed after every line.
    void parse(std::ifstream& is);
    // One step of parse. Returns false when the root is closed or the text has ended, and after an
    // exception.
    bool nextNode();

    // Null if there is none. A root that closes itself ("<a/>") does not end the parsing: the next
    // element becomes the root, and the parser keeps the earlier roots until the next parse or its
    // destruction.
    const XMLNode* rootNode() const noexcept { return root_.get(); }
    // The caller then owns the tree, and must delete the root. The parser can continue with the
    // text, but not within that tree.
    XMLNode* release() noexcept;

protected:
    // Called for a declaration of an entity; does nothing. An override must not call parse,
    // nextNode or release.
    virtual void parseEntity(const char* from, const char* to);

    // The five named entities; an override of parseEntity may add to them. Decoding uses
    // qor::xml::unescape and not this map.
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

    // The begin of the next step, and whether there is one.
    struct Step {
        const char* at;
        bool more;
    };

    const char* scanTo(std::string_view mark, const char* at) const noexcept;
    const char* after(const char* at) const noexcept { return at != end_ ? at + 1 : at; }
    Step goOnAt(const char* at) const noexcept { return {at, at != end_}; }

    // kWithCallback: whether there may be a callback.
    template <bool kWithCallback>
    Step step(const char* from);
    Step tellingStep(const char* from);
    Step plainSteps(const char* from, bool once);
    const char* parseProcessing(const char* from);
    Step parseDeclaration(const char* from);
    const char* parseComments(const char* from) const noexcept;
    const char* parseDoctype(const char* from);
    const char* endDoctype(const char* from);
    const char* parseCData(const char* from);
    template <bool kWithCallback>
    const char* parseText(const char* from, const char* token);
    template <bool kWithCallback>
    Step parseClosing(const char* from);
    template <bool kWithCallback>
    Step parseOpening(const char* from);
    template <bool kWithCallback>
    const char* parseNode(const char* from);
    template <bool kWithCallback>
    const char* parseAttrs(const char* from, XMLNode& node);
    template <bool kWithCallback>
    const char* parseAttr(const char* from, XMLNode& node);
    template <char kQuote>
    xml::ParsedText parseValue(const char*& at);
    [[gnu::noinline]] xml::ParsedText parseSingleQuoted(const char*& at);
    xml::ParsedText decode(const char* from, const char* to) noexcept;

    void open(const xml::ParsedText& name);
    void openRoot(const xml::ParsedText& name);
    template <bool kWithCallback>
    void closeCurrent();

    String text_;
    unsigned long length_ = 0;  // of the text; 0 after the first root
    const char* begin_ = nullptr;
    const char* end_ = nullptr;     // the position of the terminating zero
    const char* cursor_ = nullptr;  // where nextNode continues; end_ during a step
    bool inDoctype_ = false;
    XMLNode* current_ = nullptr;  // the open element
    std::unique_ptr<XMLNode> root_;
    std::vector<std::unique_ptr<XMLNode>> replaced_;  // earlier roots
    XMLParserCallback* callback_ = nullptr;
};

// Writes the root; nothing if there is none.
QOR_API std::ostream& operator<<(std::ostream& os, const XMLParser& parser);

}  // namespace qor

#endif  // QOR_XML_XMLPARSER_H
