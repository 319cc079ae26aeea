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

// Receives the events of a parser while it builds the tree, in the parsing thread. An exception of
// the callback ends the parsing and is passed to its caller. A callback may read the tree and
// change the nodes that were read, but must neither delete nor release nodes that are still open.
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
    // Text or a CDATA section was appended to the node's text. Deliberate (compatibility): there is
    // no call for text whose first non-blank character is a "]".
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

// Makes a tree of XMLNode from a text, and tolerates most faults: closing tags need not match and
// may be missing, text after the root is not read, names may have any characters, declarations and
// comments are dropped. docs/formats.md has the details. Four faults raise XMLRuntimeException: a
// processing instruction without an end, and an attribute without "=", without an opening quote, or
// without a closing quote.
//
// White space is blank, tab, CR and LF. The text ends at its first zero byte.
//
// After an exception the tree has the nodes that were read before. The parser owns its tree until
// it is released. Time grows linearly with the text. The memory of a tree is released with its
// root. A parser belongs to one thread.
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
    // Parses from the stream's position to its end, with a line feed after every line.
    void parse(std::ifstream& is);
    // One step of parse. False when the root has been closed or the text is at its end, which it is
    // after an exception too.
    bool nextNode();

    // Null if there is none. An element after a root that closes itself becomes the root; the
    // parser keeps the earlier ones until the next parse or its destruction.
    const XMLNode* rootNode() const noexcept { return root_.get(); }
    // Transfers the tree to the caller, who deletes the root. The parser can continue with the
    // text, but not within that tree.
    XMLNode* release() noexcept;

protected:
    // A declaration of an entity, which is dropped.
    virtual void parseEntity(const char* from, const char* to);

    // The five named entities, for an override of parseEntity that adds to them. Decoding uses
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
    const char* end_ = nullptr;     // the position of the final zero byte
    const char* cursor_ = nullptr;  // where nextNode continues; the end during a step
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
