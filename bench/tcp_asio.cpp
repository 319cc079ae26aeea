// First, since Boost.Asio does not include this header itself.
#include <utility>

#include <array>
#include <boost/asio.hpp>
#include <functional>
#include <optional>
#include <semaphore>
#include <thread>
#include <vector>

#include "tcp_bench.h"

namespace {

using namespace tcp_bench;
namespace asio = boost::asio;
using asio::ip::tcp;

// A connection with its own thread, on which completion handlers read the frames.
class Connection {
public:
    explicit Connection(tcp::socket socket) : socket_(std::move(socket)), buffer_(kLarge) {
        socket_.set_option(tcp::no_delay(true));
        socket_.set_option(asio::socket_base::receive_buffer_size(kBuffer));
        socket_.set_option(asio::socket_base::send_buffer_size(kBuffer));
    }

    std::function<void(std::size_t)> receive;

    void read() {
        asio::async_read(socket_, asio::buffer(&header_, sizeof header_),
                         [this](boost::system::error_code failed, std::size_t) {
                             if (!failed) readPayload();
                         });
    }
    void send(std::size_t size) {
        const std::uint32_t header = htonl(static_cast<std::uint32_t>(size));
        boost::system::error_code ignored;
        const std::array<asio::const_buffer, 2> parts{asio::buffer(&header, sizeof header),
                                                      asio::buffer(payload_, size)};
        asio::write(socket_, parts, ignored);
    }
    void end() {
        boost::system::error_code ignored;
        socket_.shutdown(tcp::socket::shutdown_both, ignored);
    }

private:
    void readPayload() {
        asio::async_read(socket_, asio::buffer(buffer_, ntohl(header_)),
                         [this](boost::system::error_code failed, std::size_t size) {
                             if (failed) return;
                             receive(size);
                             read();
                         });
    }

    tcp::socket socket_;
    std::uint32_t header_ = 0;
    std::vector<char> buffer_;
    const std::vector<char> payload_ = std::vector<char>(kLarge, 'x');
};

class Connected {
public:
    Connected() {
        tcp::acceptor acceptor(there_, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
        tcp::socket near(here_), far(there_);
        near.connect(acceptor.local_endpoint());
        acceptor.accept(far);
        client.emplace(std::move(near));
        server.emplace(std::move(far));
        server->receive = [this](std::size_t size) {
            if (size == kLarge && ++large_ % kFrames != 0) return;
            server->send(kSmall);
        };
        client->receive = [this](std::size_t) {
            if (--left_ > 0) {
                client->send(kSmall);
            } else {
                done_.release();
            }
        };
        client->read();
        server->read();
        threads_[0] = std::thread([this] { here_.run(); });
        threads_[1] = std::thread([this] { there_.run(); });
    }
    ~Connected() {
        client->end();
        for (std::thread& thread : threads_)
            thread.join();
    }
    void expect(int frames) { left_ = frames; }
    void wait() { done_.acquire(); }

    std::optional<Connection> client, server;

private:
    asio::io_context here_{1}, there_{1};
    std::thread threads_[2];
    int left_ = 0;
    int large_ = 0;
    std::binary_semaphore done_{0};
};

void RoundTrips64_asio(benchmark::State& state) {
    Connected both;
    roundTrips(state, [&] {
        both.expect(kRoundTrips);
        both.client->send(kSmall);
        both.wait();
    });
}
BENCHMARK(RoundTrips64_asio)->MeasureProcessCPUTime()->UseRealTime();

void Frames64K_asio(benchmark::State& state) {
    Connected both;
    megabytes(state, [&] {
        both.expect(1);
        for (int i = 0; i < kFrames; ++i)
            both.client->send(kLarge);
        both.wait();
    });
}
BENCHMARK(Frames64K_asio)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
