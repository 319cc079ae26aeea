#include "qor/log/log_factory.h"

#include <algorithm>
#include <utility>

#include "base/upward.h"
#include "log/logger_impl.h"
#include "log/own_log.h"
#include "log/shown_map.h"
#include "platform/first_use.h"
#include "platform/thread.h"
#include "qor/log/console.h"
#include "qor/log/log_dumper.h"
#include "qor/pml/pml_T.h"

namespace qor {

namespace {

constexpr int kLevel = NUV_LOG_INFO;
// The number of bytes of a text that are passed on at most: somewhat more than a line of the file
// can have.
constexpr unsigned long kMostText = 16384;

// A logger for the dump of the factory.
struct Shown {
    dumper& dump(dumper& d) const { return object->dump(d); }

    const loggerImpl* object;
};

// All loggers. They are never destroyed: references may be used at any time, also in static
// destructors. In a forked child all of their locks are free.
class AllLoggers : noncopyable {
public:
    static AllLoggers& get() {
        static AllLoggers& all = *new AllLoggers;
        return all;
    }

    // `requested` is false when the library creates its own logger.
    loggerImpl& ofName(const std::string& name, bool requested) {
        {
            const Guard guard(lock_);
            const auto found = loggers_.find(name);
            if (found != loggers_.end()) return used(found->second, requested);
        }
        // Without the lock, since a watcher of allocations may log.
        std::map<std::string, Entry> made;
        made[name].logger.init(name);
        decltype(loggers_)::insert_return_type added;
        const Guard guard(lock_);
        added = loggers_.insert(made.extract(made.begin()));
        Entry& entry = added.position->second;
        if (added.inserted) {
            entry.logger.older(newest_);
            newest_.store(&entry.logger, std::memory_order_release);
        }
        return used(entry, requested);
    }
    ShownMap<std::string, Shown> shown() const {
        const Guard guard(lock_);
        ShownMap<std::string, Shown> copy;
        for (const auto& [name, entry] : loggers_) {
            if (entry.requested) copy.values.emplace(name, Shown{&entry.logger});
        }
        return copy;
    }
    void resetAll() noexcept {
        {
            const Guard guard(lock_);
            for (auto& [name, entry] : loggers_)
                entry.requested = false;
        }
        // Without the lock, since closing waits for the file.
        loggerImpl* logger = newest_.load(std::memory_order_acquire);
        for (; logger != nullptr; logger = logger->older())
            logger->reset();
    }

private:
    struct Entry {
        loggerImpl logger;
        // By instance(), since the last reset: the dump of the factory shows only these loggers.
        bool requested = false;
    };

    static loggerImpl& used(Entry& entry, bool requested) {
        if (requested) entry.requested = true;
        return entry.logger;
    }

    AllLoggers() {
        platform::callAtFork([] { get().lockAll(); }, [] { get().unlockAll(); },
                             [] {
                                 for (auto& [name, entry] : get().loggers_)
                                     entry.logger.forgetCodec();
                                 get().unlockAll();
                             });
    }
    void lockAll() {
        lock_.lock();
        for (const auto& [name, entry] : loggers_)
            entry.logger.switchesLock().lock();
    }
    void unlockAll() {
        for (const auto& [name, entry] : loggers_)
            entry.logger.switchesLock().unlock();
        lock_.unlock();
    }

    Mutex lock_;  // locked before the lock of any logger
    std::map<std::string, Entry> loggers_;
    std::atomic<loggerImpl*> newest_{nullptr};
};

// The name of a member in a dump: the key of the configuration and an underscore.
std::string memberOf(const char* key) {
    return std::string(key) + '_';
}

// If the input lacks the field, the member is not written, since another thread may set it
// meanwhile.
template <class Flag, class T>
void fieldOf(pml::stream& s, istr name, Flag& member, T value) {
    const pml::Field__<T> bound{name, istr(), &value};
    if (!s.isInputStream()) {
        bound.set(s);
    } else if (bound.get(s)) {
        member = value;
    }
}
template <class T>
void fieldOf(pml::stream& s, istr name, std::atomic<T>& member) {
    fieldOf(s, name, member, member.load());
}

}  // namespace

// The switches in the order in which they are written and shown.
struct loggerImpl::Switch {
    const char* key;
    std::atomic<bool> loggerImpl::*on;
    // The switches by name that are all off while this one is off.
    const char* keyByName = nullptr;
    Switches loggerImpl::*byName = nullptr;

    static const Switch all[];
};
constinit const loggerImpl::Switch loggerImpl::Switch::all[] = {
    {"infoOn", &loggerImpl::infoOn_},
    {"debugOn", &loggerImpl::debugOn_},
    {"traceOn", &loggerImpl::traceOn_},
    {"dataLogOn", &loggerImpl::dataLogOn_},
    {"debugLogOn", &loggerImpl::debugLogOn_},
    {"traceLogOn", &loggerImpl::traceLogOn_},
    {"diagLogOn", &loggerImpl::diagLogOn_},
    {"cmdLogOn", &loggerImpl::cmdLogOn_},
    {"commLogOn", &loggerImpl::commLogOn_},
    {"hbLogOn", &loggerImpl::hbLogOn_},
    {"appLogOn", &loggerImpl::appLogOn_, "appLogs", &loggerImpl::appLogs_},
    {"msgLogOn", &loggerImpl::msgLogOn_, "msgLogs", &loggerImpl::msgLogs_},
};

namespace {
constinit const std::atomic<bool> off{false};
}
// Set once, when the library is loaded.
constinit const std::atomic<bool>* own_log::debugSwitch = &off;

loggerImpl& ownLogger() {
    static loggerImpl& own = []() -> loggerImpl& {
        loggerImpl& made = AllLoggers::get().ofName("QOR", false);
        own_log::debugSwitch = &made.debugSwitch();
        return made;
    }();
    return own;
}

namespace {
const platform::MadeAtLoad madeAtLoad([] { ownLogger(); });
loggerImpl& networkLogger = AllLoggers::get().ofName("qor", false);
}  // namespace

void logger_factory::create() {
    AllLoggers::get();
}

void logger_factory::destroy() noexcept {
    AllLoggers::get().resetAll();
}

logger& logger_factory::instance(const std::string& name) {
    return AllLoggers::get().ofName(name, true);
}

dumper& operator<<(dumper& d, LOGGER_FACTORY) {
    const auto shown = AllLoggers::get().shown();
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
    bool on[std::size(Switch::all)];
    ulong32 maxStringSize;
    {
        const Guard guard(other.mutex_);
        appLogs = other.appLogs_;
        msgLogs = other.msgLogs_;
        for (std::size_t i = 0; i < std::size(Switch::all); ++i)
            on[i] = other.*Switch::all[i].on;
        maxStringSize = other.maxStringSize_;
    }
    const Guard guard(mutex_);
    appLogs_.swap(appLogs);
    msgLogs_.swap(msgLogs);
    for (std::size_t i = 0; i < std::size(Switch::all); ++i)
        this->*Switch::all[i].on = on[i];
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

// Allocates and frees without the lock, since a watcher of allocations may log.
void loggerImpl::set(Switches& switches, const String& name, bool on) {
    Switches made;
    made.emplace(name, on);
    Switches::insert_return_type added;
    const Guard guard(mutex_);
    added = switches.insert(made.extract(made.begin()));
    added.position->second = on;
}

bool loggerImpl::appLog(const String& name) const {
    if (!appLogOn()) return false;
    const Guard guard(mutex_);
    bool on = false;
    return find(appLogs_, name, nullptr, on) && on;
}

void loggerImpl::appLog(const String& name, bool on) {
    set(appLogs_, name, on);
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
    set(msgLogs_, name, on);
}

bool loggerImpl::msgLogOff(const String& name) const {
    if (!msgLogOn()) return true;
    const Guard guard(mutex_);
    bool on = false;
    return find(msgLogs_, name, "default", on) && !on;
}

// Takes no lock: the name is set once. A thread that holds the lock of the switches may raise an
// exception, and logging that calls name().
std::string loggerImpl::name() const {
    return inited_ ? name_ : std::string();
}

void loggerImpl::codec(pml::stream& s) {
    const Guard guard(codecMutex_);
    for (const Switch& row : Switch::all) {
        fieldOf(s, row.key, this->*row.on);
        if (row.byName != nullptr) codecByName(s, row.keyByName, this->*row.byName);
    }
    fieldOf(s, "maxStringSize", maxStringSize_);
    fieldOf(s, "consoleOn", console::on(), console::isOn());
}

void loggerImpl::codecByName(pml::stream& s, istr key, Switches& member) {
    Switches switches;
    const pml::Field__<Switches> bound{key, istr(), &switches};
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
    // Copies first, so that no lock is held while the dumper writes.
    const loggerImpl now(*this);
    const dumper::_Entry entry(d, "qor::loggerImpl");
    for (const Switch& row : Switch::all) {
        d.member(memberOf(row.key), (now.*row.on).load());
        if (row.byName != nullptr) d.member(memberOf(row.keyByName), now.*row.byName);
    }
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

void loggerImpl::init(const std::string& name) {
    name_ = name;
    inited_ = true;
}

void loggerImpl::reset() {
    close();
    assign(loggerImpl());
}

// The library's own loggers, for the higher floors (own_log) and the lower ones (upward).

logger& own_log::toolkit() noexcept {
    return ownLogger();
}

logger& own_log::network() {
    // From the first use on, a dump of the factory shows the logger.
    static constinit std::atomic<bool> requested{false};
    if (!requested.load(std::memory_order_relaxed)) {
        AllLoggers::get().ofName("qor", true);
        requested.store(true, std::memory_order_relaxed);
    }
    return networkLogger;
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
