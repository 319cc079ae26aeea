#ifndef QOR_TESTS_TCP_NETWORK_H
#define QOR_TESTS_TCP_NETWORK_H

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include "support/test.h"

namespace network {

inline constexpr int kBuffer = 65536;

// An address of this host; port 0 lets the system choose one.
inline qor::TcpAddr local(unsigned short port = 0) {
    return qor::TcpAddr(port, "127.0.0.1");
}

// Waits for a condition that nothing notifies.
inline bool until(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

inline std::string frame(const std::string& payload) {
    const auto size = htonl(static_cast<std::uint32_t>(payload.size()));
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + payload;
}

// A callback that records its calls, and then calls `receive` or `close`.
class Events : public qor::TcpCallback {
public:
    std::function<void(const qor::TcpAddr&, const qor::istr&)> receive;
    std::function<void()> close;
    std::atomic<unsigned> closed{0}, count{0};

    void onReceive(const qor::TcpAddr& peer, const qor::istr& payload) override {
        {
            const qor::Guard guard(mutex_);
            frames_ += std::string(payload) + "|";
        }
        ++count;
        if (receive) receive(peer, payload);
    }
    void onClosed(const qor::TcpAddr&) override {
        ++closed;
        if (close) close();
    }
    std::string frames() const {
        const qor::Guard guard(mutex_);
        return frames_;
    }
    bool received(unsigned frames) const {
        return until([&] { return count >= frames; });
    }
    bool ended(unsigned ends) const {
        return until([&] { return closed >= ends; });
    }

private:
    const qor::Mutex mutex_;
    std::string frames_;
};

class NetworkTest : public testing::Test {
protected:
    bool logged(const std::string& text) const {
        return until([&] { return log->entries().find(text) != std::string::npos; });
    }

    std::optional<support::LogFile> log{"qor"};
    const qor::Handle<Events> events{new Events};
};

// While it lives, the system gives this process no descriptor.
class NoDescriptors : qor::noncopyable {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{3, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before_), 0); }

private:
    rlimit before_{};
};

// Takes the loopback device of the calling thread's network up or down.
inline bool setLoopback(bool up) {
    const int any = ::socket(AF_INET, SOCK_DGRAM, 0);
    ifreq device{};
    std::string("lo").copy(device.ifr_name, sizeof device.ifr_name - 1);
    device.ifr_flags = static_cast<short>(up ? IFF_UP | IFF_RUNNING : 0);
    const bool done = ::ioctl(any, SIOCSIFFLAGS, &device) == 0;
    ::close(any);
    return done;
}

// Does the work in a thread that has a network of its own.
template <class Work>
void inOwnNetwork(Work work) {
    bool own = false;
    std::thread([&] {
        own = ::unshare(CLONE_NEWNET) == 0 && setLoopback(true);
        if (own) work();
    }).join();
    if (!own) GTEST_SKIP() << "no right to a network of its own";
}

// A plain socket of this host.
class Socket {
public:
    explicit Socket(int fd = ::socket(AF_INET, SOCK_STREAM, 0)) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&& other) noexcept { return std::swap(fd_, other.fd_), *this; }
    ~Socket() { ::close(fd_); }

    // A listener's address is one that the system chooses.
    void listen(int backlog) const { EXPECT_EQ(::listen(fd_, backlog), 0); }
    Socket accept() const { return Socket(::accept(fd_, nullptr, nullptr)); }
    bool connect(unsigned short port) const {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        return ::connect(fd_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    }
    // For one that does not block.
    bool isConnected() const {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        return ::getpeername(fd_, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
    }
    qor::TcpAddr addr() const {
        sockaddr_in own{};
        socklen_t size = sizeof own;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&own), &size);
        return local(ntohs(own.sin_port));
    }
    // As the log shows it.
    std::string masked() const { return "127.**.**.1:" + std::to_string(addr().port); }

    void post(const std::string& bytes) const {
        EXPECT_EQ(::send(fd_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }
    // Returns when the other end's system has the bytes.
    void write(const std::string& bytes) const {
        post(bytes);
        int unsent = 1;
        EXPECT_TRUE(until([&] { return ::ioctl(fd_, SIOCOUTQ, &unsent) == 0 && unsent == 0; }));
    }
    // Fewer bytes at the end of the stream. With MSG_DONTWAIT, only those that are there.
    std::string read(std::size_t size, int flags = MSG_WAITALL) const {
        std::string bytes(size, '\0');
        const ssize_t n = ::recv(fd_, bytes.data(), size, flags);
        return bytes.substr(0, n > 0 ? static_cast<std::size_t>(n) : 0);
    }
    // A reset is an error at the other end, not an end of the stream.
    void close(bool reset = false) {
        const linger now{reset, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        ::close(std::exchange(fd_, -1));
    }

private:
    int fd_;
};

class ServerTest : public NetworkTest {
protected:
    void TearDown() override { server.close(); }
    void open() { ASSERT_TRUE(server.open(local(), events, kBuffer)); }
    // A server that sends each frame back.
    void openEcho() {
        events->receive = [&](const qor::TcpAddr& peer, const qor::istr& payload) {
            EXPECT_TRUE(server.send(peer, payload, 60));
        };
        open();
    }
    qor::TcpAddr address() const { return local(server.getLocalPort()); }
    // A plain client whose first frame the server has received.
    Socket known(const char* first = "known") const {
        Socket made;
        EXPECT_TRUE(made.connect(server.getLocalPort()));
        const unsigned before = events->count;
        made.write(frame(first));
        EXPECT_TRUE(events->received(before + 1));
        return made;
    }

    qor::TcpServer server;
};

}  // namespace network

#endif  // QOR_TESTS_TCP_NETWORK_H
