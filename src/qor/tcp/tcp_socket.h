#ifndef QOR_SRC_TCP_TCP_SOCKET_H
#define QOR_SRC_TCP_TCP_SOCKET_H

#include <ace/INET_Addr.h>
#include <ace/SOCK_Stream.h>

#include <atomic>

#include "qor/base/interface.h"

namespace qor::tcp {

// The socket of a connection, which one thread reads and closes while others write to it and may
// end it. The descriptor is closed only when no thread uses it any more: the system reuses the
// number at once, and a late write would reach another connection.
class TcpSocket : noncopyable {
public:
    TcpSocket() = default;
    ~TcpSocket() { close(); }

    // Takes the descriptor over, with the address of its peer. Call it once, on the reading thread
    // or before that starts.
    void open(ACE_HANDLE handle, const ACE_INET_Addr& peer);
    // Both buffers get that many bytes, as far as the system does so.
    void setUp(int bufferSize);
    // Not once it was ended.
    bool isOpen() const noexcept { return (state_ & kEnded) == 0; }
    // For its own thread, and for others while they hold a Use.
    ACE_SOCK_Stream& stream() noexcept { return stream_; }
    const ACE_INET_Addr& peer() const noexcept { return peer_; }

    // Refuses new uses, makes running ones fail, and wakes the reader.
    void end() noexcept;
    // The own thread's farewell: ends, and gives the descriptor back.
    void close() noexcept;

    // Keeps the descriptor for a scope, if the socket was open at its beginning.
    class Use : noncopyable {
    public:
        explicit Use(TcpSocket& socket) noexcept : socket_(socket.enter() ? &socket : nullptr) {}
        ~Use() {
            if (socket_ != nullptr) socket_->leave();
        }
        explicit operator bool() const noexcept { return socket_ != nullptr; }

    private:
        TcpSocket* const socket_;
    };

private:
    // How many use it, its own thread among them until it closes; none enters when it was ended.
    static constexpr unsigned kEnded = 1U << 31;

    bool enter() noexcept;
    void leave() noexcept;

    std::atomic<unsigned> state_{kEnded};
    bool owned_ = false;      // its own thread has not closed it
    ACE_SOCK_Stream stream_;  // changes only while no thread uses it
    ACE_INET_Addr peer_;
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_SOCKET_H
