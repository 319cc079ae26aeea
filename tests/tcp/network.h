#ifndef QOR_TESTS_TCP_NETWORK_H
#define QOR_TESTS_TCP_NETWORK_H

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qor/tcp/tcp_impl_base.h"
#include "support/temp_dir.h"

namespace network {

inline constexpr int kBuffer = 65536;
inline constexpr std::chrono::seconds kPatience(60);

// For what tells nobody when it has come about.
inline bool until(const std::function<bool()>& come) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!come()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// What this process holds of the system.
inline std::size_t threads() {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// A callback that notes its calls, and then does what it is given.
class Events : public qor::TcpCallback {
public:
    std::function<void(const qor::TcpAddr&, const qor::istr&)> receive;
    std::function<void(const qor::TcpAddr&)> close;

    void onReceive(const qor::TcpAddr& peer, const qor::istr& payload) override {
        note([&] {
            frames_.emplace_back(std::string_view(payload));
            peer_ = peer;
        });
        if (receive) receive(peer, payload);
    }
    void onClosed(const qor::TcpAddr& peer) override {
        note([&] { ++closed_; });
        if (close) close(peer);
    }

    std::vector<std::string> frames() const {
        const std::lock_guard lock(mutex_);
        return frames_;
    }
    std::size_t closed() const {
        const std::lock_guard lock(mutex_);
        return closed_;
    }
    qor::TcpAddr peer() const {
        const std::lock_guard lock(mutex_);
        return peer_;
    }
    bool received(std::size_t count) {
        return wait([&] { return frames_.size() >= count; });
    }
    bool closed(std::size_t count) {
        return wait([&] { return closed_ >= count; });
    }

private:
    template <class Change>
    void note(Change change) {
        const std::lock_guard lock(mutex_);
        change();
        changed_.notify_all();
    }
    template <class Come>
    bool wait(Come come) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, kPatience, come);
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> frames_;
    std::size_t closed_ = 0;
    qor::TcpAddr peer_;
};

// A plain socket of this host.
class Socket {
public:
    explicit Socket(int fd = ::socket(AF_INET, SOCK_STREAM, 0)) : fd_(fd) {}
    Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Socket() { close(); }

    static Socket listener(int backlog = 10) {
        Socket made;
        sockaddr_in any = address(0);
        EXPECT_EQ(::bind(made.fd_, reinterpret_cast<sockaddr*>(&any), sizeof any), 0);
        EXPECT_EQ(::listen(made.fd_, backlog), 0);
        return made;
    }
    Socket accept() const { return Socket(::accept(fd_, nullptr, nullptr)); }
    bool connect(unsigned short port) const {
        const sockaddr_in to = address(port);
        return ::connect(fd_, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0;
    }
    unsigned short port() const {
        sockaddr_in own{};
        socklen_t size = sizeof own;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&own), &size);
        return ntohs(own.sin_port);
    }
    qor::TcpAddr addr() const { return qor::TcpAddr(port(), "127.0.0.1"); }

    // Returns when the other end's system has the bytes.
    void write(std::string_view bytes) const {
        EXPECT_EQ(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
        int unsent = 1;
        EXPECT_TRUE(until([&] { return ::ioctl(fd_, SIOCOUTQ, &unsent) == 0 && unsent == 0; }));
    }
    // Fewer at the end of the stream.
    std::string read(std::size_t size) const {
        std::string bytes(size, '\0');
        const ssize_t n = ::recv(fd_, bytes.data(), size, MSG_WAITALL);
        bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
        return bytes;
    }
    // How many bytes there are to read.
    bool waiting(int& bytes) const { return ::ioctl(fd_, FIONREAD, &bytes) == 0; }
    void close() { ::close(std::exchange(fd_, -1)); }
    // The other end meets a failure and no end.
    void reset() {
        const linger now{1, 0};
        ::setsockopt(fd_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close();
    }

private:
    static sockaddr_in address(unsigned short port) {
        sockaddr_in made{};
        made.sin_family = AF_INET;
        made.sin_port = htons(port);
        made.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return made;
    }

    int fd_;
};

inline std::string frame(const std::string& payload) {
    const auto size = htonl(static_cast<std::uint32_t>(payload.size()));
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + payload;
}

}  // namespace network

#endif  // QOR_TESTS_TCP_NETWORK_H
