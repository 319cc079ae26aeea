#include "tcp/tcp_channel.h"

#include <arpa/inet.h>

#include <cstdint>
#include <new>

#include "platform/socket.h"
#include "tcp/tcp_address.h"
#include "tcp/tcp_log.h"

namespace qor {

namespace {

using Header = std::uint32_t;

constexpr const char* kReceive = "qor::TcpChannel::recvBuf_i";
constexpr const char* kTrace = "TCP.TRACE";
constexpr unsigned long kMostPayload = npos32 - sizeof(Header);

bool logEnd(istr label, const platform::PeerAddress& peer) {
    tcp::logInfoAt(Current(__FILE__, __LINE__, kReceive), [&](std::ostream& os) {
        os << "(" << label << ") reached end of client connection " << peer;
    });
    return false;
}

// The address is for lines of the log alone. That a socket without a peer is refused before
// anything goes out is what it is asked for.
bool findPeer(ACE_HANDLE handle, platform::PeerAddress& peer, const char* func) {
    const int error = platform::peerOf(handle, peer);
    if (error == 0) return true;
    tcp::logError(Current(__FILE__, __LINE__, func), error,
                  [](std::ostream& os) { os << "get_remote_addr"; });
    return false;
}

}  // namespace

// Header and payload go out in one call, from where they are: a frame that several calls write
// could be parted by another thread's.
bool TcpChannel::sendBuf(const istr& payload, int timeout) {
    constexpr const char* func = "qor::TcpChannel::sendBuf";
    const unsigned long size = payload.empty() ? 0 : payload.size();
    tcp::logTagged(Current(__FILE__, __LINE__, func), kTrace,
                   [&](std::ostream& os) { os << "sending " << size << " bytes"; });
    if (size > kMostPayload) {
        tcp::logFailure(Current(__FILE__, __LINE__, func),
                        [&](std::ostream& os) { os << size << " bytes are too many for a frame"; });
        return false;
    }
    const Header header = htonl(static_cast<Header>(size));
    const ACE_HANDLE handle = stream().get_handle();
    platform::PeerAddress peer;
    if (!findPeer(handle, peer, func)) return false;
    const platform::Transfer sent =
        platform::sendAll(handle, &header, sizeof header, payload.data(), size, timeout);
    if (sent.bytes == sizeof header + size) {
        tcp::logTagged(Current(__FILE__, __LINE__, func), kTrace,
                       [&](std::ostream& os) { os << "send ok " << sent.bytes << " bytes"; });
        return true;
    }
    if (sent.error != 0) {
        tcp::logError(Current(__FILE__, __LINE__, func), sent.error,
                      [&](std::ostream& os) { os << "send_n failed " << peer; });
    } else {
        tcp::logFailure(Current(__FILE__, __LINE__, func), [&](std::ostream& os) {
            os << "send_n() w_bytes != send_buf.size() " << peer;
        });
    }
    if (sent.bytes != 0) platform::shutdownSocket(handle);
    return false;
}

bool TcpChannel::recvBuf(Bytes& payload) {
    constexpr const char* func = "qor::TcpChannel::recvBuf";
    platform::PeerAddress peer;
    if (!findPeer(stream().get_handle(), peer, func)) return false;
    Header header = 0;
    std::size_t length = sizeof header;
    if (!recvBuf_i(&header, length, "len", peer)) return false;
    if (length != sizeof header) {
        tcp::logFailure(Current(__FILE__, __LINE__, func),
                        [&](std::ostream& os) { os << "recv_n(len) failed " << peer; });
        return false;
    }
    const Header size = ntohl(header);
    tcp::logTagged(Current(__FILE__, __LINE__, func), kTrace,
                   [&](std::ostream& os) { os << "size " << size; });
    try {
        payload.size(0UL);
        payload.resize(size);
    } catch (const std::bad_alloc&) {
        tcp::logFailure(Current(__FILE__, __LINE__, func), [&](std::ostream& os) {
            os << "no memory for a frame of " << size << " bytes " << peer;
        });
        return false;
    }
    length = size;
    if (size != 0 && !recvBuf_i(payload.buffer(), length, "data", peer)) return false;
    if (length != size) return logEnd("data", peer);
    payload.size(size);
    return true;
}

// False when nothing came: the length is the number of bytes that did.
bool TcpChannel::recvBuf_i(void* buffer, std::size_t& length, istr label,
                           const platform::PeerAddress& peer) {
    tcp::logTagged(Current(__FILE__, __LINE__, kReceive), kTrace, [&](std::ostream& os) {
        os << "(" << label << ") recving " << length << " bytes";
    });
    const platform::Transfer received = platform::receiveAll(stream().get_handle(), buffer, length);
    if (received.error != 0) {
        tcp::logError(Current(__FILE__, __LINE__, kReceive), received.error,
                      [&](std::ostream& os) { os << "(" << label << ") recv_n() " << peer; });
        return false;
    }
    if (received.bytes == 0) return logEnd(label, peer);
    length = received.bytes;
    tcp::logTagged(Current(__FILE__, __LINE__, kReceive), kTrace, [&](std::ostream& os) {
        os << "(" << label << ") recv ok " << length << " bytes";
    });
    return true;
}

namespace tcp {

bool sendOnClosed(const istr& payload, int timeout) {
    struct Closed : TcpChannel {
        ACE_SOCK_Stream& stream() override { return none; }
        ACE_SOCK_Stream none;
    };
    return Closed().sendBuf(payload, timeout);
}

}  // namespace tcp

}  // namespace qor
