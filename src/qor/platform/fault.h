#ifndef QOR_SRC_PLATFORM_FAULT_H
#define QOR_SRC_PLATFORM_FAULT_H

#include <string>

namespace qor::platform {

// The system's text for an error number, or empty if the system does not know the number.
std::string errorText(int error);

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FAULT_H
