#ifndef QOR_PML_PML_WRITER_H
#define QOR_PML_PML_WRITER_H

#include <iosfwd>
#include <string>
#include <utility>

#include "qor/pml/ntv_unit.h"
#include "qor/pml/pml_file.h"
#include "qor/pml/pml_parser.h"
#include "qor/pml/pml_show.h"

// Writing pml. docs/formats.md shows a tree in every layout.

namespace qor::pml {

// Write the tree in a layout. Text is appended to a String. A file is emptied only after the whole
// text was created in memory, so that it keeps its content if that fails. Return false for an
// unknown mode, for a file that cannot be opened, and if writing to a stream or file fails. If
// std::bad_alloc is raised, a String is unchanged. It must not be a part of the tree.
QOR_API bool ntvToPml(const ntv::Unit& unit, std::ostream& target, ShowMode mode,
                      ShowPattern pattern);
QOR_API bool ntvToPml(const ntv::Unit& unit, String& target, ShowMode mode, ShowPattern pattern);
QOR_API bool ntvToPml(const ntv::Unit& unit, const File& target, ShowMode mode,
                      ShowPattern pattern);

template <class Target>
bool ntvToCompactPml(const ntv::Unit& unit, Target&& target, ShowPattern pattern) {
    return ntvToPml(unit, std::forward<Target>(target), ShowMode::COMPACT, pattern);
}
template <class Target>
bool ntvToSimplePml(const ntv::Unit& unit, Target&& target, ShowPattern pattern) {
    return ntvToPml(unit, std::forward<Target>(target), ShowMode::SIMPLE, pattern);
}
template <class Target>
bool ntvToMixedPml(const ntv::Unit& unit, Target&& target, ShowPattern pattern) {
    return ntvToPml(unit, std::forward<Target>(target), ShowMode::MIXED, pattern);
}
template <class Target>
bool ntvToFormattedPml(const ntv::Unit& unit, Target&& target, ShowPattern pattern) {
    return ntvToPml(unit, std::forward<Target>(target), ShowMode::FORMATTED, pattern);
}

// Reads from any source of ntvFromPml and writes to any target of ntvToPml. Returns false if one of
// them does.
template <class Source, class Target>
bool format(Source&& source, Target&& target, ShowMode mode, ShowPattern pattern) {
    ntv::Unit unit;
    return ntvFromPml(unit, std::forward<Source>(source)) &&
           ntvToPml(unit, std::forward<Target>(target), mode, pattern);
}

// True for the reserved characters of pml: ( ) : * ^ ' and the double quote.
QOR_API bool isSpeacialChar(char c) noexcept;
QOR_API bool isSpeacialChar(wchar_t c) noexcept;
// If the text has reserved characters, characters that are not ASCII, or white space at an end,
// puts it into double quotes, with a "^" before each "^" and double quote. Returns its argument.
QOR_API String& escapeString(String& text);
QOR_API std::wstring& escapeString(std::wstring& text);
// Removes the quotes around a text that begins with one; escapes are unchanged. Returns its
// argument.
QOR_API String& unescapeString(String& text);
QOR_API std::wstring& unescapeString(std::wstring& text);

}  // namespace qor::pml

#endif  // QOR_PML_PML_WRITER_H
