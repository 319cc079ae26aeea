#ifndef QOR_SRC_TCP_TCP_CHANNEL_H
#define QOR_SRC_TCP_TCP_CHANNEL_H

#include <cstddef>

#include "qor/base/base_type_bytes.h"
#include "tcp/tcp_socket.h"

namespace qor {

// Sends and receives frames over the socket of a derived class: the length in 4 bytes, most
// significant first, then the bytes. It has no state and no lock, and raises nothing; failures
// return false and write one line to the log.
//
// Only one thread receives. Any thread may send at the same time; callers must serialise their
// sends.
class TcpChannel {
public:
    // Writes a frame within the timeout; a negative timeout means no limit. A partly written frame
    // ends the connection.
    bool sendBuf(const istr& payload, int timeoutSeconds);
    // Waits for a complete frame. Memory for it is allocated at once, but not written before the
    // data arrives. After a failure the next frame cannot be found.
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

// A send without a connection: fails as on a closed socket.
bool sendOnClosed(const istr& payload, int timeoutSeconds);

}  // namespace tcp

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_CHANNEL_H
