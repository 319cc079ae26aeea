#ifndef QOR_SRC_BASE_SIZE_DIFFERENCE_H
#define QOR_SRC_BASE_SIZE_DIFFERENCE_H

#include <algorithm>
#include <limits>

namespace qor {

// left - right for two 32-bit sizes, as the result of a comparison: limited to the range of int.
inline int sizeDifference(unsigned long left, unsigned long right) noexcept {
    const long difference = static_cast<long>(left) - static_cast<long>(right);
    return static_cast<int>(std::clamp<long>(difference, std::numeric_limits<int>::min(),
                                             std::numeric_limits<int>::max()));
}

}  // namespace qor

#endif  // QOR_SRC_BASE_SIZE_DIFFERENCE_H
