#ifndef QOR_SRC_PLATFORM_FAULT_H
#define QOR_SRC_PLATFORM_FAULT_H

#include <string>

namespace qor::platform {

// The system's text for an error number, empty when it has none.
std::string errorText(int error);

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FAULT_H
