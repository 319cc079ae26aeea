#ifndef QOR_JSON_QOR_JSON_PARSER_H
#define QOR_JSON_QOR_JSON_PARSER_H

#include "qor/base/exception.h"
#include "qor/json/json_value.h"

// Reading JSON (RFC 8259). docs/formats.md describes the differences: more texts are accepted in
// some places, and fewer in others.

namespace qor::json {

// The message ends with the rest of the input from the error on, up to its first zero byte.
QOR_DECLARE_EXCEPTION(DecodeException, "qor::json::DecodeException");

// Reads a text in one pass and keeps a copy of it. Stack use does not depend on the depth of
// nesting; time and memory are linear in the size of the text. On processors that support it,
// vector code is used, unless the environment variable QOR_PORTABLE is "on".
class QOR_API JsonParser {
public:
    // Returns the object or array at the start of the text; the rest is ignored. Raises
    // DecodeException, and std::bad_alloc for a text of 4 GiB minus 1 MiB or more.
    //
    // The values of the tree are created at their first use. The copy of the text is freed when all
    // containers of the tree are destroyed, and all values of which a view was taken by `unit >>
    // view`: a single such value keeps the text of the whole tree in memory.
    //
    // Access to the elements of an array of more than 64 million, or to the members of an object of
    // more than 33 million, raises std::bad_alloc; the tree can still be written.
    static Handle<JsonValue> from(istr text);

private:
    explicit JsonParser(istr text) noexcept : rest_(text) {}

    Handle<JsonValue> parse();

    istr rest_;
};

}  // namespace qor::json

#endif  // QOR_JSON_QOR_JSON_PARSER_H
