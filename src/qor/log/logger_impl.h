#ifndef QOR_SRC_LOG_LOGGER_IMPL_H
#define QOR_SRC_LOG_LOGGER_IMPL_H

#include <atomic>
#include <map>
#include <new>
#include <string>

#include "nuv_flat_log.h"
#include "qor/base/base_type_number.h"
#include "qor/log/log_factory.h"
#include "qor/mt/mutex.h"

namespace qor {

// The only implementation of logger.
class loggerImpl final : public logger {
public:
    loggerImpl() = default;
    // Copies all switches; the copy has no name and no file.
    loggerImpl(const loggerImpl& other);
    loggerImpl& operator=(const loggerImpl& other);
    ~loggerImpl() override = default;

    void close() override;
    void open(istr fileName) override;
    void write(istr text) override;

    bool infoOn() const override { return infoOn_; }
    void infoOn(bool on) override { infoOn_ = on; }
    bool debugOn() const override { return debugOn_; }
    void debugOn(bool on) override { debugOn_ = on; }
    const std::atomic<bool>& debugSwitch() const noexcept { return debugOn_; }
    bool traceOn() const override { return debugOn_ && traceOn_; }
    void traceOn(bool on) override { traceOn_ = on; }
    bool dataLogOn() const override { return debugOn_ && dataLogOn_; }
    bool debugLogOn() const override { return debugOn_ && debugLogOn_; }
    bool traceLogOn() const override { return debugOn_ && traceLogOn_; }
    bool diagLogOn() const override { return debugOn_ && diagLogOn_; }
    bool cmdLogOn() const override { return debugOn_ && cmdLogOn_; }
    bool commLogOn() const override { return debugOn_ && commLogOn_; }
    bool hbLogOn() const override { return debugOn_ && hbLogOn_; }

    bool appLogOn() const override { return appLogOn_; }
    void appLogOn(bool on) override { appLogOn_ = on; }
    bool appLog(const String& name) const override;
    void appLog(const String& name, bool on) override;
    bool appLogOff(const String& name) const override;
    bool msgLogOn() const override { return debugOn_ && msgLogOn_; }
    void msgLogOn(bool on) override { msgLogOn_ = on; }
    bool msgLog(const String& name) const override;
    void msgLog(const String& name, bool on) override;
    bool msgLogOff(const String& name) const override;

    unsigned long maxStringSize() const override { return maxStringSize_; }
    std::string name() const override;
    void codec(pml::stream& s) override;
    dumper& dump(dumper& d) const override;
    void dump(std::ostream& os) const override;

    void level(int n) override;
    void maxFileSize(int kibibytes) override;
    void maxFileCount(int count) override;

    // Call these two before other threads know the logger.
    void init(const std::string& name);
    // The logger that was created before this one.
    void older(loggerImpl* before) noexcept { older_ = before; }
    loggerImpl* older() const noexcept { return older_; }
    // Closes the file and resets the switches to those of a new logger. The name is kept.
    void reset();
    const Mutex& switchesLock() const noexcept { return mutex_; }
    // In a forked child: codec does not wait for a codec of the parent.
    void forgetCodec() noexcept { new (&codecMutex_) Mutex; }
    bool hasSink() const noexcept { return sink_ != nullptr; }

private:
    using Switches = std::map<String, Bit>;
    struct Switch;  // a row of the table of all switches

    // Sets `on` to the switch `name`, or to the switch `otherwise` (may be null) if there is none.
    // False if neither exists.
    static bool find(const Switches& switches, const String& name, const char* otherwise, bool& on);
    void set(Switches& switches, const String& name, bool on);
    void assign(const loggerImpl& other);
    void codecByName(pml::stream& s, istr key, Switches& member);

    Mutex codecMutex_;  // held during codec, which may raise and then logs
    Mutex mutex_;       // guards appLogs_ and msgLogs_; held for nothing but their use and copies
    std::atomic<bool> infoOn_{true};
    std::atomic<bool> debugOn_{false};
    std::atomic<bool> traceOn_{false};
    std::atomic<bool> dataLogOn_{false};
    std::atomic<bool> debugLogOn_{false};
    std::atomic<bool> traceLogOn_{false};
    std::atomic<bool> diagLogOn_{false};
    std::atomic<bool> cmdLogOn_{false};
    std::atomic<bool> commLogOn_{false};
    std::atomic<bool> hbLogOn_{false};
    std::atomic<bool> appLogOn_{true};
    Switches appLogs_;
    std::atomic<bool> msgLogOn_{false};
    Switches msgLogs_;
    std::atomic<ulong32> maxStringSize_{256};
    std::string name_;
    loggerImpl* older_ = nullptr;
    std::atomic<bool> inited_{false};
    std::atomic<nuv_flat_log_base*> sink_{nullptr};
};

// The library's own logger, valid at any time.
loggerImpl& ownLogger();

}  // namespace qor

#endif  // QOR_SRC_LOG_LOGGER_IMPL_H
