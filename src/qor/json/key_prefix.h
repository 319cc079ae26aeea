#ifndef QOR_SRC_JSON_KEY_PREFIX_H
#define QOR_SRC_JSON_KEY_PREFIX_H

#include <algorithm>
#include <cstdint>

#include "qor/base/base_type_string.h"

namespace qor::json {

// The first 8 bytes of a key as a number. If the numbers of two keys differ, the keys are in the
// order of the numbers.
inline std::uint64_t keyPrefix(istr key) noexcept {
    std::uint64_t prefix = 0;
    const auto n = std::min<unsigned long>(key.size(), sizeof prefix);
    for (unsigned long i = 0; i < sizeof prefix; ++i)
        prefix = prefix << 8 | (i < n ? static_cast<unsigned char>(key[i]) : 0U);
    return prefix;
}

}  // namespace qor::json

#endif  // QOR_SRC_JSON_KEY_PREFIX_H
