#ifndef QOR_PML_PML_PARSER_H
#define QOR_PML_PML_PARSER_H

#include <iosfwd>
#include <memory>
#include <utility>

#include "qor/base/exception.h"
#include "qor/pml/ntv_unit.h"
#include "qor/pml/pml_file.h"

// Reading pml. docs/formats.md describes the format.

namespace qor::pml {

QOR_DECLARE_EXCEPTION(DecodeException, "qor::pml::DecodeException");

// Parse one document into `unit`, which is cleared first. Input after the first unit is not read: a
// stream or a pointer is then positioned after the document. Text ends at its first zero; a stream
// or file does not. Narrow text is in the configured code page, and wide text is converted to it. A
// null pointer is empty text.
//
// Return false if memory runs out, and for a file that cannot be opened. Raise DecodeException for
// malformed text, and ntv::DuplicatedUnitException for a repeated name among siblings. After a
// failure, `unit` has the units that were already complete.
//
// The stack use does not depend on the depth of nesting.
QOR_API bool ntvFromPml(ntv::Unit& unit, std::istream& source);
QOR_API bool ntvFromPml(ntv::Unit& unit, std::wistream& source);
QOR_API bool ntvFromPml(ntv::Unit& unit, const char*& source);
QOR_API bool ntvFromPml(ntv::Unit& unit, const wchar_t*& source);
QOR_API bool ntvFromPml(ntv::Unit& unit, istr source);
QOR_API bool ntvFromPml(ntv::Unit& unit, iwstr source);
QOR_API bool ntvFromPml(ntv::Unit& unit, const File& source);

// The same for the content of a unit, without its name, type and parentheses: "abc" is a value, and
// "a(1)b(2)" are two children. A ")" ends the content.
QOR_API bool ntvFromValueString(ntv::Unit& unit, std::istream& source);
QOR_API bool ntvFromValueString(ntv::Unit& unit, std::wistream& source);
QOR_API bool ntvFromValueString(ntv::Unit& unit, const char*& source);
QOR_API bool ntvFromValueString(ntv::Unit& unit, const wchar_t*& source);
QOR_API bool ntvFromValueString(ntv::Unit& unit, istr source);
QOR_API bool ntvFromValueString(ntv::Unit& unit, iwstr source);
QOR_API bool ntvFromValueString(ntv::Unit& unit, const File& source);

// A new unit, which the caller owns; null if ntvFromPml returns false.
template <class Source>
ntv::Unit* newNTV(Source&& source) {
    std::unique_ptr<ntv::Unit> unit(new (__FILE__, __LINE__, "qor::pml::__NewNTV") ntv::Unit);
    return ntvFromPml(*unit, std::forward<Source>(source)) ? unit.release() : nullptr;
}

// A new value, which the caller owns; null if ntvFromValueString returns false.
template <class Source>
ntv::ValueBase* newNtvValue(Source&& source) {
    ntv::Unit unit;
    return ntvFromValueString(unit, std::forward<Source>(source)) ? unit.popValue() : nullptr;
}

}  // namespace qor::pml

#endif  // QOR_PML_PML_PARSER_H
