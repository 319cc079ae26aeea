#include "tcp/tcp_client_impl.h"

#include <ace/SOCK_Connector.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "log/own_log.h"
#include "mt/thread_factory.h"
#include "platform/socket.h"
#include "qor/base/mlcheck.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

// In seconds, so that the system's waits do not overflow.
constexpr int kLongestTimeout = 1000000;
// Between two looks for a close while it connects.
constexpr std::chrono::milliseconds kStep(20);

}  // namespace

TcpClientImpl::TcpClientImpl(const TcpAddr& remote, Handle<TcpCallback> callback,
                             int timeoutSeconds, int socketBufferSize)
    : SimpleThread(nullptr, "tcp.client"),
      remote_(tcp::toInetAddr(remote)),
      receiver_(std::move(callback)),
      timeoutSeconds_(std::clamp(timeoutSeconds, 0, kLongestTimeout)),
      socketBufferSize_(socketBufferSize),
      socket_(remote_) {}

bool TcpClientImpl::send(const istr& payload, int timeoutSeconds) {
    const tcp::TcpSocket::Use use(socket_);
    return use ? sendBuf(payload, timeoutSeconds) : tcp::sendOnClosed(payload, timeoutSeconds);
}

// Before its birth, a thread that raises does not call onDeath, which releases the callback.
void TcpClientImpl::run_i() {
    try {
        SimpleThread::run_i();
    } catch (...) {
        onDeath();
        throw;
    }
}

bool TcpClientImpl::onBirth() {
    ACE_SOCK_Stream connected;
    if (!connect(connected)) return false;
    socket_.open(connected.get_handle());
    socket_.setUp(socketBufferSize_);
    logConnected();
    // If the client is closed while it connects, onClosed is not called, since open returns false.
    if (living()) receiver_.begin(tcp::toTcpAddr(remote_));
    return true;
}

// The connector only starts to connect: its own wait would report a signal as a failure.
bool TcpClientImpl::connect(ACE_SOCK_Stream& connected) {
    constexpr const char* func = "qor::TcpClientImpl::onBirth";
    if (remote_ == ACE_INET_Addr()) {
        net_log::error(func, errno,
                       [&] { return own_log::text("invalid remote address ", remote_); });
        return false;
    }
    // A program that is started meanwhile must not inherit the socket.
    const bool made = connected.open(SOCK_STREAM | SOCK_CLOEXEC, remote_.get_type(), 0, 0) == 0;
    ACE_SOCK_Connector connector;
    const ACE_Time_Value atOnce(0);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds_);
    if (made && connector.connect(connected, remote_, &atOnce, ACE_Addr::sap_any, 0, 0, 0, 0) == 0)
        return true;
    int error = errno;
    if (error == EWOULDBLOCK) {
        // With a timeout of 0, succeeds only if the connection is already established.
        // A close does not wait for the timeout.
        while (living()) {
            const auto step = std::chrono::steady_clock::now() + kStep;
            if (platform::waitWritable(connected.get_handle(), std::min(step, end)) != ETIME) break;
            if (step >= end) break;
        }
        if (connector.complete(connected, nullptr, &atOnce) == 0) return true;
        error = errno == EWOULDBLOCK ? ETIME : errno;
    }
    connected.close();
    net_log::error(func, error, [&] {
        return own_log::text(error == ETIME ? "connection timeout " : "connection failed ",
                             remote_);
    });
    return false;
}

void TcpClientImpl::logConnected() {
    ACE_INET_Addr local;
    if (socket_.stream().get_local_addr(local) == 0) localPort_ = local.get_port_number();
    net_log::info("qor::TcpClientImpl::onBirth", [&] {
        dumper from, to;
        from << local;
        to << remote_;
        return own_log::text("connected at ", from.str(), " to ", to.str());
    });
}

bool TcpClientImpl::onLoop() {
    if (receiver_.recv(*this, socket_)) return true;
    net_log::ended("qor::TcpClientImpl::onLoop", [] { return "break loop: !recv()"; });
    return false;
}

// Calls onClosed, also if the thread was stopped while it was not reading.
void TcpClientImpl::onDeath() {
    receiver_.end(socket_);
    socket_.close();
}

void TcpClientImpl::onStop() {
    localPort_ = 0;
    socket_.end();
}

bool TcpClientImpl::isOwnThread() const {
    return ThreadFactory::thread() == this;
}

// A thread does not wait for itself.
void TcpClientImpl::requestEnd() {
    if (isOwnThread()) {
        stop();
    } else {
        stopOnly();
    }
}

namespace tcp {

bool ClientImpl::open(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
                      int socketBufferSize) {
    constexpr const char* func = "qor::tcp::ClientImpl::open";
    return own_log::guarded(own_log::network, func, false, [&] {
        const Handle<TcpClientImpl> made(
            checkedNew<TcpClientImpl>(__FILE__, __LINE__, func, remote, std::move(callback),
                                      timeoutSeconds, socketBufferSize));
        opened_.add(made);
        try {
            made->startAndWait(kStackBytes);
        } catch (...) {
            made->abandon();
            throw;
        }
        return made->living();
    });
}

bool ClientImpl::send(const istr& payload, int timeoutSeconds) {
    const Handle<TcpClientImpl> sending = opened_.last();
    if (sending) return sending->send(payload, timeoutSeconds);
    net_log::ended("qor::tcp::ClientImpl::send", [] { return "null tcp client impl"; });
    return false;
}

unsigned short ClientImpl::getLocalPort() const {
    const Handle<TcpClientImpl> asked = opened_.last();
    return asked ? asked->getLocalPort() : 0;
}

}  // namespace tcp

}  // namespace qor
