#include "qor/mt/thread.h"

#include <cxxabi.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <ostream>

#include "log/own_log.h"
#include "mt/thread_factory.h"
#include "nuv_guard.h"
#include "platform/clock.h"
#include "platform/first_use.h"
#include "platform/thread.h"
#include "qor/base/base_type_char.h"
#include "qor/base/mlcheck.h"
#include "qor/log/log_dumper.h"
#include "qor/log/log_factory.h"

namespace qor {

namespace {

constexpr int kStartedBefore = -1;

// The handle of the calling thread, null if the thread was not started by Thread.
constinit thread_local WinHandleWrapper* ownHandle = nullptr;

// The empty handle, for threads that were not started by Thread.
const Handle<WinHandleWrapper>& noHandle() {
    static const auto* const handle = new Handle<WinHandleWrapper>(new WinHandleWrapper);
    return *handle;
}
const platform::MadeAtLoad madeAtLoad([] { noHandle(); });

// Sets ownHandle while the thread runs.
class OwnHandle : noncopyable {
public:
    explicit OwnHandle(Handle<WinHandleWrapper> handle) noexcept : handle_(std::move(handle)) {
        ownHandle = handle_.get();
    }
    ~OwnHandle() { ownHandle = nullptr; }

private:
    Handle<WinHandleWrapper> handle_;
};

// Registers the calling thread for a scope.
class Registration : noncopyable {
public:
    explicit Registration(SimpleThread& thread) noexcept { ThreadFactory::enter(thread); }
    ~Registration() { ThreadFactory::leave(); }
};

// pthread_exit and thread cancellation unwind the stack as an exception without a type, which must
// not be stopped.
bool leavesByExit() noexcept {
    return abi::__cxa_current_exception_type() == nullptr;
}

// For handlers of catch (...): while the thread leaves by an exit, the system ends the process if
// another exception replaces that, so exceptions of `call` are dropped.
template <class Call>
void callBeforeRethrow(Call call) {
    if (!leavesByExit()) return call();
    try {
        call();
    } catch (...) {
        if (leavesByExit()) throw;
    }
}

bool rethrows() noexcept {
    try {
        return getenv("QOR_RETHROW") == "on";
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace

// ThreadId, WinHandleWrapper, ThreadControl

std::ostream& operator<<(std::ostream& os, const ThreadId& id) {
    return os << unsigned(id);
}

dumper& operator<<(dumper& d, const ThreadId& id) {
    return d << unsigned(id);
}

WinHandleWrapper::~WinHandleWrapper() {
    platform::closeThread(thread_);
}

ThreadControl::ThreadControl()
    : handle_(ownHandle != nullptr ? Handle<WinHandleWrapper>(ownHandle) : noHandle()),
      id_(platform::currentThreadId()) {}

ThreadControl::ThreadControl(const Handle<WinHandleWrapper>& handle, const ThreadId& id)
    : handle_(handle), id_(id) {}

ThreadControl::ThreadControl(const ThreadControl& other) : id_(0) {
    const Guard guard(other.mutex_);
    handle_ = other.handle_;
    id_ = other.id_;
}

ThreadControl& ThreadControl::operator=(const ThreadControl& other) {
    ThreadControl copy(other);
    const Guard guard(mutex_);
    handle_.swap(copy.handle_);
    id_ = copy.id_;
    return *this;
}

ThreadId ThreadControl::id() const {
    const Guard guard(mutex_);
    return id_;
}

Handle<WinHandleWrapper> ThreadControl::handle() const {
    const Guard guard(mutex_);
    return handle_;
}

void ThreadControl::join() const {
    const Handle<WinHandleWrapper> shared = handle();
    const bool self = id() == platform::currentThreadId();
    const int error = shared->thread_ != nullptr ? platform::waitForThread(*shared->thread_)
                                                 : (self ? EDEADLK : EINVAL);
    if (error != 0) QOR_THROW(ThreadSyscallException, "qor::ThreadControl::join", error);
}

bool ThreadControl::isAlive() const {
    const Handle<WinHandleWrapper> shared = handle();
    if (shared->thread_ != nullptr) return platform::isRunning(*shared->thread_);
    return platform::threadExists(id());
}

void ThreadControl::sleep(const Time& time) {
    time.sleep();
}

void ThreadControl::yield() {
    platform::yieldThread();
}

void sleep(unsigned long milliseconds) {
    platform::sleepMilliseconds(static_cast<ulong32>(milliseconds));
}

// Thread

Thread::Thread()
    : handle_(checkedNew<WinHandleWrapper>(__FILE__, __LINE__, "qor::Thread::Thread")) {}

Thread::~Thread() = default;

ThreadControl Thread::start(unsigned stackSize) {
    const Handle<Thread> self(this);
    checkLaunch(launch(stackSize));
    return getThreadControl();
}

// The new thread owns `share`, which keeps the object alive, once it is started. Before it uses the
// object, it waits for the lock.
int Thread::launch(unsigned stackSize) {
    const Handle<Thread> self(this);
    auto share = std::make_unique<Handle<Thread>>(self);
    const Guard guard(mutex_);
    if (started_) return kStartedBefore;
    int error = 0;
    handle_->thread_ = platform::startThread(stackSize, enter, share.get(), error);
    if (handle_->thread_ == nullptr) return error;
    static_cast<void>(share.release());
    started_ = true;
    return 0;
}

void Thread::checkLaunch(int result) {
    if (result == kStartedBefore) QOR_THROW(ThreadStartedException, "qor::Thread::start");
    if (result != 0) QOR_THROW(ThreadSyscallException, "qor::Thread::start", result);
}

// `self` is released before `handle`: the object's destructor may use the handle.
void Thread::enter(void* share) {
    std::srand(static_cast<unsigned>(Time::now().toMicroSeconds()));
    auto* const fromStart = static_cast<Handle<Thread>*>(share);
    const OwnHandle handle((*fromStart)->handle());
    const Handle<Thread> self = *fromStart;
    delete fromStart;
    try {
        self->run_i();
    } catch (...) {
        if (leavesByExit() || rethrows()) throw;
    }
}

ThreadControl Thread::getThreadControl() const {
    const Handle<WinHandleWrapper> shared = handle();
    if (shared == nullptr) QOR_THROW(ThreadNotStartedException, "qor::Thread::getThreadControl");
    return ThreadControl(shared, platform::threadId(*shared->thread_));
}

ThreadId Thread::id() const {
    const Handle<WinHandleWrapper> shared = handle();
    if (shared == nullptr) QOR_THROW(ThreadNotStartedException, "qor::Thread::id");
    return platform::threadId(*shared->thread_);
}

bool Thread::started() const {
    const Guard guard(mutex_);
    return started_;
}

// Null before the start.
Handle<WinHandleWrapper> Thread::handle() const {
    const Guard guard(mutex_);
    return started_ ? handle_ : Handle<WinHandleWrapper>();
}

// ThreadInfo

// The text shows milliseconds.
void ThreadInfo::updateDateTime() {
    const Time now = Time::now();
    if (now == currDateTime_) return;
    const bool same = now.toMilliSeconds() == currDateTime_.toMilliSeconds();
    if (!same || sCurrDateTime_.empty()) now.toDateTime(sCurrDateTime_);
    currDateTime_ = now;
}

dumper& ThreadInfo::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::ThreadInfo");
    d.member("sThreadId_", sThreadId_)
        .member("currDateTime_", currDateTime_)
        .member("sCurrDateTime_", sCurrDateTime_);
    if (thread_ == nullptr) return d.member("thread_", rawstring("null"));
    return d.member("thread_", *thread_);
}

dumper& operator<<(dumper& d, THREAD_FACTORY) {
    return ThreadFactory::dump(d);
}

// ThreadOwner

ThreadOwner::ThreadOwner(const char* name) : ownername_(name) {}

ThreadOwner::~ThreadOwner() {
    own_log::info("qor::ThreadOwner::~ThreadOwner",
                  [&] { return "thread owner " + ownername_ + " finalized"; });
}

// SimpleThread

SimpleThread::SimpleThread(ThreadOwner* owner, const char* name)
    : owner_(owner), name_(name), fullname_(name) {}

SimpleThread::~SimpleThread() {
    own_log::info("qor::SimpleThread::~SimpleThread",
                  [&] { return fullname_ + " thread finalized."; });
}

// The thread needs the monitor to report its birth, so it cannot do so before this thread waits. A
// caller that is cancelled in the wait would take the running thread for one that was not started.
void SimpleThread::startAndWait(unsigned stackSize) {
    const nuv_uncancelled whole;
    const Handle<SimpleThread> self(this);
    int result = 0;
    {
        const Monitor::Lock lock(monitor_);
        result = launch(stackSize);
        if (result == 0) monitor_.wait();
    }
    checkLaunch(result);
}

bool SimpleThread::startAndWait(Time timeout, unsigned stackSize) {
    const nuv_uncancelled whole;
    const Handle<SimpleThread> self(this);
    int result = 0;
    bool notified = false;
    {
        const Monitor::Lock lock(monitor_);
        result = launch(stackSize);
        if (result == 0) notified = monitor_.wait(timeout);
    }
    checkLaunch(result);
    return notified;
}

void SimpleThread::stop() {
    constexpr const char* func = "qor::SimpleThread::stop";
    if (finished()) {
        own_log::info(func, [&] { return fullname() + " thread already stopped."; });
        return;
    }
    const Handle<SimpleThread> self(this);
    onStop_i();
    if (!started()) {
        own_log::info(func, [&] { return fullname() + " thread not started."; });
        return;
    }
    join();
    own_log::info(func, [&] { return fullname() + " thread stopped."; });
}

bool SimpleThread::stop(Time timeout) {
    constexpr const char* func = "qor::SimpleThread::stop";
    if (finished()) {
        own_log::info(func, [&] {
            return fullname() + "(" + timeout.toDuration() + ") thread already stopped.";
        });
        return true;
    }
    const Handle<SimpleThread> self(this);
    onStop_i();
    if (!started()) {
        own_log::info(func, [&] { return fullname() + " thread not started."; });
        return true;
    }
    return join(timeout);
}

void SimpleThread::stopOnly() {
    own_log::info("qor::SimpleThread::stopOnly",
                  [&] { return fullname() + " thread stopping only..."; });
    livingEnd();
}

void SimpleThread::onStop_i() {
    own_log::info("qor::SimpleThread::onStop_i",
                  [&] { return fullname() + " thread stopping..."; });
    activeStopping_ = true;
    livingEnd();
}

void SimpleThread::livingEnd() {
    const Handle<SimpleThread> self(this);
    endLiving();
    onStop();
}

void SimpleThread::living(bool on) {
    if (on) {
        QOR_THROW(InvalidDataException, "qor::SimpleThread::living",
                  "living(true) is not expected");
    }
    livingEnd();
}

void SimpleThread::join() {
    const Handle<SimpleThread> self(this);
    const ThreadControl control = getThreadControl();
    if (control.id() == platform::currentThreadId()) return;
    ThreadControl::yield();
    control.join();
}

bool SimpleThread::join(Time timeout) {
    const Handle<SimpleThread> self(this);
    const ThreadControl control = getThreadControl();
    if (control.id() == platform::currentThreadId()) return true;
    const Time step = std::min(Time::milliSeconds(20), timeout);
    const Time start = Time::now(Time::Monotonic);
    for (;;) {
        if (Time::now(Time::Monotonic) - start >= timeout) {
            detach();
            own_log::error("qor::SimpleThread::join", [&] {
                return fullname() + " thread not stopped in " + timeout.toDuration();
            });
            return false;
        }
        if (!control.isAlive()) break;
        ThreadControl::sleep(step);
        ThreadControl::yield();
    }
    join();
    own_log::info("qor::SimpleThread::join", [&] { return fullname() + " thread stopped."; });
    return true;
}

void SimpleThread::wait() const {
    const Monitor::Lock lock(monitor_);
    if (living()) monitor_.wait();
}

bool SimpleThread::wait(const Time& timeout) const {
    const Monitor::Lock lock(monitor_);
    return !living() || monitor_.wait(timeout);
}

void SimpleThread::notify() {
    const Monitor::Lock lock(monitor_);
    monitor_.notify();
}

// Wakes all waiting threads: the thread itself and another one that waits for it may both be
// waiting.
void SimpleThread::tellAll() {
    const Monitor::Lock lock(monitor_);
    monitor_.notifyAll();
}

void SimpleThread::endLiving() {
    living_ = false;
    tellAll();
}

ThreadOwner* SimpleThread::owner() const {
    const Guard guard(mutex_);
    return owner_;
}

void SimpleThread::owner(ThreadOwner* owner) {
    const Guard guard(mutex_);
    owner_ = owner;
}

bool SimpleThread::adopt(ThreadOwner* owner) {
    const Guard guard(mutex_);
    if (owner_ == nullptr) owner_ = owner;
    return !exitReported_;
}

String SimpleThread::fullname() const {
    const Guard guard(mutex_);
    return fullname_;
}

bool SimpleThread::isCurrent() const {
    return current().thread_ == this;
}

// On another thread it is a copy. If the thread is not registered yet, or not any more, only the
// text of its id is set.
ThreadInfo SimpleThread::info() const {
    if (isCurrent()) return current();
    const ThreadId id = this->id();
    ThreadInfo info;
    if (ThreadFactory::find(id, info) && info.thread_ == this) return info;
    info = ThreadInfo();
    info.sThreadId_ = ThreadFactory::idText(id, true);
    return info;
}

const ThreadInfo& SimpleThread::current() noexcept {
    return ThreadFactory::current();
}

void SimpleThread::destroyThreadFactory() noexcept {
    ThreadFactory::destroy();
}

dumper& SimpleThread::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::SimpleThread");
    return d.member("name()", name())
        .member("fullname()", fullname())
        .member("started()", started())
        .member("living()", living())
        .member("activeStopping()", activeStopping())
        .member("refcount", __GetRef());
}

// Also if the body raises, the end is reported first, then the record is removed, and `self` is
// released last.
void SimpleThread::run_i() {
    const Handle<SimpleThread> self(this);
    const Registration registration(*this);
    try {
        begin();
        run();
    } catch (...) {
        callBeforeRethrow([this] { end(); });
        throw;
    }
    end();
}

// The pause lets the starting thread continue first. The thread is not ended here, neither by a
// cancellation nor without memory for its name, so that onDeath is called.
void SimpleThread::begin() {
    const nuv_uncancelled whole;
    own_log::dropOnFailure([this] {
        const String id = threadIdString();
        const Guard guard(mutex_);
        fullname_ += id;
    });
    own_log::info("qor::SimpleThread::run_i", [] { return "thread begin."; });
    const ThreadControl control = getThreadControl();
    control.yield();
    qor::sleep(1);
}

void SimpleThread::end() {
    // Runs even if the owner raises.
    struct Last {
        SimpleThread& thread;
        ~Last() {
            own_log::info("qor::SimpleThread::run_i", [] { return "thread end."; });
            thread.finish();
        }
    };
    const Last last{*this};
    endLiving();
    on_thread_exit();
}

void SimpleThread::run() {
    try {
        loop();
    } catch (...) {
        callBeforeRethrow([this] { onDeath(); });
        throw;
    }
    onDeath();
}

void SimpleThread::loop() {
    if (!onBirth_i()) return;
    while (living()) {
        if (!onWait_i() || !living()) continue;
        current();
        onWork();
    }
}

// living_ is read before the birth is reported, since the thread that waits for the report may stop
// this one at once.
bool SimpleThread::onBirth_i() {
    if (!onBirth()) living_ = false;
    const bool born = living();
    tellAll();
    if (born) return true;
    own_log::info("qor::SimpleThread::onBirth_i",
                  [] { return "thread begin failure, won't enter run loop."; });
    return false;
}

bool SimpleThread::onWait_i() {
    if (onWait()) return true;
    own_log::info("qor::SimpleThread::onWait_i",
                  [] { return "wait failure, won't exec onWork()."; });
    return false;
}

void SimpleThread::onWork() {
    if (!onLoop()) endLiving();
}

void SimpleThread::on_thread_exit() {
    ThreadOwner* owner = nullptr;
    {
        const Guard guard(mutex_);
        exitReported_ = true;
        if (!activeStopping()) owner = owner_;
    }
    if (owner == nullptr) return;
    own_log::info("qor::SimpleThread::on_thread_exit",
                  [&] { return "notify owner(" + owner->ownername() + ") thread exit"; });
    owner->onThreadExit(this);
}

}  // namespace qor
