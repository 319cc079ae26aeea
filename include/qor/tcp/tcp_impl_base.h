#ifndef QOR_TCP_TCP_IMPL_BASE_H
#define QOR_TCP_TCP_IMPL_BASE_H

#include <compare>
#include <functional>
#include <iosfwd>

#include "qor/api.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/field.h"
#include "qor/mt/shared.h"

// Types that TcpClient and TcpServer share. docs/network.md describes the frames byte by byte and
// the effect of each failure.

namespace qor {

namespace tcp {
// The stack of a connection's thread, in which its callback runs.
inline constexpr unsigned kStackBytes = 1024 * 1024;
}  // namespace tcp

// The address of one end of a connection, as text: a value. Addresses from a socket have the dotted
// form ("192.0.2.1"); a caller may also give a host name, which is resolved at each use. Addresses
// compare by their texts, so a name and the dotted form of the same host differ.
struct QOR_API TcpAddr {
    TcpAddr() = default;
    // The port comes first. Raises std::bad_alloc.
    TcpAddr(unsigned short number, const istr& host) : ip(host), port(number) {}

    // By the text, and then by the port.
    auto operator<=>(const TcpAddr&) const = default;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("TcpAddr", "tcpaddr", "", "");
        field(s, {"ip", 1}, ip);
        Ushort number(port);
        field(s, {"port", 2}, number);
        // A stream that writes may have been given a const object.
        if (number != port) port = number;
        s.leave();
    }

    String ip;
    unsigned short port = 0;
};

// "ip:port". Not masked, as the addresses in the log are.
QOR_API std::ostream& operator<<(std::ostream& os, const TcpAddr& address);

// Receives the events of connections. Derive from it and pass it to a client or a server by Handle;
// it is released when its last connection has ended.
//
// All calls for one connection come from that connection's own thread, one after another: any
// number of onReceive, then one onClosed, then nothing more. While a call runs, nothing is read
// from its connection, which is the only way to slow a peer down. Connections that share a callback
// call it at the same time.
//
// A call may send on any connection, and may close its own client or server. An exception from it
// ends its connection as if the peer had closed it: a failure block in the log, then onClosed.
// Other connections are not affected.
class QOR_API TcpCallback : public virtual Shared {
public:
    // A whole frame. The view is valid during the call only.
    virtual void onReceive(const TcpAddr& peer, const istr& payload) = 0;
    // The peer has closed the connection, it has failed, or it was closed on this side.
    virtual void onClosed(const TcpAddr& peer) = 0;
};

}  // namespace qor

template <>
struct std::hash<qor::TcpAddr> {
    std::size_t operator()(const qor::TcpAddr& address) const noexcept {
        return std::hash<qor::String>()(address.ip) * 31 + address.port;
    }
};

#endif  // QOR_TCP_TCP_IMPL_BASE_H
