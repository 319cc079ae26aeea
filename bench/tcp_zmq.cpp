#include <string>
#include <thread>
#include <zmq.hpp>

#include "tcp_bench.h"

namespace {

using namespace tcp_bench;

// The server: returns each small message, and one small message for each batch of large ones.
void serve(zmq::socket_t& socket) {
    int large = 0;
    zmq::message_t message;
    while (socket.recv(message) && message.size() != 0) {
        if (message.size() == kLarge && ++large % kFrames != 0) continue;
        socket.send(zmq::message_t(kSmall), zmq::send_flags::none);
    }
}

template <class Drive>
void run(Drive drive) {
    zmq::context_t context;
    zmq::socket_t near(context, zmq::socket_type::pair), far(context, zmq::socket_type::pair);
    far.bind("tcp://127.0.0.1:*");
    near.connect(far.get(zmq::sockopt::last_endpoint));
    std::thread thread([&] { serve(far); });
    drive(near);
    near.send(zmq::message_t(), zmq::send_flags::none);
    thread.join();
}

void RoundTrips64_zmq(benchmark::State& state) {
    run([&](zmq::socket_t& client) {
        zmq::message_t answer;
        roundTrips(state, [&] {
            for (int i = 0; i < kRoundTrips; ++i) {
                client.send(zmq::message_t(kSmall), zmq::send_flags::none);
                benchmark::DoNotOptimize(client.recv(answer));
            }
        });
    });
}
BENCHMARK(RoundTrips64_zmq)->MeasureProcessCPUTime()->UseRealTime();

void Frames64K_zmq(benchmark::State& state) {
    run([&](zmq::socket_t& client) {
        const std::string payload(kLarge, 'x');
        zmq::message_t answer;
        megabytes(state, [&] {
            for (int i = 0; i < kFrames; ++i)
                client.send(zmq::buffer(payload), zmq::send_flags::none);
            benchmark::DoNotOptimize(client.recv(answer));
        });
    });
}
BENCHMARK(Frames64K_zmq)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
