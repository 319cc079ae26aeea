#ifndef QOR_ICMP_ICMP_PING_H
#define QOR_ICMP_ICMP_PING_H

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/interface.h"

namespace qor {

class PingImpl;

// Measures the round trip to a host with an ICMP echo (RFC 792) over IPv4. The process needs the
// right to open raw sockets (root, or CAP_NET_RAW), or its group must be in the range of
// /proc/sys/net/ipv4/ping_group_range.
//
//     Ping ping;
//     long long milliseconds = 0;
//     constexpr long kTimeoutSeconds = 3;
//     if (ping.open() && ping.sendAndWait("192.0.2.1", &milliseconds, kTimeoutSeconds)) ...
//     ping.close();
//
// Only one thread at a time may use an object. Any number of objects may be used at the same time:
// each accepts only the reply to its own request.
//
// Failures return false. The logger "qor" gets a line with the tag "<ICMP.ERROR>" for a failure and
// "ICMP.INFO" for a success, if that tag is switched on.
class QOR_API Ping : noncopyable {
public:
    Ping();
    // Deliberate (compatibility): does not close an open socket, which then stays open.
    ~Ping();

    // Opens a socket; an open one is closed first.
    bool open();
    void close();

    // Sends a request and waits for its reply, at most `timeoutSeconds`. The host may be a name.
    // `costMilliseconds`, which may be null, becomes the round trip; a failure leaves it unchanged.
    // Returns false if no reply came in time or the request could not be sent.
    bool sendAndWait(const String& host, long long* costMilliseconds, long timeoutSeconds);

private:
    PingImpl* const impl_;
};

}  // namespace qor

#endif  // QOR_ICMP_ICMP_PING_H
