#include "qor/icmp/icmp_ping.h"

#include <ace/INET_Addr.h>
#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>

#include "log/own_log.h"
#include "platform/echo.h"
#include "qor/base/base_type_time.h"
#include "qor/base/mlcheck.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

constexpr const char* kError = "<ICMP.ERROR>";
constexpr const char* kInfo = "ICMP.INFO";
constexpr long kLongestWait = 1000000;  // in seconds

// Returns 0 or an error number. An unknown host has the address ACE_INET_Addr().
int exchange(platform::EchoSocket& socket, const ACE_INET_Addr& remote, int timeoutSeconds) {
    if (remote == ACE_INET_Addr() || remote.get_type() != AF_INET) return EADDRNOTAVAIL;
    return socket.exchange(htonl(remote.get_ip_address()), timeoutSeconds);
}

}  // namespace

class PingImpl : noncopyable {
public:
    bool open();
    void close();
    bool sendAndWait(const String& host, long long* cost, long waitTimeout);

private:
    platform::EchoSocket socket_;
};

bool PingImpl::open() {
    if (socket_.open() == 0) return true;
    net_log::tagged(kError, "qor::Ping::open", [] { return "ICMP socket open failed."; });
    return false;
}

void PingImpl::close() {
    socket_.close();
}

bool PingImpl::sendAndWait(const String& host, long long* cost, long waitTimeout) {
    constexpr const char* func = "qor::Ping::sendAndWait";
    if (!socket_.isOpen()) {
        net_log::tagged(kError, func, [] { return "ICMP socket not open."; });
        return false;
    }
    const ACE_INET_Addr remote = tcp::toInetAddr(TcpAddr(0, host));
    const Time start = Time::now(Time::Monotonic);
    const auto seconds = static_cast<int>(std::clamp(waitTimeout, 0L, kLongestWait));
    if (exchange(socket_, remote, seconds) != 0) {
        net_log::tagged(kError, func,
                        [&] { return own_log::text("ICMP send failed. remote:", remote); });
        return false;
    }
    const Time elapsed = Time::now(Time::Monotonic) - start;
    if (cost != nullptr) *cost = elapsed.toMilliSeconds();
    const own_log::Place here(func);
    net_log::tagged(kInfo, here, [&] {
        return own_log::text(here.frame(), " ping:", istr(host), ", waitTimeout:", waitTimeout,
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
    return own_log::guarded(own_log::network, "qor::Ping::sendAndWait", false,
                            [&] { return impl_->sendAndWait(host, cost, waitTimeout); });
}

}  // namespace qor
