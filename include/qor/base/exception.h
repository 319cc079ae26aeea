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

// A frame of a call stack: a place in the source. The texts are kept by pointer, so they should be
// literals.
class QOR_API Current {
public:
    Current() noexcept = default;
    Current(const char* file, unsigned line, const char* func) noexcept
        : file_(file), line_(line), func_(func) {}

    const char* file() const noexcept { return file_; }
    unsigned line() const noexcept { return line_; }
    const char* func() const noexcept { return func_; }
    const char* prefix() const noexcept { return prefix_; }
    // Sets the text that operator<< writes before the frame, null for none. It is not part of the
    // frame's value, so it can be set on a const frame. Returns the frame.
    const Current& prefix(const char* text) const noexcept {
        prefix_ = text;
        return *this;
    }

    // Orders by file, then line, then function, by their texts; null is less than any text.
    bool operator<(const Current& other) const noexcept;

private:
    const char* file_ = nullptr;
    unsigned line_ = 0;
    const char* func_ = nullptr;
    mutable const char* prefix_ = nullptr;
};

// Writes "func(file:line)", the file without its directory. If there is a prefix, at most 119
// characters are written in its line; the rest follows on the next line, aligned to the right.
QOR_API std::ostream& operator<<(std::ostream& os, const Current& frame);

// The place of a call. A caller passes the name of its function, a literal, to a parameter of this
// type; the caller's file and line are added. The texts are kept by pointer.
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

    // The text that operator<< writes before each frame except the first: a literal, null for none.
    const char* separator() const noexcept { return separator_; }
    const CallStack& separator(const char* text) const noexcept {
        separator_ = text;
        return *this;
    }

private:
    Container container_;
    mutable const char* separator_ = nullptr;
};

// Writes the frames, the innermost call first.
QOR_API std::ostream& operator<<(std::ostream& os, const CallStack& stack);

// The base of all exceptions of the library. It has the place where it was raised and a copy of the
// calling thread's call stack (see tracer). Raise it by QOR_THROW, which logs the throw first. Only
// one thread at a time may use an object.
class QOR_API Exception : public std::exception {
public:
    // A null or empty name becomes "qor::Exception"; a null message becomes empty.
    Exception(const char* file, unsigned line, const char* func, const char* name, const char* msg);
    Exception(const Exception&) = default;
    Exception& operator=(const Exception& other);
    ~Exception() override;

    // The text of dump(), made at the first call and kept. Never raises.
    const char* what() const noexcept override;
    // Writes the name, the message, the place and the call stack, in several lines.
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

// If true, the constructor of NullHandleException calls std::abort, so that a debugger stops where
// a null handle was dereferenced. False by default. Set it before other threads run.
extern QOR_API bool nullHandleAbort;

class QOR_API NullHandleException : public Exception {
public:
    NullHandleException(const char* file, unsigned line, const char* func);
};

// A call of the thread system failed; error() is the errno value.
class QOR_API ThreadSyscallException : public Exception {
public:
    ThreadSyscallException(const char* file, unsigned line, const char* func, int error);
    // As Exception::dump, then the system's text for the error if that is not 0.
    void dump(std::ostream& os) const override;
    int error() const noexcept { return error_; }

private:
    int error_;
};

// A fault of the processor, on platforms that can raise it as an exception.
class QOR_API SE_Exception : public std::exception {
public:
    // The fault code, and the addresses of the frame and the instruction. For code 0, what() is
    // empty.
    SE_Exception(unsigned seNumber, unsigned long ebp, unsigned long eip);
    SE_Exception(const SE_Exception&) = default;
    SE_Exception& operator=(const SE_Exception& other);
    ~SE_Exception() override;

    const char* what() const noexcept override { return text_.c_str(); }
    unsigned getSeNumber() const noexcept { return seNumber_; }
    unsigned long getEbp() const noexcept { return ebp_; }
    unsigned long getEip() const noexcept { return eip_; }

    // Installs the translation of faults into exceptions for the calling thread. On POSIX it does
    // nothing, since faults cannot be raised portably.
    static void set_se_translator();

private:
    unsigned seNumber_;
    unsigned long ebp_;
    unsigned long eip_;
    std::string text_;
};

// Holds a callback for the end of the process. On POSIX it stores nothing, and getCallback returns
// null.
class QOR_API QuitHandler {
public:
    using Callback = void (*)(int);

    explicit QuitHandler(Callback) noexcept {}
    void setCallback(Callback) noexcept {}
    static Callback getCallback() noexcept;
};

// Reports a throw to the library's own logger and returns its text: `literal` (the name of the
// type), ": ", and the message. An empty message becomes `literal`.
QOR_API std::string reportThrow(const char* file, unsigned line, const char* func,
                                const char* literal, istr message);

// Reports, then throws; used by QOR_THROW. `extra` is the message, which is only reported if E has
// none; or it is the value that E takes in place of a message, such as an error number.
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

// Raises an exception: QOR_THROW(Type, "class::member", message). The second argument is a literal;
// the message may be left out. The report has the type's name as written here.
#define QOR_THROW(Type, ...) ::qor::raise<Type>(__FILE__, __LINE__, #Type, __VA_ARGS__)

#endif  // QOR_BASE_EXCEPTION_H
