#ifndef QOR_TESTS_ICMP_ECHO_PEER_H
#define QOR_TESTS_ICMP_ECHO_PEER_H

#include <linux/capability.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <sys/syscall.h>

#include "tcp/network.h"

namespace echo {

// These change the network of the calling thread. They return false if that is not permitted.

// The system answers no echo.
inline bool ignoreEchoes() {
    std::ofstream ignored("/proc/sys/net/ipv4/icmp_echo_ignore_all");
    return static_cast<bool>(ignored << 1 << std::flush);
}

inline bool permitDatagrams(bool on) {
    std::ofstream range("/proc/sys/net/ipv4/ping_group_range");
    return static_cast<bool>(range << (on ? "0 2147483647" : "1 0") << std::flush);
}

// Of the calling thread, and of those that it starts.
inline bool giveUpRawSockets() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2];
    if (::syscall(SYS_capget, &header, data) != 0) return false;
    data[0].effective &= ~(1U << CAP_NET_RAW);
    return ::syscall(SYS_capset, &header, data) == 0;
}

struct Reply {
    std::uint32_t source;  // in network byte order
    std::string icmp;      // without a checksum
};

// Answers echo requests to any address of this host with the replies that a function returns for
// the right one.
class Peer {
public:
    using Answer = std::function<std::vector<Reply>(const Reply& right)>;

    explicit Peer(Answer answer) : answer_(std::move(answer)) {
        const int on = 1;
        ::setsockopt(fd_, IPPROTO_IP, IP_HDRINCL, &on, sizeof on);
        // It receives all that it sends, too.
        const int room = 1 << 24;
        ::setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof room);
        thread_ = std::thread([this] { run(); });
    }
    ~Peer() {
        ::shutdown(fd_, SHUT_RDWR);
        thread_.join();
        ::close(fd_);
    }

    void send(const Reply& reply, std::uint32_t to) const {
        std::string icmp = reply.icmp;
        icmp[2] = icmp[3] = 0;
        std::uint32_t sum = 0;
        for (std::size_t i = 0; i < icmp.size(); i += 2) {
            std::uint16_t word;
            std::memcpy(&word, &icmp[i], 2);
            sum += word;
        }
        while (sum > 0xFFFF)
            sum = (sum >> 16) + (sum & 0xFFFF);
        const auto checksum = static_cast<std::uint16_t>(~sum);
        std::memcpy(&icmp[2], &checksum, 2);
        iphdr ip{};
        ip.version = 4;
        ip.ihl = 5;
        ip.ttl = 64;
        ip.protocol = IPPROTO_ICMP;
        ip.saddr = reply.source;
        ip.daddr = to;
        const std::string packet = std::string(reinterpret_cast<char*>(&ip), sizeof ip) + icmp;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = to;
        ::sendto(fd_, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&address),
                 sizeof address);
    }

private:
    void run() const {
        char bytes[256];
        for (;;) {
            const ssize_t n = ::recv(fd_, bytes, sizeof bytes, 0);
            if (n <= 0) return;
            iphdr ip;
            std::memcpy(&ip, bytes, sizeof ip);
            const std::size_t header = ip.ihl * 4U;
            std::string request(bytes + header, static_cast<std::size_t>(n) - header);
            if (request[0] != ICMP_ECHO) continue;
            request[0] = ICMP_ECHOREPLY;
            for (const Reply& reply : answer_({ip.daddr, request}))
                send(reply, ip.saddr);
        }
    }

    const int fd_ = ::socket(AF_INET, SOCK_RAW, IPPROTO_ICMP);
    const Answer answer_;
    std::thread thread_;
};

}  // namespace echo

#endif  // QOR_TESTS_ICMP_ECHO_PEER_H
