#include "tcp/tcp_server_listener.h"

#include <string>
#include <utility>

#include "log/own_log.h"
#include "qor/base/mlcheck.h"

namespace qor::tcp {

bool ServerImpl::open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize) {
    const String name = "tcp.acceptor." + std::to_string(address.port);
    const Handle<TcpAcceptor> made(
        checkedNew<TcpAcceptor>(__FILE__, __LINE__, "qor::tcp::ServerImpl::open", address, name,
                                std::move(callback), socketBufferSize));
    {
        const Guard guard(mutex_);
        acceptor_ = made;
    }
    try {
        made->startAndWait();
    } catch (...) {
        made->abandon();
        throw;
    }
    return made->living();
}

void ServerImpl::close() {
    const Handle<TcpAcceptor> closing = acceptor();
    if (!closing) return;
    // A callback cannot wait for its own thread: the next close waits.
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

}  // namespace qor::tcp
