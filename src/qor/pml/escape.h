#ifndef QOR_SRC_PML_ESCAPE_H
#define QOR_SRC_PML_ESCAPE_H

#include <string>

#include "qor/base/base_type_char.h"

namespace qor::pml {

// Whether escapeString changes the text.
bool needsQuotes(const std::string& text) noexcept;
bool needsQuotes(const std::wstring& text) noexcept;

// As unescapeString, for both types of text.
template <class Text>
void removeQuotes(Text& text) {
    if (!text.empty() && (text.front() == '\'' || text.front() == '"')) {
        trimLeftRight(text, text.front());
    }
}

}  // namespace qor::pml

#endif  // QOR_SRC_PML_ESCAPE_H
