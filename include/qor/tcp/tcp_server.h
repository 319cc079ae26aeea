#ifndef QOR_TCP_TCP_SERVER_H
#define QOR_TCP_TCP_SERVER_H

#include "qor/api.h"
#include "qor/base/base_type_view.h"
#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/mt/mutex.h"
#include "qor/tcp/tcp_impl_base.h"

namespace qor {

namespace tcp {
class ServerImpl;
}

// Listens on one IPv4 address and carries frames with every client that connects. Close before the
// object is destroyed: the destructor leaves the listener, the connections and all of their threads
// running, and callbacks go on.
//
// Each client has a thread of its own ("tcp.server.", the port, "|" and the client's port), which
// calls the callback; two threads ("tcp.arrivals." and the port) accept, and one ("tcp.acceptor."
// and the port) starts the connections. Clients are known by the address that the callback is
// given. There may be as many as the process may have descriptors and threads.
//
//     constexpr int kTimeoutSeconds = 5, kSocketBuffer = 64 * 1024;
//     TcpServer server;
//     server.open(TcpAddr(4711, "0.0.0.0"), callback, kSocketBuffer);
//     server.send(peer, "hello", kTimeoutSeconds);
//     server.close();
//
// Any thread may call anything at any time; two that open at once open two listeners. Nothing here
// raises: a failure is false, and a line of the logger "qor".
class QOR_API TcpServer : noncopyable {
public:
    TcpServer();
    // Deliberate (compatibility): does not close.
    ~TcpServer();

    // Listens; an empty host is all addresses of this one, and port 0 is one that the system
    // chooses. False if the address is taken or is none of this host. The buffers of each
    // connection's socket are set to `socketBufferSize` bytes, as far as the system does so. The
    // callback may be null: frames are then read and dropped.
    //
    // Raises the process's limit of descriptors as far as the system lets it. Close first: a
    // listener that is open goes on out of reach.
    bool open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize);
    // Ends the listener and all connections, and waits until their threads have ended, which
    // callbacks that are under way delay. No call of the callback comes after the wait.
    //
    // Called by a callback of this server it only ends them all, and does not wait: the threads end
    // when the callbacks that are under way have returned, and the next close by another thread
    // waits for that.
    void close();

    // Writes one frame to one client; timeout, result and what threads must see to are those of
    // TcpClient::send.
    //
    // A peer that is not connected, such as TcpAddr(), means ALL clients: one after another, with a
    // timeout of 0 whatever is given, and no further at the first failure. A frame for a client
    // that has just gone reaches all others too, and that is meant: who sends what only one may
    // read has to know that it is there. False if there are no clients.
    bool send(const TcpAddr& peer, const istr& payload, int timeoutSeconds);

    // The one that is listened on; 0 without a listener.
    unsigned short getLocalPort() const;

private:
    Handle<tcp::ServerImpl> impl() const;

    Mutex mutex_;  // guards impl_
    Handle<tcp::ServerImpl> impl_;
};

}  // namespace qor

#endif  // QOR_TCP_TCP_SERVER_H
