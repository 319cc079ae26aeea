#ifndef QOR_SRC_TCP_TCP_RECEIVER_H
#define QOR_SRC_TCP_TCP_RECEIVER_H

#include "qor/base/base_type_bytes.h"
#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/tcp/tcp_impl_base.h"
#include "tcp/tcp_channel.h"
#include "tcp/tcp_socket.h"

namespace qor::tcp {

// Tells a callback of one connection, on the connection's thread. What the callback raises stays
// here.
class TcpReceiver : noncopyable {
public:
    // A null callback is told nothing; the peer is known when the connection is.
    explicit TcpReceiver(Handle<TcpCallback> callback) noexcept : callback_(std::move(callback)) {}

    // The connection stands.
    void begin(TcpAddr peer) {
        peer_ = std::move(peer);
        standing_ = true;
    }
    // Reads one frame and tells it. False if there is none, or if it could not be told: the end has
    // come then.
    bool recv(TcpChannel& channel, TcpSocket& socket);
    // Ends the socket, so that who is told can send no more, and tells it, once. The callback is
    // let go then: it may own the client, which is the one that has this connection.
    void end(TcpSocket& socket);

private:
    Handle<TcpCallback> callback_;
    TcpAddr peer_;
    Bytes frame_;  // kept from one frame to the next, unless it is large
    bool standing_ = false;
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_RECEIVER_H
