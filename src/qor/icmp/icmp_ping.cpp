#include "qor/icmp/icmp_ping.h"

#include <ace/Log_Msg.h>
#include <ace/Ping_Socket.h>

#include <algorithm>

#include "log/own_log.h"
#include "qor/base/base_type_time.h"
#include "qor/base/mlcheck.h"
#include "qor/mt/mutex.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

constexpr const char* kError = "<ICMP.ERROR>";
constexpr const char* kInfo = "ICMP.INFO";
constexpr long32 kLongestWait = 1000000;

// ACE tells the terminal of each ping. It has one switch for the whole process, which is set back
// when the last ping has ended.
class AceSilence : noncopyable {
public:
    AceSilence() {
        const Guard guard(lock());
        if (pings_++ == 0) before_ = ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::PROCESS);
    }
    ~AceSilence() {
        const Guard guard(lock());
        if (--pings_ == 0) ACE_LOG_MSG->priority_mask(before_, ACE_Log_Msg::PROCESS);
    }

private:
    static const Mutex& lock() {
        static const Mutex& mutex = *new Mutex;
        return mutex;
    }

    static inline unsigned pings_ = 0;
    static inline u_long before_ = 0;
};

}  // namespace

class PingImpl : noncopyable {
public:
    bool open();
    void close();
    bool sendAndWait(const String& host, long long* cost, long waitTimeout);

private:
    ACE_Ping_Socket socket_;
    bool open_ = false;
};

bool PingImpl::open() {
    const AceSilence silence;
    open_ = socket_.open(ACE_Addr::sap_any, IPPROTO_ICMP, 0) == 0;
    if (!open_) {
        net_log::tagged(kError, "qor::Ping::open", [] { return "ICMP socket open failed."; });
    }
    return open_;
}

void PingImpl::close() {
    if (open_) socket_.ACE_SOCK::close();
    open_ = false;
}

bool PingImpl::sendAndWait(const String& host, long long* cost, long waitTimeout) {
    constexpr const char* func = "qor::Ping::sendAndWait";
    if (!open_) {
        net_log::tagged(kError, func, [] { return "ICMP socket not open."; });
        return false;
    }
    ACE_INET_Addr remote = tcp::toInetAddr(TcpAddr(0, host));
    const auto seconds = static_cast<long32>(waitTimeout);
    const ACE_Time_Value time(std::clamp(seconds, 0, kLongestWait));
    const AceSilence silence;
    const Time start = Time::now();
    if (socket_.make_echo_check(remote, false, &time) != 0) {
        net_log::tagged(kError, func,
                        [&] { return own_log::text("ICMP send failed. remote:", remote); });
        return false;
    }
    const Time elapsed = Time::now() - start;
    if (cost != nullptr) *cost = elapsed.toMilliSeconds();
    const own_log::Place here(func);
    net_log::tagged(kInfo, here, [&] {
        return own_log::text(here.frame(), " ping:", istr(host), ", waitTimeout:", seconds,
                             ",cost:", istr(elapsed.toDuration()));
    });
    return true;
}

Ping::Ping() : impl_(checkedNew<PingImpl>(__FILE__, __LINE__, "qor::Ping::Ping")) {}

Ping::~Ping() {
    checkedDelete(impl_, __FILE__, __LINE__, "qor::Ping::~Ping");
}

bool Ping::open() {
    return impl_->open();
}

void Ping::close() {
    impl_->close();
}

bool Ping::sendAndWait(const String& host, long long* cost, long waitTimeout) {
    return impl_->sendAndWait(host, cost, waitTimeout);
}

}  // namespace qor
