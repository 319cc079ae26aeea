#include "qor/mt/handle.h"

#include "qor/base/exception.h"

namespace qor {

// Thrown without QOR_THROW, which would write to the log: this exception is not logged.
void nullHandle(const char* func) {
    throw NullHandleException(__FILE__, __LINE__, func);
}

}  // namespace qor
