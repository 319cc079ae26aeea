#ifndef QOR_SRC_TCP_TCP_SOCKET_H
#define QOR_SRC_TCP_TCP_SOCKET_H

#include <ace/SOCK_Stream.h>

#include "qor/base/interface.h"
#include "qor/mt/mutex.h"

namespace qor::tcp {

// The socket of a connection, which one thread reads and closes while others write to it and may
// end it. The descriptor is given back when it is closed and nobody uses it any more: the system
// hands the number to the next connection at once, and nobody may write to that one by mistake.
class TcpSocket : noncopyable {
public:
    TcpSocket() = default;
    ~TcpSocket() { close(); }

    // Takes the descriptor over; once in a life, and before others may use it.
    void open(ACE_HANDLE handle);
    // Both buffers get that many bytes, as far as the system does so.
    void setUp(int bufferSize);
    // Not once it was ended.
    bool isOpen() const;
    // For its own thread, and for others while they hold a Use.
    ACE_SOCK_Stream& stream() noexcept { return stream_; }

    // Lets no new use begin, makes those under way fail, and wakes the reader.
    void end();
    // The own thread's farewell: ends, and gives the descriptor back.
    void close();

    // Keeps the descriptor for a scope, if the socket was open at its beginning.
    class Use : noncopyable {
    public:
        explicit Use(TcpSocket& socket) : socket_(socket.enter() ? &socket : nullptr) {}
        ~Use() {
            if (socket_ != nullptr) socket_->leave();
        }
        explicit operator bool() const noexcept { return socket_ != nullptr; }

    private:
        TcpSocket* const socket_;
    };

private:
    bool enter();
    void leave();

    const Mutex mutex_;       // guards all but the stream
    ACE_SOCK_Stream stream_;  // changes only while nobody uses it
    bool open_ = false;
    bool owned_ = false;  // its own thread is one of the users
    unsigned users_ = 0;
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_SOCKET_H
