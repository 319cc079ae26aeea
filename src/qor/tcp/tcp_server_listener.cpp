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
    opened_.add(made);
    try {
        made->startAndWait();
    } catch (...) {
        made->abandon();
        throw;
    }
    return made->living();
}

bool ServerImpl::send(const TcpAddr& peer, const istr& payload, int timeoutSeconds) {
    const Handle<TcpAcceptor> sending = opened_.last();
    if (sending) return sending->send(peer, payload, timeoutSeconds);
    net_log::ended("qor::tcp::ServerImpl::send", [] { return "null tcp acceptor impl"; });
    return false;
}

unsigned short ServerImpl::getLocalPort() const {
    const Handle<TcpAcceptor> asked = opened_.last();
    return asked ? asked->getLocalPort() : 0;
}

}  // namespace qor::tcp
