#ifndef QOR_SRC_BASE_OWN_LOG_H
#define QOR_SRC_BASE_OWN_LOG_H

#include <sstream>
#include <string>

#include "base/upward.h"

// Lines and blocks on the library's own logger, from the place of the call. Their texts are made by
// functions, and only when they are wanted. What cannot be made is left out: what it tells of goes
// on. The place comes from builtins, since clang 14 has no std::source_location.

namespace qor::own_log {

// The parts as a stream shows them.
template <class... Parts>
std::string text(const Parts&... parts) {
    std::ostringstream os;
    (os << ... << parts);
    return os.str();
}

template <class MakeText>
void info(const char* func, MakeText makeText, const char* file = __builtin_FILE(),
          unsigned line = __builtin_LINE()) noexcept {
    try {
        if (!upward::infoOn()) return;
        upward::writeInfoLog(file, line, func, istr(makeText()), "INFO");
    } catch (...) {
    }
}

template <class MakeText>
void error(const char* func, MakeText makeText, const char* file = __builtin_FILE(),
           unsigned line = __builtin_LINE()) noexcept {
    try {
        upward::writeErrorLog(file, line, func, istr(makeText()));
    } catch (...) {
    }
}

}  // namespace qor::own_log

#endif  // QOR_SRC_BASE_OWN_LOG_H
