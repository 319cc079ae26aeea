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

// One outgoing connection that carries frames. A thread of its own ("tcp.client") reads them and
// calls the callback; it starts in open and ends with the connection. Close before the object is
// destroyed: the destructor leaves an open connection and its thread running, and callbacks go on
// until the peer ends it. Nothing connects again by itself.
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

    // Connects within `timeoutSeconds`; 0, or less, takes only what connects at once, as on this
    // host. The sizes of both buffers of the socket are set to `socketBufferSize` bytes, as far as
    // the system does so. The callback may be null: frames are then read and dropped.
    //
    // False too if the peer has ended the connection meanwhile, which the callback is told.
    //
    // Close first: a connection that is open is left to itself, as by the destructor.
    bool open(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
              int socketBufferSize);
    // Ends the connection and waits until its thread has ended, which a callback that is under way
    // delays. No call of the callback comes after the wait.
    //
    // Called by that callback it does not wait: onClosed comes when it has returned, and the next
    // close by another thread waits for that.
    void close();

    // Writes one frame. A negative timeout waits until the system has taken it all, however long
    // the peer takes; 0 writes what goes out at once; otherwise the whole frame has
    // `timeoutSeconds`.
    //
    // False if the frame was not written as a whole. A frame that was cut in its midst ends the
    // connection, since no reader would find the next one.
    //
    // Frames that several threads send at once may mix in the peer's stream: send with a lock of
    // your own. A callback that sends is one of these threads.
    bool send(const istr& payload, int timeoutSeconds);

    // Of the connection of the last open, also when it has ended; 0 if there is none.
    unsigned short getLocalPort() const;

private:
    tcp::ClientImpl* const impl_;
};

}  // namespace qor

#endif  // QOR_TCP_TCP_CLIENT_H
