// The speed of frames over 127.0.0.1: round trips of small frames, and megabytes in large frames.
// Also the cost of a query for the address of the peer, and the memory of a connection.

#include "tcp_bench.h"

#include <malloc.h>

#include <fstream>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "qor/log/log_factory.h"
#include "qor/tcp/tcp_client.h"
#include "qor/tcp/tcp_server.h"
#include "tcp_bare.h"

namespace {

using namespace tcp_bench;
using qor::Handle;
using qor::istr;
using qor::TcpAddr;

// The server: returns each small frame, and one small frame for each batch of large ones.
class Echo : public qor::TcpCallback {
public:
    explicit Echo(qor::TcpServer& server) : server_(server) {}
    void onReceive(const TcpAddr& peer, const istr& payload) override {
        if (payload.size() == kLarge && ++large_ % kFrames != 0) return;
        server_.send(peer, istr(payload.data(), kSmall), -1);
    }
    void onClosed(const TcpAddr&) override {}

private:
    qor::TcpServer& server_;
    int large_ = 0;
};

// The client: sends back each frame except the last one of `expect`, on the reading thread. wait()
// returns after the last one.
class Driver : public qor::TcpCallback {
public:
    explicit Driver(qor::TcpClient& client) : client_(client) {}
    void onReceive(const TcpAddr&, const istr& payload) override {
        if (--left_ > 0) {
            client_.send(payload, -1);
        } else {
            done_.release();
        }
    }
    void onClosed(const TcpAddr&) override {}
    void expect(int frames) { left_ = frames; }
    void wait() { done_.acquire(); }

private:
    qor::TcpClient& client_;
    int left_ = 0;
    std::binary_semaphore done_{0};
};

class Connected {
public:
    Connected() : echo(new Echo(server)), driver(new Driver(client)) {
        qor::logger_factory::instance("QOR").infoOn(false);
        qor::logger_factory::instance("qor").infoOn(false);
        server.open(TcpAddr(0, "127.0.0.1"), echo, kBuffer);
        client.open(TcpAddr(server.getLocalPort(), "127.0.0.1"), driver, 5, kBuffer);
    }
    ~Connected() {
        client.close();
        server.close();
    }

    qor::TcpServer server;
    qor::TcpClient client;
    const Handle<Echo> echo;
    const Handle<Driver> driver;
};

void RoundTrips64_qor(benchmark::State& state) {
    Connected both;
    const std::string payload(kSmall, 'x');
    roundTrips(state, [&] {
        both.driver->expect(kRoundTrips);
        both.client.send(istr(payload), -1);
        both.driver->wait();
    });
}
BENCHMARK(RoundTrips64_qor)->MeasureProcessCPUTime()->UseRealTime();

void Frames64K_qor(benchmark::State& state) {
    Connected both;
    const std::string payload(kLarge, 'x');
    megabytes(state, [&] {
        both.driver->expect(1);
        for (int i = 0; i < kFrames; ++i)
            both.client.send(istr(payload), -1);
        both.driver->wait();
    });
}
BENCHMARK(Frames64K_qor)->MeasureProcessCPUTime()->UseRealTime();

// A query for the address of the peer, which the library does not make for each frame.
void AskForThePeer(benchmark::State& state) {
    const auto [near, far] = connectedPair();
    for (auto _ : state) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        benchmark::DoNotOptimize(getpeername(near, reinterpret_cast<sockaddr*>(&peer), &size));
    }
    close(near);
    close(far);
}
BENCHMARK(AskForThePeer);

// The resident memory of the process and its address space, in KiB.
std::pair<double, double> memory() {
    malloc_trim(0);
    double all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    const double page = static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
    return {resident * page, all * page};
}

// The memory of each side of a connection. Both sides are in this process. Stacks are included; the
// buffers of the system are not.
void IdleConnections(benchmark::State& state) {
    constexpr int kConnections = 200;
    qor::logger_factory::instance("QOR").infoOn(false);
    qor::logger_factory::instance("qor").infoOn(false);
    for (auto _ : state) {
        qor::TcpServer server;
        server.open(TcpAddr(0, "127.0.0.1"), nullptr, kBuffer);
        std::vector<qor::TcpClient> clients(kConnections);
        const auto [resident, all] = memory();
        for (qor::TcpClient& client : clients) {
            client.open(TcpAddr(server.getLocalPort(), "127.0.0.1"), nullptr, 5, kBuffer);
            client.send("warm", -1);
        }
        const auto [residentNow, allNow] = memory();
        state.counters["KiB_each"] = (residentNow - resident) / (2 * kConnections);
        state.counters["KiB_reserved_each"] = (allNow - all) / (2 * kConnections);
        for (qor::TcpClient& client : clients)
            client.close();
        server.close();
    }
}
BENCHMARK(IdleConnections)->Iterations(1)->UseRealTime();

}  // namespace
