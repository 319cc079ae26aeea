#ifndef QOR_ICMP_ICMP_PING_H
#define QOR_ICMP_ICMP_PING_H

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/interface.h"

namespace qor {

class PingImpl;

// Measures the round trip to a host with one ICMP echo. The process needs the right to open raw
// sockets: that of root, or CAP_NET_RAW.
//
//     Ping ping;
//     long long cost = 0;
//     if (ping.open() && ping.sendAndWait("192.0.2.1", &cost, 3)) ...  // milliseconds
//     ping.close();
//
// One thread at a time may use a Ping. Replies are told apart by the process alone: two that are
// under way at once may take each other's. While one is, ACE is silent in the whole process.
//
// A failure is false, and a line of the logger "qor" where its tag is switched on: "<ICMP.ERROR>",
// and "ICMP.INFO" for a success.
class QOR_API Ping : noncopyable {
public:
    Ping();
    // Does not close: a socket that is open stays so, for good.
    ~Ping();

    // A second call opens once more; the socket that was open before stays so, for good.
    bool open();
    void close();

    // Waits for the reply for so many seconds. The host may be a name. `cost` is the milliseconds
    // that it took; it may be null, and is left alone by a failure. False if there was no reply,
    // and if nothing could be sent.
    bool sendAndWait(const String& host, long long* cost, long waitTimeout);

private:
    PingImpl* const impl_;
};

}  // namespace qor

#endif  // QOR_ICMP_ICMP_PING_H
