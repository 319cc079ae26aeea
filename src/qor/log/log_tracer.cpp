#include "qor/log/log_tracer.h"

#include <atomic>
#include <map>
#include <memory>
#include <ostream>

#include "base/upward.h"
#include "platform/thread.h"
#include "qor/log/log_dumper.h"
#include "qor/mt/containers.h"
#include "qor/mt/thread.h"

namespace qor {

template class CreateByAllocate<tracer>;

namespace {

// A thread's stack. The lock keeps it from being changed while another thread shows it; its own
// thread changes it under the lock, and reads it without.
struct ThreadStack {
    Mutex mutex;
    CallStack calls;
};

// A stack in the map. Both the map and the thread own it, so that neither has to outlive the other.
struct StackRef {
    std::shared_ptr<ThreadStack> stack;

    dumper& dump(dumper& d) const {
        const Guard guard(stack->mutex);
        return d << stack->calls;
    }
};

using Stacks = mt::map<ThreadId, StackRef>;

// Around every use of the map, so that all stacks may be forgotten at any time, and around a fork.
// Never destroyed.
const Mutex& stacksLock() {
    static const Mutex& lock = *new Mutex;
    static const bool watched = [] {
        platform::callAtFork([] { lock.lock(); }, [] { lock.unlock(); }, [] { lock.unlock(); });
        return true;
    }();
    static_cast<void>(watched);
    return lock;
}

template <class F>
auto withStacks(F f) {
    const Guard guard(stacksLock());
    return f();
}

Stacks& g__tssCallStack() {
    return *CreateByAllocate<Stacks>::instance();
}

// Counts the times that all stacks were forgotten.
std::atomic<unsigned> generation{0};

// What a thread keeps of its own stack, so that it need not ask the map.
class OwnStack : noncopyable {
public:
    ~OwnStack() {
        forget();
        gone_ = true;
    }

    // The thread's stack, made if there is none.
    static ThreadStack& get() {
        if (gone_) return late();
        if (!mine_.isKnown()) mine_.make();
        return *mine_.stack_;
    }
    // Null if there is none.
    static ThreadStack* peek() noexcept {
        return !gone_ && mine_.isKnown() ? mine_.stack_.get() : nullptr;
    }
    static void destroy() noexcept {
        if (!gone_) mine_.forget();
    }

private:
    bool isKnown() const noexcept {
        return stack_ != nullptr && generation_ == generation.load(std::memory_order_acquire);
    }
    void make() {
        id_ = ThreadControl::current().id();
        auto fresh = std::make_shared<ThreadStack>();
        withStacks([&] {
            g__tssCallStack().set(id_, StackRef{fresh});
            generation_ = generation.load(std::memory_order_acquire);
        });
        stack_ = std::move(fresh);
    }
    void forget() noexcept {
        withStacks([&] {
            if (isKnown()) g__tssCallStack().erase(id_);
        });
        stack_.reset();
    }
    // When the objects of a thread are gone, what still runs on it asks the map each time.
    static ThreadStack& late() {
        const ThreadId id = ThreadControl::current().id();
        return *withStacks([&] {
            StackRef& reference = g__tssCallStack()[id];
            if (reference.stack == nullptr) reference.stack = std::make_shared<ThreadStack>();
            return reference.stack.get();
        });
    }

    std::shared_ptr<ThreadStack> stack_;
    ThreadId id_{0};
    unsigned generation_ = 0;

    static thread_local OwnStack mine_;
    static thread_local bool gone_;
};

thread_local OwnStack OwnStack::mine_;
thread_local bool OwnStack::gone_ = false;

}  // namespace

void tracer::destroy() noexcept {
    withStacks([] {
        generation.fetch_add(1, std::memory_order_acq_rel);
        CreateByAllocate<Stacks>::destroy();
    });
    CreateByAllocate<tracer>::destroy();
}

void tracer::push(const char* file, unsigned line, const char* func) {
    ThreadStack& stack = OwnStack::get();
    const Guard guard(stack.mutex);
    stack.calls.container().emplace(file, line, func);
}

void tracer::pop() noexcept {
    ThreadStack* const stack = OwnStack::peek();
    if (stack == nullptr || stack->calls.container().empty()) return;
    const Guard guard(stack->mutex);
    stack->calls.container().pop();
}

CallStack& tracer::callStack() {
    return OwnStack::get().calls;
}

const CallStack& tracer::callStack() const {
    return OwnStack::get().calls;
}

const CallStack& tracer::separator(const char* text) const {
    ThreadStack& stack = OwnStack::get();
    const Guard guard(stack.mutex);
    return stack.calls.separator(text);
}

void tracer::destroy_current_stack() noexcept {
    OwnStack::destroy();
}

void tracer::dump(std::ostream& os) const {
    os << callStack();
}

dumper& tracer::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::tracer");
    return d.member("callStack()", callStack());
}

dumper& operator<<(dumper& d, TRACER) {
    // No lock is held while the dumper works, but that of the stack that is being shown.
    const std::map<ThreadId, StackRef> stacks =
        withStacks([] { return g__tssCallStack().access([](const auto& all) { return all; }); });
    return dumpPairs(d, "qor::mt::map", stacks);
}

void printTraceStack(std::ostream& os) {
    tracer::instance()->dump(os);
}

TraceEntry::TraceEntry(logger& log, const char* file, unsigned line, const char* func,
                       LogType logType, const char* info) noexcept
    : logger_(log), logType_(logType) {
    try {
        if (info != nullptr) info_ = info;
    } catch (const std::bad_alloc&) {
    }
    enter(file, line, func);
}

TraceEntry::TraceEntry(const TraceEntry& other) noexcept
    : logger_(other.logger_), logType_(LogType::None) {
    if (!other.pushed_) return;
    const CallStack::Container& frames = tracer::instance()->container();
    if (frames.empty()) return;
    const Current frame = frames.top();
    enter(frame.file(), frame.line(), frame.func());
    logType_ = other.logType_;
}

TraceEntry::~TraceEntry() {
    ThreadStack* const stack = OwnStack::peek();
    if (!pushed_ || stack == nullptr || stack->calls.container().empty()) return;
    const CallStack::Container& frames = stack->calls.container();
    const Current top = frames.top();
    writeLog(false, top.func(), '_', frames.size() - 1);
    const Guard guard(stack->mutex);
    stack->calls.container().pop();
}

void TraceEntry::indentString(std::string& text, unsigned long depth, char fill) {
    text.append(4 * depth, fill);
}

void TraceEntry::enter(const char* file, unsigned line, const char* func) noexcept {
    try {
        ThreadStack& stack = OwnStack::get();
        writeLog(true, func, '.', stack.calls.container().size());
        const Guard guard(stack.mutex);
        stack.calls.container().emplace(file, line, func);
        pushed_ = true;
    } catch (const std::bad_alloc&) {
    }
}

void TraceEntry::writeLog(bool entering, const char* func, char fill,
                          unsigned long depth) const noexcept {
    if (!(logType_ & (entering ? LogType::Enter : LogType::Leave)) || !logger_.traceOn()) return;
    try {
        const ThreadInfo& info = SimpleThread::current();
        std::string left = info.sCurrDateTime_ + info.sThreadId_;
        left.append("[").append(logger_.name()).append("]");
        std::string call = entering ? "TRACE  " : "TRACE~ ";
        indentString(call, depth, fill);
        if (depth != 0) call += ' ';
        call.append(std::string_view(istr(func))).append("(");
        if (!info_.empty()) call.append(" ").append(info_).append(" ");
        call += ')';
        writeEntryLog(logger_, left, call, istr(), fill);
    } catch (...) {
    }
}

// What exceptions take with them. It makes no stack for a thread that traces nothing.
CallStack upward::callStack() {
    const ThreadStack* const stack = OwnStack::peek();
    return stack != nullptr ? stack->calls : CallStack();
}

}  // namespace qor
