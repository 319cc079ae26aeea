#include "qor/mt/handle.h"

#include "qor/base/exception.h"

namespace qor {

// Raised directly and not by the throw sequence: a null Handle writes no line to the log, and the
// exception carries no message.
void nullHandle(const char* func) {
    throw NullHandleException(__FILE__, __LINE__, func);
}

}  // namespace qor
