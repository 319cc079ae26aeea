#ifndef QOR_JSON_JSON_FORMATTER_H
#define QOR_JSON_JSON_FORMATTER_H

#include <cstddef>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor::json {

class FlatTree;
class JsonValue;
class JsonView;

// Writes a value as text, with the keys of an object in ascending order. The form of one line has a
// blank after each opening bracket and comma, and before each closing bracket.
class QOR_API JsonFormatter {
public:
    // The value may be null, and must outlive the formatter. `pretty` is the form of many lines;
    // only there, `level` is the indent of the opening bracket, in steps of four blanks. With
    // `skipNull`, keys whose value is null are not written; nulls in arrays are.
    JsonFormatter(const JsonValue* value, bool pretty, bool skipNull, int level) noexcept
        : value_(value), pretty_(pretty), skipNull_(skipNull), level_(level) {}

    // Appends the value. Keys are written unchanged in quotes: a key with a quote or a backslash
    // cannot be read back.
    void format(String& out) const;
    String toString() const;

private:
    friend JsonView;
    class Output;
    class Run;
    // For a value of a parsed tree.
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
