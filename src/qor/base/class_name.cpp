#include "qor/base/class_name.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>
#include <utility>

#include "platform/thread.h"

namespace qor {

namespace {

// Both are never destroyed. A thread that holds the lock neither allocates nor takes another lock,
// but threads take it while they hold others: a fork takes it last, as its handlers are registered
// before those of the others.
constinit std::mutex lock;
std::set<std::string>& names() {
    static std::set<std::string>& all = *new std::set<std::string>;
    return all;
}

[[gnu::constructor(101)]] void watchForks() {
    names();
    platform::callAtFork([] { lock.lock(); }, [] { lock.unlock(); }, [] { lock.unlock(); });
}

}  // namespace

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
    std::set<std::string> made{std::string(scope) + '<' + className(type) + ">::" + member};
    std::set<std::string>::insert_return_type added;
    const std::lock_guard guard(lock);
    added = names().insert(made.extract(made.begin()));
    return added.position->c_str();
}

}  // namespace qor
