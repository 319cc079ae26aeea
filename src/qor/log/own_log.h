#ifndef QOR_SRC_LOG_OWN_LOG_H
#define QOR_SRC_LOG_OWN_LOG_H

#include <cxxabi.h>

#include <atomic>
#include <exception>
#include <string>

#include "base/text_stream.h"
#include "platform/fault.h"
#include "qor/base/exception.h"
#include "qor/log/log_factory.h"

// The library's own log entries, for the floors above the loggers; the floors below use
// base/upward.h. makeText is called only if the entry is switched on. If making or writing an entry
// throws, the entry is dropped and the operation being logged continues.

namespace qor::own_log {

// Entries have the place of the call of these functions.
using qor::Place;

// The loggers "QOR" of the library and "qor" of the network. They are looked up once, so that an
// entry does not wait for the lock of all loggers; the references stay valid after
// logger_factory::destroy.
logger& toolkit() noexcept;
logger& network();

// debugOn() of the library's logger; false before that exists. Debug lines are off in nearly every
// process, and then cost only this test.
extern const std::atomic<bool>* debugSwitch;
inline bool debugOn() noexcept {
    return debugSwitch->load(std::memory_order_relaxed);
}

// The parts as a stream shows them, joined.
template <class... Parts>
std::string text(const Parts&... parts) {
    TextStream os;
    (os << ... << parts);
    return os.text();
}

template <class Write>
void dropOnFailure(Write write) noexcept {
    try {
        write();
    } catch (...) {
    }
}

template <class MakeText>
void info(Place at, MakeText makeText) noexcept {
    if (!toolkit().infoOn()) return;
    dropOnFailure([&] {
        writeInfoLog(toolkit(), at.file(), at.line(), at.func(), istr(makeText()), log_tag::Info);
    });
}

// Writes a debug line if the tag is switched on.
template <class MakeText>
void debug(const char* tag, Place at, MakeText makeText) noexcept {
    if (!debugOn()) return;
    dropOnFailure([&] {
        if (!toolkit().appLog(tag)) return;
        writeDebugLog(toolkit(), at.file(), at.line(), at.func(), istr(makeText()), tag);
    });
}

template <class MakeText>
void error(Place at, MakeText makeText, istr title = "ERROR") noexcept {
    dropOnFailure([&] {
        writeErrorLog(toolkit(), at.file(), at.line(), at.func(), istr(makeText()), title);
    });
}

// Calls a user's callback and returns its result. If it raises, the exception is logged to log() as
// a block with the place `at`, and the result is `otherwise`. pthread_exit and pthread_cancel in
// the callback still end the thread.
template <class Result, class Call>
Result guarded(logger& (*log)(), Place at, Result otherwise, Call call) {
    const auto raised = [&](const char* what) {
        dropOnFailure([&] { writeExcptLog(log(), at.file(), at.line(), at.func(), istr(what)); });
    };
    try {
        return call();
#ifdef __GLIBCXX__
    } catch (const abi::__forced_unwind&) {
        throw;
#endif
    } catch (const std::exception& e) {
        raised(e.what());
    } catch (...) {
#ifndef __GLIBCXX__
        // In other C++ libraries the end of a thread is an exception without a type.
        if (abi::__cxa_current_exception_type() == nullptr) throw;
#endif
        raised("an exception of another type");
    }
    return otherwise;
}

}  // namespace qor::own_log

// Info lines of the network.
namespace qor::net_log {

using own_log::Place;

template <class MakeText>
void info(Place at, MakeText makeText, const char* tag = log_tag::Info) noexcept {
    own_log::dropOnFailure([&] {
        logger& log = own_log::network();
        if (!log.infoOn()) return;
        writeInfoLog(log, at.file(), at.line(), at.func(), istr(makeText()), tag);
    });
}

// Logs the end of a connection; the text begins with the place.
template <class MakeText>
void ended(Place at, MakeText makeText) noexcept {
    info(
        at, [&] { return own_log::text(at.frame(), " ", makeText()); }, "TCP.INFO");
}

// Writes a line if the tag is switched on; by default it is off.
template <class MakeText>
void tagged(const char* tag, Place at, MakeText makeText) noexcept {
    own_log::dropOnFailure([&] {
        logger& log = own_log::network();
        if (!log.debugOn() || !log.appLog(tag)) return;
        writeInfoLog(log, at.file(), at.line(), at.func(), istr(makeText()), tag);
    });
}

template <class MakeText>
void failure(Place at, MakeText makeText) noexcept {
    info(at, makeText, "<TCP.ERROR>");
}

// Writes the system's text for the error number, then the message.
template <class MakeText>
void error(Place at, int number, MakeText makeText) noexcept {
    failure(at, [&] { return own_log::text('"', platform::errorText(number), "\" ", makeText()); });
}

}  // namespace qor::net_log

#endif  // QOR_SRC_LOG_OWN_LOG_H
