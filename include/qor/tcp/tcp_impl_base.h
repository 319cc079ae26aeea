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
// The stack size of a connection's thread, on which its callback runs.
inline constexpr unsigned kStackBytes = 1024 * 1024;
}  // namespace tcp

// The address of one end of a connection. Addresses from a socket have the numeric form
// ("192.0.2.1"); a caller may also give a host name, which is resolved at each use. Addresses are
// compared by their texts, so a name and the numeric form of the same host differ.
struct QOR_API TcpAddr {
    TcpAddr() = default;
    // The port comes first. Raises std::bad_alloc.
    TcpAddr(unsigned short number, const istr& host) : ip(host), port(number) {}

    // Compares the host's text, then the port.
    auto operator<=>(const TcpAddr&) const = default;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("TcpAddr", "tcpaddr", "", "");
        field(s, {"ip", 1}, ip);
        Ushort number(port);
        field(s, {"port", 2}, number);
        // Only if it differs: a stream that writes may have been given a const object.
        if (number != port) port = number;
        s.leave();
    }

    String ip;
    unsigned short port = 0;
};

// Writes "ip:port". Addresses in the log are masked; this output is not.
QOR_API std::ostream& operator<<(std::ostream& os, const TcpAddr& address);

// Receives the events of connections. Derive from it and pass it to a client or a server by a
// Handle, which is released when its last connection has ended.
//
// All calls for a connection are made on that connection's own thread, one after the other: any
// number of onReceive, then one onClosed. While a call runs, nothing is read from its connection;
// this is the only way to slow down a peer. Connections that share a callback may call it at the
// same time.
//
// A call may send on any connection, and may close its own client or server. An exception from
// onReceive is logged as a block and ends its connection; onClosed is then called. Other
// connections are not affected.
class QOR_API TcpCallback : public virtual Shared {
public:
    // A complete frame has arrived. The view is valid during the call only.
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
