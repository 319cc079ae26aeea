#include "platform/echo.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "nuv_guard.h"
#include "platform/first_use.h"
#include "platform/socket.h"
#include "platform/uninterrupted.h"

namespace qor::platform {

namespace {

using Clock = std::chrono::steady_clock;

// The size of the common tools: 8 bytes of header and 56 bytes of payload.
struct Echo {
    icmphdr head;
    std::uint64_t process;  // random
    std::uint64_t number;   // of the request, counted in the process
    unsigned char filling[40];
};
static_assert(sizeof(Echo) == 64);

constexpr std::size_t kMostIpHeader = 60;

// Never 0.
std::uint64_t randomNumber() noexcept {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, GRND_NONBLOCK) != sizeof number)
        number = static_cast<std::uint64_t>(Clock::now().time_since_epoch().count());
    return number | 1;
}

std::uint64_t firstNumber() noexcept {
    static constinit FirstUse<std::uint64_t> first;
    return first.get(randomNumber);
}

// A forked child has a different number.
std::uint64_t processNumber() noexcept {
    return firstNumber() ^ static_cast<std::uint64_t>(getpid());
}

std::uint64_t nextNumber() noexcept {
    static std::atomic<std::uint64_t> number{0};
    return ++number;
}

// Sockets that are open at the same time have different identifiers, as far as 16 bits allow.
// Replies with an equal identifier are recognised by their payload.
// The first one leaves out the lowest bit, which is always set.
std::uint16_t nextIdentifier() noexcept {
    static constinit std::atomic<std::uint16_t> used{0};
    return static_cast<std::uint16_t>((firstNumber() >> 1) + ++used);
}

std::uint16_t checksumOf(const Echo& echo) noexcept {
    std::uint16_t words[sizeof echo / 2];
    std::memcpy(words, &echo, sizeof echo);
    std::uint32_t sum = 0;
    for (const std::uint16_t word : words)
        sum += word;
    sum = (sum >> 16) + (sum & 0xFFFF);
    return static_cast<std::uint16_t>(~(sum + (sum >> 16)));
}

// A raw socket receives a copy of each ICMP packet of the host, which could fill its queue. If the
// filter cannot be set, Packet::answers still ignores these packets.
void keepOwnReplies(int socket, std::uint16_t identifier) noexcept {
    sock_filter code[] = {
        BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0),  // the size of the IP header
        BPF_STMT(BPF_LD | BPF_B | BPF_IND, offsetof(icmphdr, type)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ICMP_ECHOREPLY, 0, 3),
        BPF_STMT(BPF_LD | BPF_H | BPF_IND, offsetof(icmphdr, un.echo.id)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ntohs(identifier), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0xFFFF),
        BPF_STMT(BPF_RET | BPF_K, 0),
    };
    const sock_fprog program{std::size(code), code};
    setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

// Reads the identifier that the system gives to a datagram socket: its port. Returns 0 or an error
// number.
int systemIdentifier(int socket, std::uint16_t& identifier) noexcept {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    socklen_t size = sizeof own;
    if (bind(socket, reinterpret_cast<sockaddr*>(&own), size) == -1) return errno;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&own), &size) == -1) return errno;
    identifier = own.sin_port;
    return 0;
}

// A received packet. From a raw socket it begins with the IP header.
struct Packet {
    bool answers(const Echo& request, std::uint32_t address, bool raw) const noexcept {
        const std::size_t header = raw && size != 0 ? (bytes[0] & 0x0FU) * 4U : 0U;
        if (from.sin_addr.s_addr != address || size != header + sizeof request) return false;
        Echo reply;
        std::memcpy(&reply, bytes + header, sizeof reply);
        if (reply.head.type != ICMP_ECHOREPLY) return false;
        reply.head.type = request.head.type;
        reply.head.checksum = request.head.checksum;
        return std::memcmp(&reply, &request, sizeof reply) == 0;
    }

    sockaddr_in from{};
    std::size_t size = 0;
    unsigned char bytes[kMostIpHeader + sizeof(Echo) + 1];  // 1 extra, to notice longer packets
};

// Returns 0 or an error number; EAGAIN if there is no packet.
int receive(int socket, Packet& packet) noexcept {
    socklen_t size = sizeof packet.from;
    const ssize_t n = recvfrom(socket, packet.bytes, sizeof packet.bytes, MSG_DONTWAIT,
                               reinterpret_cast<sockaddr*>(&packet.from), &size);
    if (n == -1) return errno;
    packet.size = static_cast<std::size_t>(n);
    return 0;
}

int send(int socket, const Echo& request, std::uint32_t address) noexcept {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = address;
    const auto sent = uninterrupted([&] {
        return sendto(socket, &request, sizeof request, 0, reinterpret_cast<const sockaddr*>(&to),
                      sizeof to);
    });
    return sent == -1 ? errno : 0;
}

// The queue can be full, of packets that came before the filter was set or that have the same
// identifier: the system would drop the reply.
void discardQueue(int socket) noexcept {
    constexpr int kLongestQueue = 100000;  // more than the system keeps
    Packet packet;
    for (int i = 0; i < kLongestQueue && receive(socket, packet) == 0; ++i) {
    }
}

}  // namespace

int EchoSocket::open() noexcept {
    const nuv_uncancelled whole;
    close();
    socket_ = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    raw_ = isOpen();
    if (raw_) {
        identifier_ = nextIdentifier();
        keepOwnReplies(socket_, identifier_);
        return 0;
    }
    socket_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
    const int error = isOpen() ? systemIdentifier(socket_, identifier_) : errno;
    if (error != 0) close();
    return error;
}

void EchoSocket::close() noexcept {
    if (isOpen()) closeSocket(socket_);
    socket_ = -1;
}

int EchoSocket::exchange(std::uint32_t address, int timeoutSeconds) noexcept {
    const nuv_uncancelled whole;
    const auto end = Clock::now() + std::chrono::seconds(timeoutSeconds);
    Echo request{};
    request.head.type = ICMP_ECHO;
    request.head.un.echo.id = identifier_;
    request.head.un.echo.sequence = htons(++sequence_);
    request.process = processNumber();
    request.number = nextNumber();
    request.head.checksum = checksumOf(request);
    discardQueue(socket_);
    if (const int error = send(socket_, request, address)) return error;
    Packet packet;
    for (;;) {
        const int error = receive(socket_, packet);
        if (error == 0) {
            if (packet.answers(request, address, raw_)) return 0;
            if (Clock::now() >= end) return ETIME;
        } else if (error == EAGAIN) {
            if (const int failed = waitReadable(socket_, end)) return failed;
        } else if (error != EINTR) {
            return error;
        }
    }
}

}  // namespace qor::platform
