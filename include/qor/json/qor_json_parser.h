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

// Reads in one pass over the text, of which a copy is kept. Any depth of nesting takes the same
// stack, and time and memory grow with the text and with nothing else. Positions in the text are
// found by vector code where the processor has it; with the environment variable QOR_PORTABLE=on
// the portable code runs everywhere.
class QOR_API JsonParser {
public:
    // Returns the object or array at the start of the text; the rest is ignored. Raises
    // DecodeException, and std::bad_alloc for a text of 4 GiB less 1 MiB and more.
    //
    // The values of the tree are created at their first use. The text stays in memory until all
    // containers of the tree are destroyed, and all values of which a view was taken by `unit >>
    // view`: a single such value keeps the text of the whole tree.
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
