#include "qor/pml/pml_type.h"

namespace qor::pml {

pmlType::~pmlType() = default;

bool pmlString::fromNTV(const ntv::Unit& unit, ShowMode mode, ShowPattern pattern) {
    ntvToPml(unit, data_, mode, pattern);
    return true;
}

bool pmlString::toNTV(ntv::Unit& unit) const {
    return ntvFromPml(unit, istr(data_));
}

bool pmlFile::fromNTV(const ntv::Unit& unit, ShowMode mode, ShowPattern pattern) {
    return ntvToPml(unit, file_, mode, pattern);
}

bool pmlFile::toNTV(ntv::Unit& unit) const {
    return valueString_ ? ntvFromValueString(unit, file_) : ntvFromPml(unit, file_);
}

}  // namespace qor::pml
