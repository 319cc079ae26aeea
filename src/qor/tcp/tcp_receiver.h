#ifndef QOR_SRC_TCP_TCP_RECEIVER_H
#define QOR_SRC_TCP_TCP_RECEIVER_H

#include "qor/base/base_type_bytes.h"
#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/tcp/tcp_impl_base.h"
#include "tcp/tcp_channel.h"
#include "tcp/tcp_socket.h"

namespace qor::tcp {

// Calls the callback of a connection, on the connection's thread. Exceptions of the callback are
// logged and not passed on.
class TcpReceiver : noncopyable {
public:
    // The callback may be null. The peer is set by begin.
    explicit TcpReceiver(Handle<TcpCallback> callback) noexcept : callback_(std::move(callback)) {}

    // Call it when the connection is established.
    void begin(TcpAddr peer) {
        peer_ = std::move(peer);
        standing_ = true;
    }
    // Reads one frame and passes it to the callback. If there is none, or the callback raises,
    // calls end and returns false.
    bool recv(TcpChannel& channel, TcpSocket& socket);
    // Ends the socket, so that the callback cannot send any more, and calls onClosed, once. Then
    // releases the callback, which may own the client that owns this connection.
    void end(TcpSocket& socket);

private:
    Handle<TcpCallback> callback_;
    TcpAddr peer_;
    Bytes frame_;  // kept from one frame to the next, unless it is large
    bool standing_ = false;
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_RECEIVER_H
