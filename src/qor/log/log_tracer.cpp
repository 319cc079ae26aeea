#include "qor/log/log_tracer.h"

#include <atomic>
#include <memory>
#include <new>
#include <ostream>

#include "base/upward.h"
#include "log/shown_map.h"
#include "mt/registry_lock.h"
#include "platform/first_use.h"
#include "platform/thread.h"
#include "qor/log/log_dumper.h"
#include "qor/mt/containers.h"
#include "qor/mt/thread.h"

namespace qor {

template class CreateByAllocate<tracer>;

namespace {

// A thread's stack. Its own thread changes it with the lock and reads it without; other threads
// copy it with the lock.
struct ThreadStack {
    Mutex mutex;
    CallStack calls;
};

// The stacks belong to their threads; this registry lets other threads see them.
using Stacks = mt::map<ThreadId, ThreadStack*>;

// A thread's own data. It has no destructor, so the thread can use it until its very end.
struct Own {
    ThreadStack* stack;
    unsigned entered;    // the epoch in which the stack was registered, 0 if it is not
    unsigned forgotten;  // timesForgotten at that time
};
constinit thread_local Own own{};

// The number of calls of tracer::destroy, which empty all stacks. (A fork changes the epoch too,
// but keeps the thread's frames.)
constinit std::atomic<unsigned> timesForgotten{0};

using Lock = RegistryLock<Stacks>;
constinit std::atomic<unsigned>& epoch = Lock::epoch;

// Call it with the lock held.
Stacks& g__tssCallStack() {
    static unsigned short forks = 0;
    Stacks& stacks = *CreateByAllocate<Stacks>::instance();
    // A forked child has none of the other threads.
    if (forks != platform::forkCount()) stacks.clear();
    forks = platform::forkCount();
    return stacks;
}

bool isEntered() noexcept {
    return own.entered == epoch.load(std::memory_order_acquire);
}

void withdraw() noexcept {
    const Guard guard(Lock::get());
    if (isEntered()) g__tssCallStack().erase(platform::currentThreadId());
    own.entered = 0;
}

void onThreadExit(void* stack) noexcept {
    withdraw();
    own.stack = nullptr;
    delete static_cast<ThreadStack*>(stack);
}

const platform::ThreadExitCall& exitCall() {
    static const platform::ThreadExitCall call(onThreadExit);
    return call;
}
const platform::MadeAtLoad madeAtLoad([] {
    Lock::get();
    exitCall();
});

void makeStack() {
    auto fresh = std::make_unique<ThreadStack>();
    // Otherwise nothing would delete it at the thread's end.
    if (!exitCall().request(fresh.get())) throw std::bad_alloc();
    own.stack = fresh.release();
}

void enter() {
    if (own.stack == nullptr) makeStack();
    const Guard guard(Lock::get());
    const unsigned forgotten = timesForgotten.load(std::memory_order_relaxed);
    if (own.forgotten != forgotten) {
        const Guard inner(own.stack->mutex);
        own.stack->calls = CallStack();
    }
    own.forgotten = forgotten;
    g__tssCallStack().set(platform::currentThreadId(), own.stack);
    own.entered = epoch.load(std::memory_order_relaxed);
}

// The thread's stack. Registers it if it is not registered.
ThreadStack& ownStack() {
    if (!isEntered()) [[unlikely]]
        enter();
    return *own.stack;
}

// Null if the thread has no frames.
ThreadStack* ownFrames() noexcept {
    const bool known =
        own.stack != nullptr && own.forgotten == timesForgotten.load(std::memory_order_relaxed);
    return known && !own.stack->calls.container().empty() ? own.stack : nullptr;
}

void pushFrame(ThreadStack& stack, const Current& frame) {
    const Guard guard(stack.mutex);
    stack.calls.container().push(frame);
}

void popFrame() noexcept {
    ThreadStack* const stack = ownFrames();
    if (stack == nullptr) return;
    const Guard guard(stack->mutex);
    stack->calls.container().pop();
}

}  // namespace

// Creates the map, so that a leak check that starts later does not count it.
tracer::tracer() {
    const Guard guard(Lock::get());
    CreateByAllocate<Stacks>::create();
}

void tracer::destroy() noexcept {
    {
        const Guard guard(Lock::get());
        timesForgotten.fetch_add(1, std::memory_order_relaxed);
        epoch.fetch_add(1, std::memory_order_release);
        CreateByAllocate<Stacks>::destroy();
    }
    CreateByAllocate<tracer>::destroy();
}

void tracer::push(const char* file, unsigned line, const char* func) {
    pushFrame(ownStack(), Current(file, line, func));
}

void tracer::pop() noexcept {
    popFrame();
}

CallStack& tracer::callStack() {
    return ownStack().calls;
}

const CallStack& tracer::callStack() const {
    return ownStack().calls;
}

const CallStack& tracer::separator(const char* text) const {
    ThreadStack& stack = ownStack();
    const Guard guard(stack.mutex);
    return stack.calls.separator(text);
}

void tracer::destroy_current_stack() noexcept {
    if (own.stack == nullptr) return;
    withdraw();
    const Guard guard(own.stack->mutex);
    own.stack->calls = CallStack();
}

void tracer::dump(std::ostream& os) const {
    os << callStack();
}

dumper& tracer::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::tracer");
    return d.member("callStack()", callStack());
}

// Copies first, so that no lock is held while the dumper writes.
dumper& operator<<(dumper& d, TRACER) {
    ShownMap<ThreadId, CallStack> copies;
    {
        const Guard guard(Lock::get());
        g__tssCallStack().access([&](const auto& stacks) {
            for (const auto& [id, stack] : stacks) {
                const Guard inner(stack->mutex);
                copies.values.emplace(id, stack->calls);
            }
        });
    }
    return copies.dump(d);
}

void printTraceStack(std::ostream& os) {
    tracer::instance()->dump(os);
}

TraceEntry::TraceEntry(logger& log, const char* file, unsigned line, const char* func,
                       LogType logType, const char* info) noexcept
    : logger_(log), logType_(logType) {
    setInfo(info);
    enter(Current(file, line, func));
}

TraceEntry::TraceEntry(const TraceEntry& other) noexcept
    : logger_(other.logger_), logType_(LogType::None) {
    setInfo(other.info_.c_str());
    const ThreadStack* const stack = other.pushed_ ? ownFrames() : nullptr;
    if (stack != nullptr) enter(Current(stack->calls.container().top()));
    logType_ = other.logType_;
}

TraceEntry::~TraceEntry() {
    const ThreadStack* const stack = pushed_ ? ownFrames() : nullptr;
    if (stack == nullptr) return;
    const CallStack::Container& frames = stack->calls.container();
    writeLog(false, frames.top().func(), '_', frames.size() - 1);
    popFrame();
}

void TraceEntry::setInfo(const char* info) noexcept {
    try {
        if (info != nullptr) info_ = info;
    } catch (const std::bad_alloc&) {
        // The info is only shown.
    }
}

void TraceEntry::indentString(std::string& text, unsigned long depth, char fill) {
    text.append(4 * depth, fill);
}

void TraceEntry::enter(const Current& frame) noexcept {
    try {
        writeLog(true, frame.func(), '.', ownStack().calls.container().size());
        pushFrame(ownStack(), frame);
        pushed_ = true;
    } catch (const std::bad_alloc&) {
        // The function is not traced.
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

// The copy of the stack for exceptions. Creates no stack for a thread that has none.
CallStack upward::callStack() {
    const ThreadStack* const stack = ownFrames();
    return stack != nullptr ? stack->calls : CallStack();
}

}  // namespace qor
