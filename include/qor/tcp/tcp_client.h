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

// One outgoing connection that carries frames. Its own thread ("tcp.client") reads them and calls
// the callback; it starts in open and ends with the connection. Close before destroying the object:
// the destructor leaves an open connection and its thread running, with callbacks until the peer
// closes. It does not reconnect by itself.
//
//     constexpr int kTimeoutSeconds = 5, kSocketBuffer = 64 * 1024;
//     TcpClient client;
//     if (client.open(TcpAddr(4711, "127.0.0.1"), callback, kTimeoutSeconds, kSocketBuffer))
//         client.send("hello", kTimeoutSeconds);
//     client.close();
//
// Any thread may call send, close and getLocalPort at any time. Two threads may not open at once.
// Nothing here raises but the constructor: a failure is false, and a line of the logger "qor".
class QOR_API TcpClient : noncopyable {
public:
    TcpClient();
    // Deliberate (compatibility): does not close.
    ~TcpClient();

    // Connects within `timeoutSeconds`; with 0 or less only a connection that is made at once, as
    // on the same host, succeeds. Both buffers of the socket are set to `socketBufferSize` bytes,
    // within the system's limits. The callback may be null: frames are then read and dropped.
    //
    // False also if the peer has already closed the connection; onClosed is then called.
    //
    // Close first: an open connection is left running, as by the destructor.
    bool open(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
              int socketBufferSize);
    // Ends the connection and waits until its thread, and so a running callback, has ended. The
    // callback is not called after that.
    //
    // Called by that callback it does not wait: onClosed is called after it has returned, and the
    // next close by another thread waits for that.
    void close();

    // Writes one frame within `timeoutSeconds`. A negative timeout waits without a limit; 0 writes
    // only the bytes that the system takes at once.
    //
    // False if the frame was not written completely. A partly written frame ends the connection,
    // since the peer could not find the next frame.
    //
    // Frames that several threads send at the same time may be mixed in the stream: protect send
    // with a lock. A callback that sends counts as one of these threads.
    bool send(const istr& payload, int timeoutSeconds);

    // Of the connection of the last open, also when it has ended; 0 if there is none.
    unsigned short getLocalPort() const;

private:
    tcp::ClientImpl* const impl_;
};

}  // namespace qor

#endif  // QOR_TCP_TCP_CLIENT_H
