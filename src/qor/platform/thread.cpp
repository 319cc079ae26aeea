#include "platform/thread.h"

#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>

#include "nuv_guard.h"

namespace qor::platform {

namespace {

// Minimum stack of the body, in addition to the part of each stack that the system uses.
constexpr std::size_t kLeastRoom = 64 * 1024;

constinit thread_local unsigned threadNumber = 0;
constinit std::atomic<unsigned> processNumber{0};

constinit std::atomic<unsigned short> forks{0};
constinit std::atomic<const void*> forker{nullptr};

void enterChild() noexcept {
    forks.fetch_add(1, std::memory_order_relaxed);
    forker.store(self(), std::memory_order_relaxed);
    threadNumber = 0;
    processNumber.store(0, std::memory_order_relaxed);
}

// When the library is loaded, so that fork handlers of other code have the numbers of the child.
[[gnu::constructor(101)]] void watchForks() noexcept {
    pthread_atfork(nullptr, nullptr, enterChild);
}

std::size_t wholePages(std::size_t size) noexcept {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (size + page - 1) / page * page;
}

std::size_t leastStackSize() noexcept {
    const long least = sysconf(_SC_THREAD_STACK_MIN);
    return kLeastRoom + static_cast<std::size_t>(std::max(least, 0L));
}

// The attributes of a new thread.
class Attributes {
public:
    Attributes() noexcept : error_(pthread_attr_init(&attributes_)) {}
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() {
        if (valid_) pthread_attr_destroy(&attributes_);
    }

    int stackSize(std::size_t size) noexcept {
        if (error_ != 0 || size == 0) return error_;
        return pthread_attr_setstacksize(&attributes_,
                                         wholePages(std::max(size, leastStackSize())));
    }
    const pthread_attr_t* get() const noexcept { return &attributes_; }

private:
    pthread_attr_t attributes_;
    int error_;
    bool valid_ = error_ == 0;
};

// The argument of the system call sched_setattr, which the C library does not declare.
struct PromptAttributes {
    std::uint32_t size = sizeof(PromptAttributes);
    std::uint32_t policy = SCHED_OTHER;
    std::uint64_t flags = 0;
    std::int32_t nice = 0;
    std::uint32_t priority = 0;
    std::uint64_t sliceNanoseconds = 100'000;
    std::uint64_t deadline = 0;
    std::uint64_t period = 0;
};

enum Joined : int { No, UnderWay, Yes };

}  // namespace

struct SystemThread {
    SystemThread(void (*function)(void*), void* data) noexcept : body(function), argument(data) {}

    void (*const body)(void*);
    void* const argument;
    const unsigned short forks = forkCount();  // of the process, when the thread was started
    std::atomic<int> owners{2};
    // The thread stores its handle and then its number: wait for the number before using the
    // handle.
    pthread_t handle{};
    std::atomic<unsigned> id{0};
    std::atomic<bool> ended{false};
    std::atomic<int> joined{Joined::No};

    // After a fork the child has only the thread that called fork.
    bool inOtherProcess() const noexcept { return forks != forkCount(); }
};

namespace {

void release(SystemThread* thread) noexcept {
    if (thread->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    const bool joined = thread->joined.load(std::memory_order_relaxed) == Joined::Yes;
    if (!joined && !thread->inOtherProcess()) pthread_detach(thread->handle);
    delete thread;
}

// A destructor, so that it also runs when pthread_exit ends the thread.
struct Ending {
    SystemThread* thread;
    ~Ending() {
        thread->ended.store(true, std::memory_order_release);
        release(thread);
    }
};

void* run(void* argument) {
    auto* const thread = static_cast<SystemThread*>(argument);
    const Ending ending{thread};
    thread->handle = pthread_self();
    thread->id.store(currentThreadId(), std::memory_order_release);
    thread->id.notify_all();
    thread->body(thread->argument);
    return nullptr;
}

}  // namespace

unsigned currentThreadId() noexcept {
    if (threadNumber == 0) threadNumber = static_cast<unsigned>(gettid());
    return threadNumber;
}

unsigned currentProcessId() noexcept {
    unsigned id = processNumber.load(std::memory_order_relaxed);
    if (id == 0) {
        id = static_cast<unsigned>(getpid());
        processNumber.store(id, std::memory_order_relaxed);
    }
    return id;
}

unsigned short forkCount() noexcept {
    return forks.load(std::memory_order_relaxed);
}

const void* self() noexcept {
    [[gnu::tls_model("initial-exec")]] constinit static thread_local char mark = 0;
    return &mark;
}

const void* forkingThread() noexcept {
    return forker.load(std::memory_order_relaxed);
}

bool threadExists(unsigned id) noexcept {
    return tgkill(getpid(), static_cast<pid_t>(id), 0) == 0;
}

void yieldThread() noexcept {
    sched_yield();
}

void runPromptly() noexcept {
    sched_param lowest{};
    lowest.sched_priority = sched_get_priority_min(SCHED_RR);
    if (sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &lowest) == 0) return;
    // With a short time slice the scheduler prefers the thread when it wakes up.
    PromptAttributes attributes;
    syscall(SYS_sched_setattr, 0, &attributes, 0U);
}

SystemThread* startThread(std::size_t stackSize, void (*body)(void*), void* argument, int& error) {
    auto thread = std::make_unique<SystemThread>(body, argument);
    Attributes attributes;
    error = attributes.stackSize(stackSize);
    pthread_t handle{};
    if (error == 0) error = pthread_create(&handle, attributes.get(), run, thread.get());
    return error == 0 ? thread.release() : nullptr;
}

unsigned threadId(const SystemThread& thread) noexcept {
    // In a forked child the thread does not run and will never store its number.
    if (!thread.inOtherProcess()) thread.id.wait(0, std::memory_order_acquire);
    return thread.id.load(std::memory_order_acquire);
}

bool isRunning(const SystemThread& thread) noexcept {
    return !thread.ended.load(std::memory_order_acquire) && !thread.inOtherProcess();
}

int waitForThread(SystemThread& thread) noexcept {
    if (thread.inOtherProcess()) return 0;
    // After the thread has ended, its number may belong to another thread.
    const bool ended = thread.ended.load(std::memory_order_acquire);
    if (!ended && threadId(thread) == currentThreadId()) return EDEADLK;
    for (;;) {
        int joined = Joined::No;
        if (thread.joined.compare_exchange_strong(joined, Joined::UnderWay)) {
            // If this wait were cancelled, the other waiting threads would never return.
            const nuv_uncancelled whole;
            const int error = pthread_join(thread.handle, nullptr);
            thread.joined.store(error == 0 ? Joined::Yes : Joined::No);
            thread.joined.notify_all();
            return error;
        }
        if (joined == Joined::Yes) return 0;
        thread.joined.wait(Joined::UnderWay);
    }
}

void closeThread(SystemThread* thread) noexcept {
    if (thread != nullptr) release(thread);
}

ThreadExitCall::ThreadExitCall(void (*function)(void*)) noexcept
    : valid_(pthread_key_create(&key_, function) == 0) {}

bool ThreadExitCall::request(void* argument) const noexcept {
    return valid_ && pthread_setspecific(key_, argument) == 0;
}

void callAtFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept {
    pthread_atfork(before, inParent, inChild);
}

}  // namespace qor::platform
