#include "qor/tcp/tcp_server.h"

#include <utility>

#include "log/own_log.h"
#include "qor/base/mlcheck.h"
#include "tcp/tcp_acceptor.h"

namespace qor {

namespace tcp {

// What a TcpServer has: the listener of one open.
class ServerImpl : public Shared {
public:
    bool open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize);
    void close();
    bool send(const TcpAddr& peer, const istr& payload, int timeoutSeconds);
    unsigned short getLocalPort() const;

private:
    Handle<TcpAcceptor> acceptor() const;

    const Mutex mutex_;
    Handle<TcpAcceptor> acceptor_;  // guarded
};

bool ServerImpl::open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize) {
    const String name = "tcp.acceptor." + std::to_string(address.port);
    const Handle<TcpAcceptor> made(
        checkedNew<TcpAcceptor>(__FILE__, __LINE__, "qor::tcp::ServerImpl::open", address, name,
                                std::move(callback), socketBufferSize));
    {
        const Guard guard(mutex_);
        acceptor_ = made;
    }
    made->startAndWait();
    return made->living();
}

void ServerImpl::close() {
    const Handle<TcpAcceptor> closing = acceptor();
    if (!closing) return;
    // Nobody is waited for here: the next one who closes waits.
    if (closing->isOwnConnection()) return closing->stopOnly();
    closing->stop();
    Handle<TcpAcceptor> none;
    const Guard guard(mutex_);
    if (acceptor_ == closing) acceptor_.swap(none);
}

bool ServerImpl::send(const TcpAddr& peer, const istr& payload, int timeoutSeconds) {
    const Handle<TcpAcceptor> sending = acceptor();
    if (sending) return sending->send(peer, payload, timeoutSeconds);
    net_log::ended("qor::tcp::ServerImpl::send", [] { return "null tcp acceptor impl"; });
    return false;
}

unsigned short ServerImpl::getLocalPort() const {
    const Handle<TcpAcceptor> asked = acceptor();
    return asked ? asked->getLocalPort() : 0;
}

Handle<TcpAcceptor> ServerImpl::acceptor() const {
    const Guard guard(mutex_);
    return acceptor_;
}

}  // namespace tcp

TcpServer::TcpServer() = default;

TcpServer::~TcpServer() = default;

// Each open has an object of its own. That of an earlier one goes, and its listener stays.
bool TcpServer::open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize) {
    constexpr const char* func = "qor::TcpServer::open";
    return own_log::guarded(own_log::network, func, false, [&] {
        const Handle<tcp::ServerImpl> made(checkedNew<tcp::ServerImpl>(__FILE__, __LINE__, func));
        {
            Handle<tcp::ServerImpl> shared(made);
            const Guard guard(mutex_);
            impl_.swap(shared);
        }
        return made->open(address, std::move(callback), socketBufferSize);
    });
}

void TcpServer::close() {
    if (const Handle<tcp::ServerImpl> open = impl()) open->close();
}

bool TcpServer::send(const TcpAddr& peer, const istr& payload, int timeoutSeconds) {
    constexpr const char* func = "qor::TcpServer::send";
    const Handle<tcp::ServerImpl> open = impl();
    if (open) {
        return own_log::guarded(own_log::network, func, false,
                                [&] { return open->send(peer, payload, timeoutSeconds); });
    }
    net_log::ended(func, [] { return "null tcp server impl"; });
    return false;
}

unsigned short TcpServer::getLocalPort() const {
    const Handle<tcp::ServerImpl> open = impl();
    return open ? open->getLocalPort() : 0;
}

Handle<tcp::ServerImpl> TcpServer::impl() const {
    const Guard guard(mutex_);
    return impl_;
}

}  // namespace qor
