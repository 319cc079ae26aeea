#include "platform/processor.h"

#include <cstdlib>
#include <string_view>

namespace qor::platform {

bool vectorsAllowed() noexcept {
    const char* const portable = std::getenv("QOR_PORTABLE");
    return portable == nullptr || std::string_view(portable) != "on";
}

}  // namespace qor::platform
