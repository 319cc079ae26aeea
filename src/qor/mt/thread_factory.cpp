#include "mt/thread_factory.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>
#include <utility>

#include "log/shown_map.h"
#include "mt/registry_lock.h"
#include "platform/first_use.h"
#include "platform/thread.h"
#include "qor/log/log_dumper.h"

namespace qor {

template class CreateByAllocate<ThreadFactory>;

// Only the thread itself writes its record, so it reads without the lock; other threads read with
// the lock. current() updates the time without the lock: other threads read shownTime, which is in
// the same millisecond as the text whenever they have the lock.
struct ThreadFactory::Record : noncopyable {
    // No text of a time is longer, so that updating it needs no memory.
    Record() { info.sCurrDateTime_.reserve(64); }

    void renew() noexcept {
        const Guard guard(lock);
        info.updateDateTime();
        shownTime.store(info.currDateTime_.toMicroSeconds(), std::memory_order_relaxed);
    }
    void stamp(const Time& now) noexcept {
        info.currDateTime_ = now;
        shownTime.store(now.toMicroSeconds(), std::memory_order_relaxed);
    }
    void name(SimpleThread* thread, String id) noexcept {
        const Guard guard(lock);
        info.thread_ = thread;
        info.sThreadId_.swap(id);
    }
    ThreadInfo copy() const {
        ThreadInfo copy;
        const Guard guard(lock);
        copy.thread_ = info.thread_;
        copy.sThreadId_ = info.sThreadId_;
        copy.currDateTime_ = Time::microSeconds(shownTime.load(std::memory_order_relaxed));
        copy.sCurrDateTime_ = info.sCurrDateTime_;
        return copy;
    }

    const Mutex lock;
    ThreadInfo info;
    // A number, since some 32-bit compilers call a library for an atomic Time.
    std::atomic<long long> shownTime{Time().toMicroSeconds()};
};

namespace {

// A thread's own data. It has no destructor, so the thread can use it until its very end.
struct Own {
    ThreadFactory::Record* record;
    SimpleThread* thread;
    unsigned epoch;      // of the registry when the record was added, 0 if it is not there
    bool busy;           // adding it allocates, and a watcher of allocations may log
    long long textFrom;  // the first microsecond of the millisecond that the text shows
};
// With this model, access needs no function call. It uses a few bytes of the space that the system
// reserves for libraries loaded while the process runs.
[[gnu::tls_model("initial-exec")]] constinit thread_local Own own{};

// The text shows milliseconds: it is right for this number of microseconds.
constexpr unsigned long long kTextLasts = 1000;
// textFrom while there is no text.
constexpr long long kNever = std::numeric_limits<long long>::min();

using Lock = RegistryLock<ThreadFactory>;
constinit std::atomic<unsigned>& epoch = Lock::epoch;

// The record of threads that have no memory for their own. It needs no memory itself.
const ThreadInfo& spare() noexcept {
    alignas(ThreadInfo) static unsigned char room[sizeof(ThreadInfo)];
    static const ThreadInfo* const info = new (room) ThreadInfo;
    return *info;
}

const platform::ThreadExitCall& exitCall() {
    static const platform::ThreadExitCall call(ThreadFactory::onThreadExit);
    return call;
}

const platform::MadeAtLoad madeAtLoad([] {
    Lock::get();
    spare();
    exitCall();
});

// A record for a dump. The Handle keeps the thread's object alive.
struct Shown {
    dumper& dump(dumper& d) const { return info.dump(d); }

    ThreadInfo info;
    Handle<SimpleThread> thread;
};

}  // namespace

// Call it with the lock held.
ThreadFactory::Records& ThreadFactory::records() {
    ThreadFactory& factory = *CreateByAllocate<ThreadFactory>::instance();
    // A forked child has none of the other threads.
    if (factory.forks_ != platform::forkCount()) factory.threads_.clear();
    factory.forks_ = platform::forkCount();
    return factory.threads_;
}

// One test covers both cases: if the thread is not registered, the epochs differ.
const ThreadInfo& ThreadFactory::current() noexcept {
    const Time now = Time::now();
    const unsigned stale = own.epoch ^ epoch.load(std::memory_order_acquire);
    const auto age = static_cast<unsigned long long>(now.toMicroSeconds()) -
                     static_cast<unsigned long long>(own.textFrom);
    if ((stale != 0) | (age >= kTextLasts)) [[unlikely]]
        return renewed();
    own.record->stamp(now);
    return own.record->info;
}

// For times in the first millisecond of 1970 and before, the text is renewed at each call.
const ThreadInfo& ThreadFactory::renewed() noexcept {
    if (own.epoch != epoch.load(std::memory_order_acquire)) enroll();
    if (own.record == nullptr) return spare();
    own.record->renew();
    const long long from = own.record->info.currDateTime_.toMilliSeconds() * 1000;
    own.textFrom = from > 0 ? from : kNever;
    return own.record->info;
}

void ThreadFactory::enter(SimpleThread& thread) noexcept {
    own.thread = &thread;
    enroll();
}

void ThreadFactory::leave() noexcept {
    own.thread = nullptr;
    withdraw();
    if (own.record != nullptr) own.record->name(nullptr, String());
}

SimpleThread* ThreadFactory::thread() noexcept {
    return own.thread;
}

// Without memory the thread is not added; its next call of current() tries again.
void ThreadFactory::enroll() noexcept {
    if (own.busy) return;
    own.busy = true;
    try {
        tryToEnroll();
    } catch (...) {
        own.epoch = 0;
    }
    own.busy = false;
}

void ThreadFactory::tryToEnroll() {
    const ThreadId id = platform::currentThreadId();
    String text = idText(id, own.thread != nullptr);
    if (own.record == nullptr) {
        own.record = new Record;
        own.textFrom = kNever;
    }
    if (!exitCall().request(own.record)) {
        // Nothing would delete it at the thread's end.
        delete std::exchange(own.record, nullptr);
        throw std::bad_alloc();
    }
    own.record->name(own.thread, std::move(text));
    const Guard guard(Lock::get());
    records().set(id, own.record);
    own.epoch = epoch.load(std::memory_order_relaxed);
}

void ThreadFactory::withdraw() noexcept {
    const Guard guard(Lock::get());
    if (own.epoch == epoch.load(std::memory_order_relaxed))
        records().erase(platform::currentThreadId());
    own.epoch = 0;
}

void ThreadFactory::onThreadExit(void* record) noexcept {
    withdraw();
    own.record = nullptr;
    delete static_cast<Record*>(record);
}

bool ThreadFactory::find(const ThreadId& id, ThreadInfo& copy) {
    const Guard guard(Lock::get());
    return records().access([&](const auto& threads) {
        const auto found = threads.find(id);
        if (found == threads.end()) return false;
        copy = found->second->copy();
        return true;
    });
}

String ThreadFactory::idText(const ThreadId& id, bool simpleThread) {
    constexpr std::size_t kWidth = 4;
    const std::string number = std::to_string(unsigned(id));
    String text = simpleThread ? "{" : "<";
    text += std::to_string(platform::currentProcessId());
    text += '.';
    text.append(kWidth - std::min(number.size(), kWidth), ' ').append(number);
    text += simpleThread ? '}' : '>';
    return text;
}

void ThreadFactory::destroy() noexcept {
    const Guard guard(Lock::get());
    epoch.fetch_add(1, std::memory_order_release);
    CreateByAllocate<ThreadFactory>::destroy();
}

// The threads are dumped without the lock, since dump may be overridden.
dumper& ThreadFactory::dump(dumper& d) {
    ShownMap<ThreadId, Shown> shown;
    {
        const Guard guard(Lock::get());
        records().access([&](const auto& threads) {
            for (const auto& [id, record] : threads) {
                ThreadInfo info = record->copy();
                const Handle<SimpleThread> thread(info.thread_);
                shown.values.emplace(id, Shown{std::move(info), thread});
            }
        });
    }
    const dumper::_Entry entry(d, "qor::ThreadFactory");
    return d.member("threads_", shown);
}

}  // namespace qor
