#ifndef QOR_SRC_TCP_TCP_ACCEPTOR_H
#define QOR_SRC_TCP_TCP_ACCEPTOR_H

#include <ace/INET_Addr.h>
#include <ace/SOCK_Acceptor.h>

#include <atomic>
#include <vector>

#include "qor/mt/containers.h"
#include "qor/mt/thread.h"
#include "qor/tcp/tcp_impl_base.h"
#include "tcp/tcp_arrivals.h"
#include "tcp/tcp_server_connection.h"
#include "tcp/tcp_socket.h"

namespace qor {

// A listener, its thread, and the connections of its clients. The threads of TcpArrivals accept
// clients; this thread starts their connections in that order.
//
// A connection is removed from the maps by the last step of its own thread, or by a thread that has
// joined it. The acceptor's own thread waits for all connections in the maps, so the acceptor
// outlives their threads.
class TcpAcceptor : public SimpleThread, public ThreadOwner {
public:
    TcpAcceptor(const TcpAddr& address, const String& name, Handle<TcpCallback> callback,
                int socketBufferSize);

    // Releases the callback. For a listener whose thread could not be started.
    void abandon() { callback_.reset(); }
    // Sends to one client; to all, without waiting, if no client has this address.
    bool send(const TcpAddr& peer, const istr& payload, int timeoutSeconds);
    // The port of the listener; 0 before it is open and after its end.
    unsigned short getLocalPort() const noexcept { return localPort_; }

    bool ending() const { return started() && !finished() && !living(); }
    // Whether the calling thread is that of a connection of this listener.
    bool isOwnThread() const { return ownConnection() != nullptr; }
    void requestEnd();

    void onThreadExit(Thread* thread) override;

protected:
    bool onBirth() override { return open(); }
    bool onLoop() override { return accept(); }
    void onDeath() override;
    void onStop() override;

private:
    using Connections = mt::map<ACE_HANDLE, Handle<TcpServerImpl>>;

    bool open();
    bool accept();
    void admit(Arrival& client);
    void start(const Handle<TcpServerImpl>& connection);
    void awaitOldest();
    void fail(const Handle<TcpServerImpl>& connection);
    void endAll();
    void close();
    void closeServer(const Handle<TcpServerImpl>& connection);
    void forget(const TcpServerImpl& connection);
    // The connection of the calling thread, null for other threads.
    TcpServerImpl* ownConnection() const;
    Handle<TcpServerImpl> find(const TcpAddr& peer) const;
    std::vector<Handle<TcpServerImpl>> snapshot() const;
    Handle<TcpServerImpl> nextAfter(ACE_HANDLE handle) const;

    ACE_INET_Addr local_;
    std::atomic<unsigned short> localPort_{0};
    Handle<TcpCallback> callback_;
    const int socketBufferSize_;
    ACE_SOCK_Acceptor acceptor_;  // opened and closed by the own thread only
    tcp::TcpSocket listener_;     // the same socket, to end it from other threads
    TcpArrivals arrivals_;
    std::vector<Handle<TcpServerImpl>> starting_;  // used by the own thread only; the oldest first
    // Never lock both at the same time, and call no other code with one locked.
    Connections connections_;
    mt::map<TcpAddr, ACE_HANDLE> handles_;
};

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_ACCEPTOR_H
