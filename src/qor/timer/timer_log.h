#ifndef QOR_SRC_TIMER_TIMER_LOG_H
#define QOR_SRC_TIMER_TIMER_LOG_H

#include <cxxabi.h>

#include <exception>

#include "base/own_log.h"
#include "qor/log/log_factory.h"

namespace qor::timer_log {

// A line of a tag that is switched on.
template <class MakeText>
void debug(const char* tag, const char* func, MakeText makeText,
           const std::source_location& at = std::source_location::current()) noexcept {
    try {
        if (!upward::debugOn()) return;
        logger& log = logger_factory::instance("QOR");
        if (!log.appLog(tag)) return;
        writeDebugLog(log, at.file_name(), at.line(), func, istr(makeText()), tag);
    } catch (...) {
    }
}

// A block for an exception, unless there is no memory for it.
inline void raised(const char* func, const char* text) noexcept {
    try {
        writeExcptLog(logger_factory::instance("QOR"), __FILE__, __LINE__, func, istr(text));
    } catch (...) {
    }
}

// Runs a user's callback. What it raises is logged and ends here; a thread that is cancelled or
// ends itself goes on to do so.
template <class Result, class Call>
Result guarded(const char* func, Result otherwise, Call call) {
    try {
        return call();
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& e) {
        raised(func, e.what());
    } catch (...) {
        raised(func, "not a std::exception");
    }
    return otherwise;
}

}  // namespace qor::timer_log

#endif  // QOR_SRC_TIMER_TIMER_LOG_H
