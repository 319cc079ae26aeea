#ifndef QOR_SRC_TCP_TCP_SERVER_CONNECTION_H
#define QOR_SRC_TCP_TCP_SERVER_CONNECTION_H

#include <ace/INET_Addr.h>

#include <atomic>

#include "qor/mt/thread.h"
#include "qor/tcp/tcp_impl_base.h"
#include "tcp/tcp_channel.h"
#include "tcp/tcp_receiver.h"
#include "tcp/tcp_socket.h"

namespace qor {

class TcpAcceptor;

// A client of a server, and its thread. The descriptor stays open until the object is destroyed, so
// no other connection gets the same number while this one is in the acceptor's maps.
class TcpServerImpl : public SimpleThread, public TcpChannel {
public:
    // The owner outlives the thread.
    TcpServerImpl(TcpAcceptor* owner, const char* name, Handle<TcpCallback> callback,
                  const ACE_INET_Addr& remote, int socketBufferSize);

    // Owns the accepted socket from now on. Call it before the start.
    void adopt(ACE_HANDLE handle);
    // After this, the thread reads the end of the stream, and nothing is sent.
    void end() { socket_.end(); }
    // As sendBuf, for any thread.
    bool send(const istr& payload, int timeoutSeconds);

    // Waits until the thread has reported its birth. Call it after the start.
    void waitForBirth() const noexcept { born_.wait(false); }
    bool born() const noexcept { return born_; }
    // Whether the thread has set up the socket, even if it has ended since.
    bool opened() const noexcept { return opened_; }
    // True at the first call: two threads close a listener, and each stop is logged once.
    bool mayLogStop() noexcept { return !stopLogged_.exchange(true); }
    bool belongsTo(const TcpAcceptor& owner) const noexcept { return owner_ == &owner; }
    ACE_HANDLE getHandle() const noexcept { return handle_; }
    const TcpAddr& getPeer() const noexcept { return peer_; }
    const ACE_INET_Addr& remote() const noexcept { return remote_; }

protected:
    tcp::TcpSocket& socket() override { return socket_; }

    void run_i() override;
    bool onBirth() override;
    bool onLoop() override;
    void onDeath() override;
    void onStop() override;

private:
    bool open();
    void close();
    void announceBirth() noexcept;

    TcpAcceptor* const owner_;
    tcp::TcpReceiver receiver_;
    ACE_HANDLE handle_ = ACE_INVALID_HANDLE;
    const int socketBufferSize_;
    tcp::TcpSocket socket_;
    const ACE_INET_Addr remote_;
    const TcpAddr peer_;
    std::atomic<bool> stopLogged_{false};
    std::atomic<bool> closingLogged_{false};
    std::atomic<bool> opened_{false};
    std::atomic<bool> born_{false};  // birth reported, successful or not
};

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_SERVER_CONNECTION_H
