#ifndef QOR_SRC_PML_ESCAPE_H
#define QOR_SRC_PML_ESCAPE_H

#include <string>

namespace qor::pml {

// Whether escapeString changes the text.
bool needsQuotes(const std::string& text) noexcept;
bool needsQuotes(const std::wstring& text) noexcept;

}  // namespace qor::pml

#endif  // QOR_SRC_PML_ESCAPE_H
