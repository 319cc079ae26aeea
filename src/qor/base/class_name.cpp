#include "qor/base/class_name.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>
#include <utility>

namespace qor {

std::string className(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    // A built-in type is no class; its encoded name is one letter, or D and one letter.
    const std::string_view code = type.name();
    const bool builtIn = code.size() == 1 || (code.size() == 2 && code[0] == 'D');
    return std::string(builtIn ? "" : "class ") + (name != nullptr ? name.get() : type.name());
}

const char* memberName(const char* scope, const std::type_info& type, const char* member) {
    // Both are never destroyed.
    static std::mutex& mutex = *new std::mutex;
    static std::set<std::string>& names = *new std::set<std::string>;
    std::string name = std::string(scope) + '<' + className(type) + ">::" + member;
    const std::lock_guard guard(mutex);
    return names.insert(std::move(name)).first->c_str();
}

}  // namespace qor
