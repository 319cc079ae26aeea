#include "qor/base/class_name.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace qor {

std::string className(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return std::string("class ") + (name != nullptr ? name.get() : type.name());
}

}  // namespace qor
