#include "qor/base/class_name.h"

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace qor {

std::string className(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return std::string("class ") + (name != nullptr ? name.get() : type.name());
}

const char* memberName(const char* scope, const std::type_info& type, const char* member) {
    const std::string name = std::string(scope) + '<' + className(type) + ">::" + member;
    char* const kept = new char[name.size() + 1];
    std::memcpy(kept, name.c_str(), name.size() + 1);
    return kept;
}

}  // namespace qor
