#include "tcp/tcp_channel.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstdint>
#include <new>

#include "log/own_log.h"
#include "platform/socket.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

using Header = std::uint32_t;

constexpr const char* kReceive = "qor::TcpChannel::recvBuf_i";
constexpr const char* kTrace = "TCP.TRACE";
constexpr unsigned long kMostPayload = npos32 - sizeof(Header);

bool logNoPeer(own_log::Place at, int error) {
    net_log::error(at, error, [] { return "get_remote_addr"; });
    return false;
}

bool logReceive(own_log::Place at, int error, istr label, const ACE_INET_Addr& peer) {
    net_log::error(at, error, [&] { return own_log::text("(", label, ") recv_n() ", peer); });
    return false;
}

// Logs the end of the stream: as a failed read if this side has ended the socket, otherwise as the
// peer's end. If there is no peer any more, the connection has failed, and a send has logged the
// reason.
bool logEnd(tcp::TcpSocket& socket, istr label) {
    if (!socket.isOpen()) return logReceive(kReceive, ECONNABORTED, label, socket.peer());
    if (const int error = platform::checkPeer(socket.stream().get_handle()))
        return logNoPeer("qor::TcpChannel::recvBuf", error);
    net_log::ended(kReceive, [&] {
        return own_log::text("(", label, ") reached end of client connection ", socket.peer());
    });
    return false;
}

}  // namespace

// Header and payload are sent in one system call without a copy: with several calls another
// thread's frame could come between them.
bool TcpChannel::sendBuf(const istr& payload, int timeoutSeconds) {
    constexpr const char* func = "qor::TcpChannel::sendBuf";
    const unsigned long size = payload.empty() ? 0 : payload.size();
    net_log::tagged(kTrace, func, [&] { return own_log::text("sending ", size, " bytes"); });
    if (size > kMostPayload) {
        net_log::failure(func,
                         [&] { return own_log::text(size, " bytes are too many for a frame"); });
        return false;
    }
    const Header header = htonl(static_cast<Header>(size));
    tcp::TcpSocket& to = socket();
    const ACE_HANDLE handle = to.stream().get_handle();
    const platform::Transfer sent =
        platform::sendAll(handle, &header, sizeof header, payload.data(), size, timeoutSeconds);
    if (sent.bytes == sizeof header + size) {
        net_log::tagged(kTrace, func,
                        [&] { return own_log::text("send ok ", sent.bytes, " bytes"); });
        return true;
    }
    if (sent.bytes != 0) {
        to.end();
    } else if (const int error = platform::checkPeer(handle)) {
        return logNoPeer(func, error);
    }
    if (sent.error != 0) {
        net_log::error(func, sent.error,
                       [&] { return own_log::text("send_n failed ", to.peer()); });
    } else {
        net_log::failure(
            func, [&] { return own_log::text("send_n() w_bytes != send_buf.size() ", to.peer()); });
    }
    return false;
}

bool TcpChannel::recvBuf(Bytes& payload) {
    constexpr const char* func = "qor::TcpChannel::recvBuf";
    const ACE_INET_Addr& peer = socket().peer();
    // Without this test, data that the peer continues to send would still be read after the end.
    if (!socket().isOpen()) return logEnd(socket(), "len");
    Header header = 0;
    std::size_t length = sizeof header;
    if (!recvBuf_i(&header, length, "len")) return false;
    if (length != sizeof header) {
        net_log::failure(func, [&] { return own_log::text("recv_n(len) failed ", peer); });
        return false;
    }
    const Header size = ntohl(header);
    net_log::tagged(kTrace, func, [&] { return own_log::text("size ", size); });
    try {
        payload.size(0UL);
        payload.resize(size);
    } catch (const std::bad_alloc&) {
        net_log::failure(func, [&] {
            return own_log::text("no memory for a frame of ", size, " bytes ", peer);
        });
        return false;
    }
    length = size;
    if (size != 0 && !recvBuf_i(payload.buffer(), length, "data")) return false;
    if (length != size) return logEnd(socket(), "data");
    payload.size(size);
    return true;
}

// Returns false if nothing was read. Sets the length to the number of bytes read.
bool TcpChannel::recvBuf_i(void* buffer, std::size_t& length, istr label) {
    net_log::tagged(kTrace, kReceive,
                    [&] { return own_log::text("(", label, ") recving ", length, " bytes"); });
    tcp::TcpSocket& from = socket();
    const platform::Transfer received =
        platform::receiveAll(from.stream().get_handle(), buffer, length);
    if (received.error != 0) return logReceive(kReceive, received.error, label, from.peer());
    if (received.bytes == 0) return logEnd(from, label);
    length = received.bytes;
    net_log::tagged(kTrace, kReceive,
                    [&] { return own_log::text("(", label, ") recv ok ", length, " bytes"); });
    return true;
}

namespace tcp {

bool sendOnClosed(const istr& payload, int timeoutSeconds) {
    struct Closed : TcpChannel {
        TcpSocket& socket() override { return none; }
        TcpSocket none;
    };
    return Closed().sendBuf(payload, timeoutSeconds);
}

}  // namespace tcp

}  // namespace qor
