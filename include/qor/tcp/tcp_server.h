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

// Listens on an IPv4 address and exchanges frames with every client that connects. Call close
// before destroying the object: after the destructor, the listener, the connections and their
// threads keep running, with callbacks.
//
// Each client has its own thread ("tcp.server.", the port, "|" and the client's port), which calls
// the callback. Two threads ("tcp.arrivals." and the port) accept clients, and one ("tcp.acceptor."
// and the port) starts the connections. A client is identified by the address that the callback
// gets. The number of clients is limited only by the descriptors and threads of the process.
//
//     constexpr int kTimeoutSeconds = 5, kSocketBuffer = 64 * 1024;
//     TcpServer server;
//     server.open(TcpAddr(4711, "0.0.0.0"), callback, kSocketBuffer);
//     server.send(peer, "hello", kTimeoutSeconds);
//     server.close();
//
// Any thread may call any operation at any time; two simultaneous opens create two listeners. No
// operation raises: failures return false and write a line to the logger "qor".
class QOR_API TcpServer : noncopyable {
public:
    TcpServer();
    // Deliberate (compatibility): does not close.
    ~TcpServer();

    // Starts to listen. An empty host means all addresses of this machine, and port 0 a port that
    // the system chooses. Returns false if the address is in use or does not belong to this
    // machine. The buffers of each connection's socket are set to `socketBufferSize` bytes, within
    // the system's limits. The callback may be null: frames are then read and dropped.
    //
    // Sets the process's soft limit of descriptors to the hard limit. Call close first: an open
    // listener would keep running, and could not be closed any more.
    bool open(const TcpAddr& address, Handle<TcpCallback> callback, int socketBufferSize);
    // Ends the listener and all connections, and waits until their threads, and so all running
    // callbacks, have ended. The callback is not called after that.
    //
    // If a callback of this server calls close, it does not wait: the threads end when the running
    // callbacks have returned, and the next close by another thread waits for them, even if a
    // callback has opened a new listener. What a callback opens while close waits stays open.
    void close();

    // Writes one frame to one client; timeout, result and thread rules are those of
    // TcpClient::send.
    //
    // A peer that is not connected, such as TcpAddr(), means ALL clients: the frame is sent to one
    // after the other, with a timeout of 0 instead of `timeoutSeconds`, until the first failure.
    // Deliberate (compatibility): so a frame for a client that has just disconnected is sent to all
    // others. Before sending data that only one client may read, make sure that it is connected. If
    // each connection has its own lock for send, such a send needs all of them.
    // Returns false if there are no clients.
    bool send(const TcpAddr& peer, const istr& payload, int timeoutSeconds);

    // The port of the listener; 0 if there is none.
    unsigned short getLocalPort() const;

private:
    Handle<tcp::ServerImpl> impl() const;

    Mutex mutex_;  // guards impl_
    Handle<tcp::ServerImpl> impl_;
};

}  // namespace qor

#endif  // QOR_TCP_TCP_SERVER_H
