#include "tcp/tcp_server_connection.h"

#include <cerrno>
#include <utility>

#include "log/own_log.h"
#include "tcp/tcp_acceptor.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

constexpr const char* kTag = "TCP.DEBUG";
constexpr const char* kLoop = "qor::TcpServerImpl::onLoop";

}  // namespace

TcpServerImpl::TcpServerImpl(TcpAcceptor* owner, const char* name, Handle<TcpCallback> callback,
                             const ACE_INET_Addr& remote, int socketBufferSize)
    : SimpleThread(owner, name),
      owner_(owner),
      receiver_(std::move(callback)),
      socketBufferSize_(socketBufferSize),
      socket_(remote),
      remote_(remote),
      peer_(tcp::toTcpAddr(remote)) {}

void TcpServerImpl::adopt(ACE_HANDLE handle) {
    socket_.open(handle);
    handle_ = handle;
}

// After this, nothing is sent. The descriptor stays open until the connection is destroyed.
void TcpServerImpl::close() {
    net_log::tagged(kTag, "qor::TcpServerImpl::close",
                    [&] { return own_log::text("closed connection ", remote_); });
    socket_.end();
}

void TcpServerImpl::onStop() {
    if (!closingLogged_.exchange(true)) {
        net_log::tagged(kTag, "qor::TcpServerImpl::onStop",
                        [&] { return own_log::text("closing connection ", remote_); });
    }
    socket_.end();
}

bool TcpServerImpl::send(const istr& payload, int timeoutSeconds) {
    const tcp::TcpSocket::Use use(socket_);
    return use ? sendBuf(payload, timeoutSeconds) : tcp::sendOnClosed(payload, timeoutSeconds);
}

void TcpServerImpl::run_i() {
    struct BirthNotice {
        TcpServerImpl& connection;
        ~BirthNotice() { connection.announceBirth(); }
    };
    const BirthNotice notice{*this};  // even if the thread raises before its birth
    SimpleThread::run_i();
}

bool TcpServerImpl::onBirth() {
    const bool opens = open();
    announceBirth();
    return opens;
}

void TcpServerImpl::announceBirth() noexcept {
    born_ = true;
    born_.notify_all();
}

bool TcpServerImpl::open() {
    constexpr const char* func = "qor::TcpServerImpl::open";
    ACE_INET_Addr remote;
    if (socket_.stream().get_remote_addr(remote) == -1) {
        net_log::error(func, errno, [] { return "get_remote_addr"; });
        return close(), false;
    }
    if (socket_.stream().disable(ACE_NONBLOCK) == -1) {
        net_log::error(func, errno,
                       [&] { return own_log::text("disable(ACE_NONBLOCK) ", remote); });
        return close(), false;
    }
    socket_.setUp(socketBufferSize_);
    receiver_.begin(peer_);
    opened_ = true;
    return true;
}

bool TcpServerImpl::onLoop() {
    if (!owner_->living()) {
        close();
        net_log::ended(kLoop, [] { return "break loop: !owner_->living()"; });
        return false;
    }
    if (!socket_.isOpen()) {
        net_log::ended(kLoop,
                       [] { return "break loop: new_stream_.get_handle() == ACE_INVALID_HANDLE"; });
        return false;
    }
    if (receiver_.recv(*this, socket_)) return true;
    close();
    net_log::ended(kLoop, [] { return "break loop: !recv()"; });
    return false;
}

// Calls onClosed, also if the thread was stopped while it was not reading.
void TcpServerImpl::onDeath() {
    receiver_.end(socket_);
}

}  // namespace qor
