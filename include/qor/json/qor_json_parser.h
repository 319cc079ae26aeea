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

// Reads in one pass over the text, which may go as soon as it is read. Any depth of nesting takes
// the same stack, and time and memory grow with the text and with nothing else.
class QOR_API JsonParser {
public:
    // The object or array at the start of the text; what stands behind it is not looked at. Raises
    // DecodeException.
    //
    // A tree keeps a copy of the text that it was read from, of which its values are made. An array
    // or object that outlives its tree keeps that copy, and so does a text that was read as a view.
    //
    // Asking for what is in an array of more than 64 million elements, or in an object of more than
    // 20 million keys, raises std::bad_alloc; the tree can still be written.
    static Handle<JsonValue> from(istr text);

private:
    explicit JsonParser(istr text) noexcept : rest_(text) {}

    Handle<JsonValue> parse();

    istr rest_;
};

}  // namespace qor::json

#endif  // QOR_JSON_QOR_JSON_PARSER_H
