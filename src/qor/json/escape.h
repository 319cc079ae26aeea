#ifndef QOR_SRC_JSON_ESCAPE_H
#define QOR_SRC_JSON_ESCAPE_H

#include <cstring>

#include "qor/base/base_type_string.h"

namespace qor::json {

// Escaping and unescaping of texts. `out` must not be a part of the text.

void appendEscaped(String& out, istr text);
// The same without quotes, from [at, end) to memory with room for twice the size. Returns the end
// of the output.
char* appendEscaped(const char* at, const char* end, char* to) noexcept;
// Copies escaped text, without its quotes, to memory with room for twice the size and a word. The
// output is that of appendEscaped for the unescaped text. Returns its end; null for text with \u or
// with a backslash before a letter that is not an escape, which must be unescaped first. A word
// must be readable after the text.
char* copyEscaped(const char* at, const char* end, char* to) noexcept;
// The text is without its quotes.
void appendUnescaped(String& out, istr text);

// Whether the text has a backslash.
inline bool isEscaped(istr text) noexcept {
    return !text.empty() && std::memchr(text.data(), '\\', text.size()) != nullptr;
}
// The text without the quotes around it. A text that is a single quote is unchanged.
inline istr withoutQuotes(istr text) noexcept {
    if (text.size() < 2 || text[0] != '"' || text[text.size() - 1] != '"') return text;
    return text.substr(1, text.size() - 2);
}

}  // namespace qor::json

#endif  // QOR_SRC_JSON_ESCAPE_H
