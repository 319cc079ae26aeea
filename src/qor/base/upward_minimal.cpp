#include "qor/base/mlcheck.h"

// Stands in for an owner that does not exist yet: there is no leak table.

namespace qor {

void blockAllocated(void*, const char*, unsigned, const char*) {}
void blockReleased(void*, const char*, unsigned, const char*) noexcept {}

}  // namespace qor
