#ifndef QOR_SRC_BASE_OWN_LOG_H
#define QOR_SRC_BASE_OWN_LOG_H

#include <source_location>
#include <sstream>
#include <string>

#include "base/upward.h"

// Lines and blocks on the library's own logger, from the place of the call. Their texts are made by
// functions, and only when they are wanted. What cannot be made is left out: what it tells of goes
// on.

namespace qor::own_log {

// The parts as a stream shows them.
template <class... Parts>
std::string text(const Parts&... parts) {
    std::ostringstream os;
    (os << ... << parts);
    return os.str();
}

template <class MakeText>
void info(const char* func, MakeText makeText,
          const std::source_location& at = std::source_location::current()) noexcept {
    try {
        if (!upward::infoOn()) return;
        upward::writeInfoLog(at.file_name(), at.line(), func, istr(makeText()), "INFO");
    } catch (...) {
    }
}

template <class MakeText>
void error(const char* func, MakeText makeText,
           const std::source_location& at = std::source_location::current()) noexcept {
    try {
        upward::writeErrorLog(at.file_name(), at.line(), func, istr(makeText()));
    } catch (...) {
    }
}

}  // namespace qor::own_log

#endif  // QOR_SRC_BASE_OWN_LOG_H
