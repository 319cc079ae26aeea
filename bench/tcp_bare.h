#ifndef QOR_BENCH_TCP_BARE_H
#define QOR_BENCH_TCP_BARE_H

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <utility>
#include <vector>

#include "tcp_bench.h"

namespace tcp_bench {

inline void setUp(int fd) {
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kBuffer, sizeof kBuffer);
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kBuffer, sizeof kBuffer);
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// Two connected sockets.
inline std::pair<int, int> connectedPair() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(listener, reinterpret_cast<sockaddr*>(&address), size);
    listen(listener, 1);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    connect(client, reinterpret_cast<sockaddr*>(&address), size);
    const int server = accept(listener, nullptr, nullptr);
    close(listener);
    setUp(client);
    setUp(server);
    return {client, server};
}

}  // namespace tcp_bench

#endif  // QOR_BENCH_TCP_BARE_H
