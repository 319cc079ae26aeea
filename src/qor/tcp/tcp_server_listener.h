#ifndef QOR_SRC_TCP_TCP_SERVER_LISTENER_H
#define QOR_SRC_TCP_TCP_SERVER_LISTENER_H

#include "tcp/tcp_acceptor.h"

namespace qor::tcp {

// The implementation of TcpServer: the listener of one open. (TcpServerImpl is a connection.)
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

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_SERVER_LISTENER_H
