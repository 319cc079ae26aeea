#ifndef QOR_SRC_TCP_TCP_SOCKET_H
#define QOR_SRC_TCP_TCP_SOCKET_H

#include <ace/INET_Addr.h>
#include <ace/SOCK_Stream.h>

#include <atomic>

#include "qor/base/interface.h"

namespace qor::tcp {

// The socket of a connection: its own thread reads and closes it, while other threads write to it
// and may end it. The descriptor is closed only when no thread uses it: the system reuses the
// number at once, and a late write would reach another connection.
class TcpSocket : noncopyable {
public:
    TcpSocket() = default;
    explicit TcpSocket(const ACE_INET_Addr& peer) : peer_(peer) {}
    ~TcpSocket() { close(); }

    // Owns the descriptor from now on. Call it once, on the reading thread or before that starts.
    void open(ACE_HANDLE handle) noexcept;
    // Sets both buffers to `bufferSize` bytes, within the system's limits.
    void setUp(int bufferSize);
    // False before open() and after end().
    bool isOpen() const noexcept { return (state_ & kEnded) == 0; }
    // For its own thread, and for other threads while they have a Use.
    ACE_SOCK_Stream& stream() noexcept { return stream_; }
    const ACE_INET_Addr& peer() const noexcept { return peer_; }

    // Refuses new uses, makes running ones fail, and wakes the reader.
    void end() noexcept;
    // The last call of the own thread: ends the socket and releases the descriptor.
    void close() noexcept;

    // Keeps the descriptor open for a scope, if the socket is open at its begin.
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
    // A flag in state_, which also counts the users: the Uses, and the own thread until it calls
    // close. After the end, no Use succeeds.
    static constexpr unsigned kEnded = 1U << 31;

    bool enter() noexcept;
    void leave() noexcept;

    std::atomic<unsigned> state_{kEnded};
    bool owned_ = false;      // the own thread has not called close yet
    ACE_SOCK_Stream stream_;  // changed only while no thread uses it
    const ACE_INET_Addr peer_;
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_SOCKET_H
