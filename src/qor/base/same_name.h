#ifndef QOR_SRC_BASE_SAME_NAME_H
#define QOR_SRC_BASE_SAME_NAME_H

#include "qor/base/base_type_string.h"

namespace qor {

// Whether a node has the wanted name. The names of siblings often differ only in the last
// character, so that is compared first.
inline bool isSameName(const String& name, istr wanted) noexcept {
    if (name.size() != wanted.size()) return false;
    return name.empty() || (name.back() == wanted[wanted.size() - 1] && istr(name) == wanted);
}

}  // namespace qor

#endif  // QOR_SRC_BASE_SAME_NAME_H
