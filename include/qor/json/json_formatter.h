#ifndef QOR_JSON_JSON_FORMATTER_H
#define QOR_JSON_JSON_FORMATTER_H

#include <cstddef>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor::json {

class FlatTree;
class JsonValue;
class JsonView;

// Writes a value, with the keys of an object in ascending order. In one line there is a blank after
// each opening bracket and comma, and before each closing bracket.
class QOR_API JsonFormatter {
public:
    // The value may be null, and outlives the formatter. `level` is the one of the opening bracket,
    // in steps of four blanks; it counts in the pretty form alone. `skipNull` leaves out the keys
    // of objects that hold null; an array keeps its nulls.
    JsonFormatter(const JsonValue* value, bool pretty, bool skipNull, int level) noexcept
        : value_(value), pretty_(pretty), skipNull_(skipNull), level_(level) {}

    // Appends the value. Keys are written unchanged in quotes: a key with a quote or a backslash in
    // it does not read back.
    void format(String& out) const;
    String toString() const;

private:
    friend JsonView;
    class Output;
    class Run;
    // Of a value in a tree that was read.
    String toString(FlatTree& tree, ulong32 node) const;
    template <class Write>
    void format(String& out, std::size_t expectedSize, Write write) const;
    static void indent(Output& out, bool pretty, long long level);

    const JsonValue* value_;
    bool pretty_;
    bool skipNull_;
    int level_;
};

}  // namespace qor::json

#endif  // QOR_JSON_JSON_FORMATTER_H
