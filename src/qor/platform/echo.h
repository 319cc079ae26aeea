#ifndef QOR_SRC_PLATFORM_ECHO_H
#define QOR_SRC_PLATFORM_ECHO_H

#include <cstdint>

namespace qor::platform {

// A socket for ICMP echoes over IPv4: a raw one, or, where the process may open none, a datagram
// one of the system's echo service. A resource: close it; the destructor does not. One thread at a
// time may use it.
class EchoSocket {
public:
    EchoSocket() = default;
    EchoSocket(const EchoSocket&) = delete;
    EchoSocket& operator=(const EchoSocket&) = delete;

    // Returns 0 or an error number. Closes a socket that is open first.
    int open() noexcept;
    void close() noexcept;
    bool isOpen() const noexcept { return socket_ != -1; }

    // Sends one request to an address in network byte order, and waits until its reply is there.
    // What is not the reply to this request changes neither the result nor the end of the wait.
    // Returns 0, ETIME when the time has passed, or another error number.
    int exchange(std::uint32_t address, int timeoutSeconds) noexcept;

private:
    int socket_ = -1;
    bool raw_ = false;
    std::uint16_t identifier_ = 0;  // of this socket's echoes, in network byte order
    std::uint16_t sequence_ = 0;
};

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_ECHO_H
