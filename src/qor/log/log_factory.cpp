#include "qor/log/log_factory.h"

#include <algorithm>
#include <utility>

#include "base/upward.h"
#include "log/logger_impl.h"
#include "log/own_log.h"
#include "log/shown_map.h"
#include "platform/thread.h"
#include "qor/log/console.h"
#include "qor/log/log_dumper.h"
#include "qor/pml/pml_T.h"
#include "qor/util/singleton_T.h"

namespace qor {

namespace {

constexpr int kLevel = NUV_LOG_INFO;
// What the file's lines have room for, and a bit more.
constexpr unsigned long kMostText = 16384;

// A logger as the factory's dump shows it.
struct Shown {
    dumper& dump(dumper& d) const { return object->dump(d); }

    const loggerImpl* object;
};

// All loggers that ever were. They are never destroyed: whoever has a reference may go on using
// it, also in static destructors. A forked child finds none of their locks taken.
class AllLoggers : noncopyable {
public:
    static AllLoggers& get() {
        static AllLoggers& all = *new AllLoggers;
        return all;
    }

    const Mutex& lock() const noexcept { return lock_; }
    // With the lock held.
    loggerImpl& ofName(const std::string& name) {
        loggerImpl& logger = loggers_[name];
        if (logger.init(name, newest_)) newest_.store(&logger, std::memory_order_release);
        return logger;
    }
    // Without the lock: closing waits for the file.
    void resetAll() noexcept {
        loggerImpl* logger = newest_.load(std::memory_order_acquire);
        for (; logger != nullptr; logger = logger->older())
            logger->reset();
    }

private:
    AllLoggers() {
        platform::callAtFork([] { get().lockAll(); }, [] { get().unlockAll(); },
                             [] { get().unlockAll(); });
    }
    void lockAll() {
        lock_.lock();
        for (const auto& [name, logger] : loggers_)
            logger.switchesLock().lock();
    }
    void unlockAll() {
        for (const auto& [name, logger] : loggers_)
            logger.switchesLock().unlock();
        lock_.unlock();
    }

    Mutex lock_;  // before that of any logger
    std::map<std::string, loggerImpl> loggers_;
    std::atomic<loggerImpl*> newest_{nullptr};
};

// What is not read keeps what another thread may set meanwhile.
template <class Flag, class T>
void fieldOf(pml::stream& s, const char* name, Flag& member, T value) {
    const pml::Field__<T> bound{name, istr(), &value};
    if (!s.isInputStream()) {
        bound.set(s);
    } else if (bound.get(s)) {
        member = value;
    }
}
template <class T>
void fieldOf(pml::stream& s, const char* name, std::atomic<T>& member) {
    fieldOf(s, name, member, member.load());
}

}  // namespace

// The loggers that were asked for. Its operations are called with the lock of all loggers held.
class LoggerFactoryImpl : noncopyable {
public:
    static LoggerFactoryImpl& get() { return *CreateByAllocate<LoggerFactoryImpl>::instance(); }
    logger& instance(const std::string& name) {
        loggerImpl*& known = loggers_[name];
        if (known == nullptr) known = &AllLoggers::get().ofName(name);
        return *known;
    }
    ShownMap<std::string, Shown> shown() const {
        ShownMap<std::string, Shown> copy;
        for (const auto& [name, logger] : loggers_)
            copy.values.emplace(name, Shown{logger});
        return copy;
    }

private:
    std::map<std::string, loggerImpl*> loggers_;
};

namespace {
constinit const std::atomic<bool> off{false};
}
// Written once, when the library is loaded.
constinit const std::atomic<bool>* own_log::debugSwitch = &off;

loggerImpl& ownLogger() {
    static loggerImpl& own = []() -> loggerImpl& {
        const Guard guard(AllLoggers::get().lock());
        loggerImpl& made = AllLoggers::get().ofName("QOR");
        own_log::debugSwitch = &made.debugSwitch();
        return made;
    }();
    return own;
}

namespace {
// Made when the library is loaded: a thread that makes it while another one forks would leave the
// child without it.
[[maybe_unused]] const loggerImpl& madeAtLoad = ownLogger();
}  // namespace

void logger_factory::create() {
    const Guard guard(AllLoggers::get().lock());
    LoggerFactoryImpl::get();
}

void logger_factory::destroy() noexcept {
    {
        const Guard guard(AllLoggers::get().lock());
        CreateByAllocate<LoggerFactoryImpl>::destroy();
    }
    AllLoggers::get().resetAll();
}

logger& logger_factory::instance(const std::string& name) {
    const Guard guard(AllLoggers::get().lock());
    return LoggerFactoryImpl::get().instance(name);
}

dumper& operator<<(dumper& d, LOGGER_FACTORY) {
    const auto shown = [] {
        const Guard guard(AllLoggers::get().lock());
        return LoggerFactoryImpl::get().shown();
    }();
    const dumper::_Entry entry(d, "qor::logger_factory");
    return d.member("loggers_", shown);
}

loggerImpl::loggerImpl(const loggerImpl& other) : logger() {
    assign(other);
}

loggerImpl& loggerImpl::operator=(const loggerImpl& other) {
    if (this != &other) assign(other);
    return *this;
}

void loggerImpl::assign(const loggerImpl& other) {
    Switches appLogs, msgLogs;
    bool on[std::size(kFlags)];
    ulong32 maxStringSize;
    {
        const Guard guard(other.mutex_);
        appLogs = other.appLogs_;
        msgLogs = other.msgLogs_;
        for (std::size_t i = 0; i < std::size(kFlags); ++i)
            on[i] = other.*kFlags[i];
        maxStringSize = other.maxStringSize_;
    }
    const Guard guard(mutex_);
    appLogs_.swap(appLogs);
    msgLogs_.swap(msgLogs);
    for (std::size_t i = 0; i < std::size(kFlags); ++i)
        this->*kFlags[i] = on[i];
    maxStringSize_ = maxStringSize;
}

void loggerImpl::close() {
    nuv_flat_log_release(sink_.exchange(nullptr));
}

void loggerImpl::open(istr fileName) {
    if (hasSink() || fileName.is_null()) return;
    nuv_flat_log_base* const sink = nuv_flat_log_get(String(fileName).c_str());
    if (sink == nullptr) return;
    sink->level(kLevel);
    nuv_flat_log_base* none = nullptr;
    sink_.compare_exchange_strong(none, sink);
}

void loggerImpl::write(istr text) {
    nuv_flat_log_base* const sink = sink_;
    if (sink == nullptr) return;
    const auto size = static_cast<int>(std::min(text.empty() ? 0 : text.size(), kMostText));
    sink->log("", "f", "l", 0, kLevel, "%.*s", size, size != 0 ? text.data() : "");
}

bool loggerImpl::find(const Switches& switches, const String& name, const char* otherwise,
                      bool& on) {
    auto found = switches.find(name);
    if (found == switches.end() && otherwise != nullptr) found = switches.find(otherwise);
    if (found == switches.end()) return false;
    on = found->second;
    return true;
}

bool loggerImpl::appLog(const String& name) const {
    if (!appLogOn()) return false;
    const Guard guard(mutex_);
    bool on = false;
    return find(appLogs_, name, nullptr, on) && on;
}

void loggerImpl::appLog(const String& name, bool on) {
    const Guard guard(mutex_);
    appLogs_[name] = on;
}

bool loggerImpl::appLogOff(const String& name) const {
    if (!appLogOn()) return true;
    const Guard guard(mutex_);
    bool on = false;
    return find(appLogs_, name, nullptr, on) && !on;
}

bool loggerImpl::msgLog(const String& name) const {
    if (!msgLogOn()) return false;
    const Guard guard(mutex_);
    bool on = false;
    return find(msgLogs_, name, "default", on) && on;
}

void loggerImpl::msgLog(const String& name, bool on) {
    const Guard guard(mutex_);
    msgLogs_[name] = on;
}

bool loggerImpl::msgLogOff(const String& name) const {
    if (!msgLogOn()) return true;
    const Guard guard(mutex_);
    bool on = false;
    return find(msgLogs_, name, "default", on) && !on;
}

// Given once, it needs no lock: whoever has the lock of the switches may raise, and that is logged.
std::string loggerImpl::name() const {
    return inited_ ? name_ : std::string();
}

void loggerImpl::codec(pml::stream& s) {
    const Guard guard(codecMutex_);
    fieldOf(s, "infoOn", infoOn_);
    fieldOf(s, "debugOn", debugOn_);
    fieldOf(s, "traceOn", traceOn_);
    fieldOf(s, "dataLogOn", dataLogOn_);
    fieldOf(s, "debugLogOn", debugLogOn_);
    fieldOf(s, "traceLogOn", traceLogOn_);
    fieldOf(s, "diagLogOn", diagLogOn_);
    fieldOf(s, "cmdLogOn", cmdLogOn_);
    fieldOf(s, "commLogOn", commLogOn_);
    fieldOf(s, "hbLogOn", hbLogOn_);
    fieldOf(s, "appLogOn", appLogOn_);
    switchesOf(s, "appLogs", appLogs_);
    fieldOf(s, "msgLogOn", msgLogOn_);
    switchesOf(s, "msgLogs", msgLogs_);
    fieldOf(s, "maxStringSize", maxStringSize_);
    fieldOf(s, "consoleOn", console::on(), console::isOn());
}

void loggerImpl::switchesOf(pml::stream& s, const char* name, Switches& member) {
    Switches switches;
    const pml::Field__<Switches> bound{name, istr(), &switches};
    if (!s.isInputStream()) {
        {
            const Guard guard(mutex_);
            switches = member;
        }
        bound.set(s);
    } else if (bound.get(s)) {
        const Guard guard(mutex_);
        member.swap(switches);
    }
}

dumper& loggerImpl::dump(dumper& d) const {
    // No lock is held while the dumper works.
    const loggerImpl now(*this);
    const dumper::_Entry entry(d, "qor::loggerImpl");
    d.member("infoOn_", now.infoOn_.load()).member("debugOn_", now.debugOn_.load());
    d.member("traceOn_", now.traceOn_.load()).member("dataLogOn_", now.dataLogOn_.load());
    d.member("debugLogOn_", now.debugLogOn_.load()).member("traceLogOn_", now.traceLogOn_.load());
    d.member("diagLogOn_", now.diagLogOn_.load()).member("cmdLogOn_", now.cmdLogOn_.load());
    d.member("commLogOn_", now.commLogOn_.load()).member("hbLogOn_", now.hbLogOn_.load());
    d.member("appLogOn_", now.appLogOn_.load()).member("appLogs_", now.appLogs_);
    d.member("msgLogOn_", now.msgLogOn_.load()).member("msgLogs_", now.msgLogs_);
    d.member("maxStringSize_", now.maxStringSize_.load());
    return d.member("console::isOn()", console::isOn()).member("inited_", inited_.load());
}

void loggerImpl::dump(std::ostream& os) const {
    dumpTo(os, *this);
}

void loggerImpl::level(int n) {
    if (nuv_flat_log_base* const sink = sink_) sink->level(n);
}

void loggerImpl::maxFileSize(int kibibytes) {
    nuv_flat_log_base* const sink = sink_;
    if (sink != nullptr && kibibytes >= 1) sink->max_file_size(kibibytes);
}

void loggerImpl::maxFileCount(int count) {
    nuv_flat_log_base* const sink = sink_;
    if (sink != nullptr && count >= 1) sink->max_file_count(count);
}

bool loggerImpl::init(const std::string& name, loggerImpl* older) {
    const Guard guard(mutex_);
    if (inited_) return false;
    name_ = name;
    older_ = older;
    inited_ = true;
    return true;
}

void loggerImpl::reset() {
    close();
    assign(loggerImpl());
}

// The library's own loggers, as the floors above and those below know them.

logger& own_log::toolkit() noexcept {
    return ownLogger();
}

logger& own_log::network() {
    static logger& found = logger_factory::instance("qor");
    return found;
}

namespace upward {

bool infoOn() {
    return ownLogger().infoOn();
}

bool debugOn() {
    return ownLogger().debugOn();
}

unsigned long maxStringSize() {
    return ownLogger().maxStringSize();
}

void writeLine(istr text) {
    logger_factory::instance("QOR").write(text);
}

void writeInfoLog(const char* file, unsigned line, const char* func, istr text, const char* tag) {
    qor::writeInfoLog(ownLogger(), file, line, func, text, tag);
}

void writeDebugLog(const char* file, unsigned line, const char* func, istr text, const char* tag) {
    qor::writeDebugLog(ownLogger(), file, line, func, text, tag);
}

void writeErrorLog(const char* file, unsigned line, const char* func, istr cause) {
    qor::writeErrorLog(ownLogger(), file, line, func, cause);
}

void exceptionThrown(const char* file, unsigned line, const char* func, const char* text) {
    qor::exceptionThrown(ownLogger(), file, line, func, text);
}

}  // namespace upward

}  // namespace qor
