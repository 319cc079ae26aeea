#ifndef QOR_TCP_TCP_CLIENT_H
#define QOR_TCP_TCP_CLIENT_H

#include "qor/api.h"
#include "qor/base/base_type_view.h"
#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/tcp/tcp_impl_base.h"

namespace qor {

namespace tcp {
class ClientImpl;
}

// An outgoing TCP connection that carries frames. Its own thread ("tcp.client") reads frames and
// calls the callback; open starts it, and it ends with the connection. It does not reconnect by
// itself. Call close before destroying the object: after the destructor, an open connection and its
// thread keep running, with callbacks, until the peer closes.
//
//     constexpr int kTimeoutSeconds = 5, kSocketBuffer = 64 * 1024;
//     TcpClient client;
//     if (client.open(TcpAddr(4711, "127.0.0.1"), callback, kTimeoutSeconds, kSocketBuffer))
//         client.send("hello", kTimeoutSeconds);
//     client.close();
//
// Any thread may call send, close and getLocalPort at any time. Only one thread at a time may call
// open. Only the constructor raises; other failures return false and write a line to the logger
// "qor".
class QOR_API TcpClient : noncopyable {
public:
    TcpClient();
    // Deliberate (compatibility): does not close.
    ~TcpClient();

    // Connects within `timeoutSeconds`; with 0 or less, succeeds only if the connection is
    // established at once, as on the same host. Both buffers of the socket are set to
    // `socketBufferSize` bytes, within the system's limits. The callback may be null: frames are
    // then read and dropped.
    //
    // Returns false also if the peer has already closed the connection; onClosed is then called.
    //
    // Call close first: an open connection would keep running, as after the destructor.
    bool open(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
              int socketBufferSize);
    // Ends the connection, also one that open is establishing, and waits until its thread, and so a
    // running callback, has ended. The callback is not called after that.
    //
    // If the callback itself calls close, it does not wait: onClosed is called after the callback
    // has returned, and the next close by another thread waits for that, even if the callback has
    // opened a new connection. What the callback opens while close waits stays open.
    void close();

    // Writes one frame within `timeoutSeconds`. A negative timeout means no limit; 0 writes only
    // the bytes that the system accepts at once.
    //
    // Returns false if the frame was not written completely. A partly written frame ends the
    // connection, since the peer could not find the next frame.
    //
    // Frames that several threads send at the same time may be mixed in the stream: protect send by
    // a lock, also in callbacks.
    bool send(const istr& payload, int timeoutSeconds);

    // The local port of the connection of the last open, even if it has ended; 0 if it was not
    // established, and after close.
    unsigned short getLocalPort() const;

private:
    tcp::ClientImpl* const impl_;
};

}  // namespace qor

#endif  // QOR_TCP_TCP_CLIENT_H
