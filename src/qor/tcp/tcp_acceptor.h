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

// A listener, its thread, and the connections of its clients. Other threads accept; this one
// starts the connections in the order in which TcpArrivals gives them.
//
// A connection is removed from the maps by its thread's last step here, or by a thread that has
// joined it. So the acceptor, whose own thread waits for all connections in the maps, outlives
// their threads.
class TcpAcceptor : public SimpleThread, public ThreadOwner {
public:
    TcpAcceptor(const TcpAddr& address, const String& name, Handle<TcpCallback> callback,
                int socketBufferSize);

    // To one client; to all, without waiting, if there is none of this address.
    bool send(const TcpAddr& peer, const istr& payload, int timeoutSeconds);
    // What is listened on; 0 before and after.
    unsigned short getLocalPort() const noexcept { return localPort_; }
    // Whether a callback of this listener is calling.
    bool isOwnConnection() const { return ownConnection() != nullptr; }

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
    void settleOldest();
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
    ACE_SOCK_Acceptor acceptor_;  // opened and closed by the own thread alone
    tcp::TcpSocket listener_;     // the same socket, to end it from other threads
    TcpArrivals arrivals_;
    std::vector<Handle<TcpServerImpl>> starting_;  // of the own thread, the oldest first
    // Never locked both at once, nor around a call.
    Connections connections_;
    mt::map<TcpAddr, ACE_HANDLE> handles_;
};

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_ACCEPTOR_H
