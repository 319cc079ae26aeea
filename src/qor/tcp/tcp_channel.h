#ifndef QOR_SRC_TCP_TCP_CHANNEL_H
#define QOR_SRC_TCP_TCP_CHANNEL_H

#include <cstddef>

#include "qor/base/base_type_bytes.h"
#include "tcp/tcp_socket.h"

namespace qor {

// Carries frames over the socket of a derived class: a length in 4 bytes, most significant first,
// and then that many bytes. It has no state and no lock, and raises nothing; a failure is false and
// one line of the log.
//
// One thread receives; any thread may send at the same time, and callers serialise their sends.
class TcpChannel {
public:
    // Writes a whole frame; a negative timeout is none, else it is the seconds for the frame. Where
    // a frame was cut in its midst, the connection ends.
    bool sendBuf(const istr& payload, int timeoutSeconds);
    // Waits for a whole frame. The memory that it announces is not touched before it arrives. After
    // a failure the next frame cannot be found any more.
    bool recvBuf(Bytes& payload);

protected:
    TcpChannel() = default;
    TcpChannel(const TcpChannel&) = default;
    TcpChannel& operator=(const TcpChannel&) = default;
    virtual ~TcpChannel() = default;

    virtual tcp::TcpSocket& socket() = 0;

private:
    bool recvBuf_i(void* buffer, std::size_t& length, istr label);
};

namespace tcp {

// What a send on a socket that is no more does: it fails as on any closed one.
bool sendOnClosed(const istr& payload, int timeoutSeconds);

}  // namespace tcp

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_CHANNEL_H
