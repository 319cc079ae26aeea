#ifndef QOR_SRC_TCP_TCP_SERVER_LISTENER_H
#define QOR_SRC_TCP_TCP_SERVER_LISTENER_H

#include "tcp/tcp_acceptor.h"
#include "tcp/tcp_opened.h"

namespace qor::tcp {

// The implementation of TcpServer. (TcpServerImpl is a connection.)
class ServerImpl : public Shared {
public:
    bool open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize);
    void close() { opened_.close(); }
    bool send(const TcpAddr& peer, const istr& payload, int timeoutSeconds);
    unsigned short getLocalPort() const;

private:
    Opened<TcpAcceptor> opened_;
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_SERVER_LISTENER_H
