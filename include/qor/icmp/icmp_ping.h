#ifndef QOR_ICMP_ICMP_PING_H
#define QOR_ICMP_ICMP_PING_H

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/interface.h"

namespace qor {

class PingImpl;

// Measures the round trip to a host with one ICMP echo over IPv4. The process needs the right to
// open raw sockets (that of root, or CAP_NET_RAW), or its group must be in the range of
// /proc/sys/net/ipv4/ping_group_range.
//
//     Ping ping;
//     long long milliseconds = 0;
//     constexpr long kTimeoutSeconds = 3;
//     if (ping.open() && ping.sendAndWait("192.0.2.1", &milliseconds, kTimeoutSeconds)) ...
//     ping.close();
//
// One thread at a time may use a Ping; any number of them may be in use at once. Each takes only
// the reply to its own request, whatever else arrives meanwhile.
//
// A failure is false, and a line of the logger "qor" where its tag is switched on: "<ICMP.ERROR>",
// and "ICMP.INFO" for a success.
class QOR_API Ping : noncopyable {
public:
    Ping();
    // Does not close: a socket that is open stays so, for good.
    ~Ping();

    // Closes the socket that is open before.
    bool open();
    void close();

    // Sends one request and waits for its reply, `timeoutSeconds` at the most. The host may be a
    // name. `costMilliseconds` may be null, and is left alone by a failure. False if no reply came
    // in time, and if nothing could be sent.
    bool sendAndWait(const String& host, long long* costMilliseconds, long timeoutSeconds);

private:
    PingImpl* const impl_;
};

}  // namespace qor

#endif  // QOR_ICMP_ICMP_PING_H
