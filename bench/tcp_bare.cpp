#include "tcp_bare.h"

#include <thread>

namespace {

using namespace tcp_bench;

// Frames on a blocking socket, with a buffer that is reused and two reads for each frame.
class Bare {
public:
    explicit Bare(int fd) : fd_(fd), buffer_(sizeof(std::uint32_t) + kLarge) {}
    ~Bare() { close(fd_); }

    void end() { shutdown(fd_, SHUT_RDWR); }
    bool send(std::size_t size) {
        const std::uint32_t header = htonl(static_cast<std::uint32_t>(size));
        std::memcpy(buffer_.data(), &header, sizeof header);
        const std::size_t all = sizeof header + size;
        for (std::size_t done = 0; done < all;) {
            const ssize_t n = ::send(fd_, buffer_.data() + done, all - done, MSG_NOSIGNAL);
            if (n <= 0) return false;
            done += static_cast<std::size_t>(n);
        }
        return true;
    }
    // Receives a frame and returns the size of its payload, or -1 at the end.
    long receive() {
        std::uint32_t header = 0;
        if (recv(fd_, &header, sizeof header, MSG_WAITALL) != sizeof header) return -1;
        const auto size = static_cast<long>(ntohl(header));
        const auto wanted = static_cast<std::size_t>(size);
        return recv(fd_, buffer_.data(), wanted, MSG_WAITALL) == size ? size : -1;
    }

private:
    int fd_;
    std::vector<char> buffer_;
};

// The server: returns each small frame, and one small frame for each batch of large ones.
void serve(Bare& socket) {
    int large = 0;
    for (long size; (size = socket.receive()) >= 0;) {
        if (size == kLarge && ++large % kFrames != 0) continue;
        if (!socket.send(kSmall)) return;
    }
}

template <class Drive>
void run(Drive drive) {
    const auto [near, far] = connectedPair();
    Bare client(near), server(far);
    std::thread thread([&server = server] { serve(server); });
    drive(client);
    client.end();
    thread.join();
}

void RoundTrips64_bare(benchmark::State& state) {
    run([&](Bare& client) {
        roundTrips(state, [&] {
            for (int i = 0; i < kRoundTrips; ++i) {
                client.send(kSmall);
                client.receive();
            }
        });
    });
}
BENCHMARK(RoundTrips64_bare)->MeasureProcessCPUTime()->UseRealTime();

void Frames64K_bare(benchmark::State& state) {
    run([&](Bare& client) {
        megabytes(state, [&] {
            for (int i = 0; i < kFrames; ++i)
                client.send(kLarge);
            client.receive();
        });
    });
}
BENCHMARK(Frames64K_bare)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
