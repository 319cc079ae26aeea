#include "qor/tcp/tcp_server.h"

#include <utility>

#include "log/own_log.h"
#include "qor/base/mlcheck.h"
#include "tcp/tcp_server_listener.h"

namespace qor {

TcpServer::TcpServer() = default;

TcpServer::~TcpServer() = default;

bool TcpServer::open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize) {
    constexpr const char* func = "qor::TcpServer::open";
    return own_log::guarded(own_log::network, func, false, [&] {
        Handle<tcp::ServerImpl> made(checkedNew<tcp::ServerImpl>(__FILE__, __LINE__, func));
        {
            const Guard guard(mutex_);
            if (!impl_) impl_.swap(made);
        }
        return impl()->open(address, std::move(callback), socketBufferSize);
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
