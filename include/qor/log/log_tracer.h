#ifndef QOR_LOG_LOG_TRACER_H
#define QOR_LOG_LOG_TRACER_H

#include <iosfwd>
#include <stack>
#include <string>

#include "qor/api.h"
#include "qor/base/exception.h"
#include "qor/log/log_factory.h"
#include "qor/util/singleton_T.h"

namespace qor {

// The calls that a TraceEntry logs; flags that can be joined by |.
enum class LogType : unsigned { None = 0, Enter = 1, Leave = 2, Both = 3 };
constexpr LogType operator|(LogType left, LogType right) noexcept {
    return static_cast<LogType>(static_cast<unsigned>(left) | static_cast<unsigned>(right));
}
constexpr bool operator&(LogType left, LogType right) noexcept {
    return (static_cast<unsigned>(left) & static_cast<unsigned>(right)) != 0;
}

class tracer;
extern template class QOR_API CreateByAllocate<tracer>;

// The stacks of traced calls, one for each thread, for failure blocks and exceptions. All
// operations use the calling thread's own stack, which is created at its first use and destroyed
// when the thread ends. Any thread may use the tracer; threads wait for each other only during a
// dump of all stacks. To trace a function, use QOR_TRACE below.
class QOR_API tracer : noncopyable {
public:
    static tracer* instance() { return CreateByAllocate<tracer>::instance(); }
    // Deletes all stacks. A thread that is inside traced calls continues with an empty stack.
    static void destroy() noexcept;

    // The texts are literals, kept by pointer.
    void push(const char* file, unsigned line, const char* func);
    // Does nothing if the stack is empty.
    void pop() noexcept;
    CallStack& callStack();
    const CallStack& callStack() const;
    CallStack::Container& container() { return callStack().container(); }
    const CallStack::Container& container() const { return callStack().container(); }
    // The text that operator<< writes before each frame except the first.
    const char* separator() const { return callStack().separator(); }
    const CallStack& separator(const char* text) const;
    // Removes the calling thread's stack.
    void destroy_current_stack() noexcept;

    void dump(std::ostream& os) const;
    dumper& dump(dumper& d) const;

private:
    friend CreateByAllocate<tracer>;
    tracer();
    ~tracer() = default;
};

// `d << TRACER()` writes the stacks of all threads.
struct TRACER {};
QOR_API dumper& operator<<(dumper& d, TRACER);

// Writes the calling thread's stack, innermost call first.
QOR_API void printTraceStack(std::ostream& os);

// Traces a function: it is on the thread's stack while the entry exists. If the logger's traceOn()
// is on, the begin and the end are logged, after the time and the thread, indented by the depth of
// the stack:
//
//     [QOR] TRACE  ........ Pump::open( "a" ).................................
//     [QOR] TRACE~ ________ Pump::open( "a" )_________________________________
//
// Destroy entries in the reverse order of their construction, on the same thread. They never raise;
// if memory runs out, the function is not traced.
class QOR_API TraceEntry {
public:
    // `file` and `func` must be literals; `info` is copied and may be null.
    [[nodiscard]] TraceEntry(logger& log, const char* file, unsigned line, const char* func,
                             LogType logType = LogType::Both, const char* info = nullptr) noexcept;
    // Pushes the same function once more, and logs only its end.
    TraceEntry(const TraceEntry& other) noexcept;
    TraceEntry& operator=(const TraceEntry&) = delete;
    ~TraceEntry();

    LogType logType() const noexcept { return logType_; }
    void addType(LogType flag) noexcept { logType_ = logType_ | flag; }
    const std::string& info() const noexcept { return info_; }

    // Appends four fill characters for each level of the depth.
    static void indentString(std::string& text, unsigned long depth, char fill);

private:
    void setInfo(const char* info) noexcept;
    void enter(const Current& frame) noexcept;
    void writeLog(bool entering, const char* func, char fill, unsigned long depth) const noexcept;

    logger& logger_;
    LogType logType_;
    std::string info_;
    bool pushed_ = false;  // false if memory ran out
};

}  // namespace qor

// Traces the rest of the scope. The function is a literal with its class: QOR_TRACE(log,
// "Pump::open") or QOR_TRACE(log, "Pump::open", qor::LogType::Enter, "fast").
#define QOR_TRACE_NAME_(line) qorTraceEntry##line
#define QOR_TRACE_NAME(line) QOR_TRACE_NAME_(line)
#define QOR_TRACE(log, ...) \
    const ::qor::TraceEntry QOR_TRACE_NAME(__LINE__)(log, __FILE__, __LINE__, __VA_ARGS__)

#endif  // QOR_LOG_LOG_TRACER_H
