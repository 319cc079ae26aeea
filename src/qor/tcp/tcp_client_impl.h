#ifndef QOR_SRC_TCP_TCP_CLIENT_IMPL_H
#define QOR_SRC_TCP_TCP_CLIENT_IMPL_H

#include <ace/INET_Addr.h>

#include <atomic>

#include "qor/mt/thread.h"
#include "qor/tcp/tcp_impl_base.h"
#include "tcp/tcp_channel.h"
#include "tcp/tcp_opened.h"
#include "tcp/tcp_receiver.h"
#include "tcp/tcp_socket.h"

namespace qor {

// An outgoing connection and its thread, which connects once, reads and closes.
class TcpClientImpl : public SimpleThread, public TcpChannel {
public:
    TcpClientImpl(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
                  int socketBufferSize);

    // As sendBuf, for any thread.
    bool send(const istr& payload, int timeoutSeconds);
    // Releases the callback. For a connection whose thread could not be started.
    void abandon() { receiver_.end(socket_); }
    // 0 until it is connected, and once it was stopped.
    unsigned short getLocalPort() const noexcept { return localPort_; }

    bool ending() const { return started() && !finished() && !socket_.isOpen(); }
    bool isOwnThread() const;
    void requestEnd();

protected:
    tcp::TcpSocket& socket() override { return socket_; }

    void run_i() override;
    bool onBirth() override;
    bool onLoop() override;
    void onDeath() override;
    void onStop() override;

private:
    bool connect(ACE_SOCK_Stream& connected);
    void logConnected();

    const ACE_INET_Addr remote_;
    tcp::TcpReceiver receiver_;
    const int timeoutSeconds_;
    const int socketBufferSize_;
    tcp::TcpSocket socket_;
    std::atomic<unsigned short> localPort_{0};
};

namespace tcp {

// The implementation of TcpClient.
class ClientImpl : noncopyable {
public:
    bool open(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
              int socketBufferSize);
    void close() { opened_.close(); }
    bool send(const istr& payload, int timeoutSeconds);
    unsigned short getLocalPort() const;

private:
    Opened<TcpClientImpl> opened_;
};

}  // namespace tcp

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_CLIENT_IMPL_H
