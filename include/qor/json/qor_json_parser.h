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
    explicit JsonParser(istr text) noexcept : rest_(text) {}

    Handle<JsonValue> parse();

    istr rest_;
};

}  // namespace qor::json

#endif  // QOR_JSON_QOR_JSON_PARSER_H
