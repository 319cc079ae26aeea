#ifndef QOR_BASE_EXCEPTION_H
#define QOR_BASE_EXCEPTION_H

#include <deque>
#include <exception>
#include <iosfwd>
#include <stack>
#include <string>
#include <type_traits>

#include "qor/api.h"
#include "qor/base/base_type_view.h"

namespace qor {

// One frame: a place in the source. The texts are literals, kept by pointer.
class QOR_API Current {
public:
    Current() noexcept = default;
    Current(const char* file, unsigned line, const char* func) noexcept
        : file_(file), line_(line), func_(func) {}

    const char* file() const noexcept { return file_; }
    unsigned line() const noexcept { return line_; }
    const char* func() const noexcept { return func_; }
    const char* prefix() const noexcept { return prefix_; }
    // Sets the text that later outputs write before the frame, null for none. It is no part of the
    // frame's value, so it can be set on a const frame. Returns the frame.
    const Current& prefix(const char* text) const noexcept {
        prefix_ = text;
        return *this;
    }

    // By the texts of file, line and function; null is less than any text.
    bool operator<(const Current& other) const noexcept;

private:
    const char* file_ = nullptr;
    unsigned line_ = 0;
    const char* func_ = nullptr;
    mutable const char* prefix_ = nullptr;
};

// "func(file:line)", the file without its directory. After a prefix, text beyond column 119 is
// written flush right on a line of its own.
QOR_API std::ostream& operator<<(std::ostream& os, const Current& frame);

// The place of a call. A parameter of this type takes the name of the calling function as a literal
// and adds the caller's file and line. The texts are kept by pointer.
//
// The file and the line come from builtins, since clang 14 has no std::source_location.
class Place {
public:
    Place(const char* func, const char* file = __builtin_FILE(),
          unsigned line = __builtin_LINE()) noexcept
        : func_(func), file_(file), line_(line) {}

    const char* func() const noexcept { return func_; }
    const char* file() const noexcept { return file_; }
    unsigned line() const noexcept { return line_; }
    Current frame() const noexcept { return Current(file_, line_, func_); }

private:
    const char* func_;
    const char* file_;
    unsigned line_;
};

// The logical call stack of a thread, as call tracing keeps it.
class QOR_API CallStack {
public:
    using Container = std::stack<Current, std::deque<Current>>;

    Container& container() noexcept { return container_; }
    const Container& container() const noexcept { return container_; }

    // The text that an output writes before each frame but the first: a literal, null for none.
    const char* separator() const noexcept { return separator_; }
    const CallStack& separator(const char* text) const noexcept {
        separator_ = text;
        return *this;
    }

private:
    Container container_;
    mutable const char* separator_ = nullptr;
};

// Innermost call first.
QOR_API std::ostream& operator<<(std::ostream& os, const CallStack& stack);

// The base of all exceptions of the library. It has the place where it was raised and the traced
// calls that led there: constructing one copies the calling thread's call stack. An object belongs
// to the thread that caught it. Raise with QOR_THROW, which logs the throw first.
class QOR_API Exception : public std::exception {
public:
    // A null or empty name reads "qor::Exception"; a null message is empty.
    Exception(const char* file, unsigned line, const char* func, const char* name, const char* msg);
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    ~Exception() override;

    // The text of dump(), made at the first call and kept. Never raises.
    const char* what() const noexcept override;
    // Name, message, origin and call stack as one block.
    virtual void dump(std::ostream& os) const;

    const char* name() const noexcept { return name_.c_str(); }
    const char* msg() const noexcept { return msg_.c_str(); }
    const Current& info() const noexcept { return info_; }
    const char* file() const noexcept { return info_.file(); }
    unsigned line() const noexcept { return info_.line(); }
    const char* func() const noexcept { return info_.func(); }
    const CallStack& stack() const noexcept { return stack_; }

private:
    std::string name_;
    Current info_;
    CallStack stack_;
    std::string msg_;
    mutable std::string what_;
};

// Declares an exception class with a message, and one without.
#define QOR_DECLARE_EXCEPTION(Class, printableName)                               \
    class QOR_API Class : public ::qor::Exception {                               \
    public:                                                                       \
        Class(const char* file, unsigned line, const char* func, const char* msg) \
            : Exception(file, line, func, printableName, msg) {}                  \
    }
#define QOR_DECLARE_PLAIN_EXCEPTION(Class, printableName)        \
    class QOR_API Class : public ::qor::Exception {              \
    public:                                                      \
        Class(const char* file, unsigned line, const char* func) \
            : Exception(file, line, func, printableName, "") {}  \
    }

QOR_DECLARE_EXCEPTION(OutOfRangeException, "qor::OutOfRangeException");
QOR_DECLARE_EXCEPTION(EmptyDataException, "qor::EmptyDataException");
QOR_DECLARE_EXCEPTION(InvalidDataException, "qor::InvalidDataException");
QOR_DECLARE_EXCEPTION(UnsupportedFunctionException, "qor::UnsupportedFunctionException");
QOR_DECLARE_EXCEPTION(ToBeDoneException, "qor::ToBeDoneException");
QOR_DECLARE_EXCEPTION(NullPointerException, "qor::NullPointerException");
QOR_DECLARE_EXCEPTION(DuplicatedUnitException, "qor::DuplicatedUnitException");

QOR_DECLARE_PLAIN_EXCEPTION(QuitHandlerException, "qor::QuitHandlerException");
QOR_DECLARE_PLAIN_EXCEPTION(ThreadLockedException, "qor::ThreadLockedException");
QOR_DECLARE_PLAIN_EXCEPTION(ThreadStartedException, "qor::ThreadStartedException");
QOR_DECLARE_PLAIN_EXCEPTION(ThreadNotStartedException, "qor::ThreadNotStartedException");
QOR_DECLARE_PLAIN_EXCEPTION(DeadlockException, "qor::DeadlockException");

// While true, making a NullHandleException ends the process: a way to stop at the very place of a
// null dereference. False at start; set it before threads run.
extern QOR_API bool nullHandleAbort;

class QOR_API NullHandleException : public Exception {
public:
    NullHandleException(const char* file, unsigned line, const char* func);
};

// A call of the thread system failed; error() is the platform's number.
class QOR_API ThreadSyscallException : public Exception {
public:
    ThreadSyscallException(const char* file, unsigned line, const char* func, int error);
    // Exception's block, then the platform's text for an error that is not 0.
    void dump(std::ostream& os) const override;
    int error() const noexcept { return error_; }

private:
    int error_;
};

// A fault of the machine, as an exception where the platform can make one of it.
class QOR_API SE_Exception : public std::exception {
public:
    // The fault code, and the frame and instruction addresses. Code 0 has an empty text.
    SE_Exception(unsigned seNumber, unsigned long ebp, unsigned long eip);
    ~SE_Exception() override;

    const char* what() const noexcept override { return text_.c_str(); }
    unsigned getSeNumber() const noexcept { return seNumber_; }
    unsigned long getEbp() const noexcept { return ebp_; }
    unsigned long getEip() const noexcept { return eip_; }

    // Installs the translation of faults for the calling thread. Faults cannot be raised portably
    // as exceptions: on POSIX this does nothing.
    static void set_se_translator();

private:
    unsigned seNumber_;
    unsigned long ebp_;
    unsigned long eip_;
    std::string text_;
};

// The place of a process quit callback. On this platform it stores nothing: getCallback is null.
class QOR_API QuitHandler {
public:
    using Callback = void (*)(int);

    explicit QuitHandler(Callback) noexcept {}
    void setCallback(Callback) noexcept {}
    static Callback getCallback() noexcept;
};

// The text of a throw: the type's literal, ": ", and the message or the literal once more.
// Reports the throw on the library's own logger.
QOR_API std::string reportThrow(const char* file, unsigned line, const char* func,
                                const char* literal, istr message);

// The throw sequence: report, then throw. `extra` is the message, for exceptions with one and for
// those that take none; or the value that an exception takes in place of a message.
template <class E, class Extra = istr>
[[noreturn]] void raise(const char* file, unsigned line, const char* literal, const char* func,
                        const Extra& extra = Extra()) {
    if constexpr (!std::is_convertible_v<const Extra&, istr>) {
        reportThrow(file, line, func, literal, istr());
        throw E(file, line, func, extra);
    } else {
        const std::string text = reportThrow(file, line, func, literal, extra);
        if constexpr (std::is_constructible_v<E, const char*, unsigned, const char*, const char*>) {
            throw E(file, line, func, text.c_str());
        } else {
            throw E(file, line, func);
        }
    }
}

}  // namespace qor

// The one way to raise: QOR_THROW(Type, "class::member", message). The function is a literal
// written out at the site; the message may be left out. The type is printed as the site wrote it.
#define QOR_THROW(Type, ...) ::qor::raise<Type>(__FILE__, __LINE__, #Type, __VA_ARGS__)

#endif  // QOR_BASE_EXCEPTION_H
