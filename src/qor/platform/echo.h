#ifndef QOR_SRC_PLATFORM_ECHO_H
#define QOR_SRC_PLATFORM_ECHO_H

#include <cstdint>

namespace qor::platform {

// A socket for ICMP echoes over IPv4 (RFC 792). It is a raw socket if the process may open one,
// else a datagram socket of the system's echo service. Close it: the destructor does not. Only one
// thread at a time may use it.
class EchoSocket {
public:
    EchoSocket() = default;
    EchoSocket(const EchoSocket&) = delete;
    EchoSocket& operator=(const EchoSocket&) = delete;

    // Closes an open socket first. Returns 0 or an error number.
    int open() noexcept;
    void close() noexcept;
    bool isOpen() const noexcept { return socket_ != -1; }

    // Sends one request and waits for its reply. `address` is in network byte order. Other packets
    // are ignored and do not extend the wait. Returns 0, ETIME on timeout, or another error number.
    int exchange(std::uint32_t address, int timeoutSeconds) noexcept;

private:
    int socket_ = -1;
    bool raw_ = false;
    std::uint16_t identifier_ = 0;  // in network byte order
    std::uint16_t sequence_ = 0;
};

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_ECHO_H
