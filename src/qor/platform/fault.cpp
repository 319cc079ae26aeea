#include "platform/fault.h"

#include <cstring>

namespace qor::platform {

std::string errorText(int error) {
    // The C library makes up a text for any number; only its table knows which ones exist.
    if (strerrordesc_np(error) == nullptr) return {};
    char text[256];
    return strerror_r(error, text, sizeof text);
}

}  // namespace qor::platform
