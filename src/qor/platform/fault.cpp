#include "platform/fault.h"

#include <cstring>

namespace qor::platform {

std::string errorText(int error) {
    // strerror_r has a text for any number; only strerrordesc_np shows which numbers exist.
    if (strerrordesc_np(error) == nullptr) return {};
    char text[256];
    return strerror_r(error, text, sizeof text);
}

}  // namespace qor::platform
