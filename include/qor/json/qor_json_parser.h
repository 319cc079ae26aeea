#ifndef QOR_JSON_QOR_JSON_PARSER_H
#define QOR_JSON_QOR_JSON_PARSER_H

#include "qor/base/exception.h"
#include "qor/json/json_value.h"

// Reading JSON. docs/formats.md has the dialect, which is wider than the standard in some places
// and narrower in others.

namespace qor::json {

// The message ends with the whole rest of the input from where it could not be read, up to the
// first zero byte in it.
QOR_DECLARE_EXCEPTION(DecodeException, "qor::json::DecodeException");

// Reads in one pass over the text, of which nothing is kept. Any depth of nesting takes the same
// stack, and time and memory grow with the text and with nothing else.
class QOR_API JsonParser {
public:
    // The object or array at the start of the text; what stands behind it is not looked at. Raises
    // DecodeException.
    //
    // The values of a tree share blocks of memory: one that outlives its tree keeps a block of up
    // to 64 KiB. The process keeps up to 8 MiB of such blocks for the next trees.
    static Handle<JsonValue> from(istr text);

private:
    // A part of the input, with the quotes around it if it has some.
    struct Span {
        istr text;
        bool escaped;  // there is a backslash in it
    };

    explicit JsonParser(istr text) noexcept : rest_(text) {}

    Handle<JsonValue> parse();
    // Read up to behind the next value of an object, or of an array. True if that value has only
    // begun, since it is an object or an array itself.
    bool parseObject(TreeBuilder& tree);
    bool parseArray(TreeBuilder& tree);
    // Moves over what stands behind a value: true if that ends the object or array around it.
    bool passEnd(const TreeBuilder& tree);

    Span getName();
    bool getValue(TreeBuilder& tree);
    Span getToken() noexcept;
    Span getString() noexcept;

    // The byte at the position, 0 at the end.
    char current() const noexcept { return rest_.eof() ? '\0' : *rest_; }
    char skipBlank() noexcept;
    // The input is read up to here.
    void moveTo(const char* position) noexcept { rest_ = istr(position, rest_.end()); }

    istr rest_;
};

}  // namespace qor::json

#endif  // QOR_JSON_QOR_JSON_PARSER_H
