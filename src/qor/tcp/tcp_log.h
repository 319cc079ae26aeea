#ifndef QOR_SRC_TCP_TCP_LOG_H
#define QOR_SRC_TCP_TCP_LOG_H

#include <sstream>

#include "platform/fault.h"
#include "qor/base/exception.h"
#include "qor/log/log_factory.h"

// The lines of the network, on the logger "qor". They raise nothing: a line that cannot be made is
// left out. Texts are written by functions that take a stream, and only when they are wanted.

namespace qor::tcp {

// Found once: a line must not wait for the lock of all loggers.
inline logger& log() {
    static logger& found = logger_factory::instance("qor");
    return found;
}

inline bool tagOn(const char* tag) noexcept {
    try {
        return log().debugOn() && log().appLog(tag);
    } catch (...) {
        return false;
    }
}

template <class Write>
void writeLine(const Current& at, const char* tag, Write write) noexcept {
    try {
        std::ostringstream text;
        write(text);
        writeInfoLog(log(), at.file(), at.line(), at.func(), istr(text.str()), tag);
    } catch (...) {
    }
}

template <class Write>
void logInfo(const Current& at, const char* tag, Write write) noexcept {
    if (log().infoOn()) writeLine(at, tag, write);
}
// With the place in front, for the ends of connections.
template <class Write>
void logInfoAt(const Current& at, Write write) noexcept {
    logInfo(at, "TCP.INFO", [&](std::ostream& os) {
        os << at << " ";
        write(os);
    });
}
// Tags that are off unless they are switched on.
template <class Write>
void logTagged(const Current& at, const char* tag, Write write) noexcept {
    if (tagOn(tag)) writeLine(at, tag, write);
}

template <class Write>
void logFailure(const Current& at, Write write) noexcept {
    logInfo(at, "<TCP.ERROR>", write);
}
// With the system's text for the error in front.
template <class Write>
void logError(const Current& at, int error, Write write) noexcept {
    logFailure(at, [&](std::ostream& os) {
        os << '"' << platform::errorText(error) << "\" ";
        write(os);
    });
}

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_LOG_H
