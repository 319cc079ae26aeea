#ifndef QOR_SRC_JSON_ESCAPE_H
#define QOR_SRC_JSON_ESCAPE_H

#include <cstring>

#include "qor/base/base_type_string.h"

namespace qor::json {

// The escapes of texts, both ways. `out` is no part of the text.

void appendEscaped(String& out, istr text);
// The same without quotes, from [at, end) to memory with room for twice the size. Returns the end
// of the output.
char* appendEscaped(const char* at, const char* end, char* to) noexcept;
// Copies escaped text, without its quotes, to memory with room for twice the size and a word. The
// output is that of appendEscaped for the unescaped text. Returns its end, or null for text with \u
// or with a backslash before a letter that is no escape, which takes the general way. A word can be
// read after the text.
char* copyEscaped(const char* at, const char* end, char* to) noexcept;
// Of text without its quotes.
void appendUnescaped(String& out, istr text);

// Whether there is a backslash in it.
inline bool isEscaped(istr text) noexcept {
    return !text.empty() && std::memchr(text.data(), '\\', text.size()) != nullptr;
}
// Without the quotes around it; one quote alone is none around anything.
inline istr withoutQuotes(istr text) noexcept {
    if (text.size() < 2 || text[0] != '"' || text[text.size() - 1] != '"') return text;
    return text.substr(1, text.size() - 2);
}

}  // namespace qor::json

#endif  // QOR_SRC_JSON_ESCAPE_H
