// The cost of many clients of one server. All clients connect at once. Measures the time until all
// have received a reply, and the number of connections that the system refused meanwhile; the
// memory of the server's process for each client; round trips of 64 bytes of one client in a
// hundred; and the time to close. The clients are plain sockets in another process.

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "qor/log/log_factory.h"
#include "qor/tcp/tcp_server.h"

namespace {

using Clock = std::chrono::steady_clock;
using qor::Handle;
using qor::istr;
using qor::TcpAddr;

constexpr int kBuffer = 16384;
constexpr std::size_t kFrame = 4 + 64;
constexpr int kRoundTrips = 20000;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

class Echo : public qor::TcpCallback {
public:
    explicit Echo(qor::TcpServer& server) : server_(server) {}
    void onReceive(const TcpAddr& peer, const istr& payload) override {
        ++frames;
        server_.send(peer, payload, -1);
    }
    void onClosed(const TcpAddr&) override {}

    std::atomic<int> frames{0};

private:
    qor::TcpServer& server_;
};

// Send and receive a value through a pipe. If one process ends, the other one ends too.
template <class T>
void give(int pipe, const T& value) {
    if (write(pipe, &value, sizeof value) != sizeof value) _exit(1);
}
template <class T>
bool take(int pipe, T& value) {
    return read(pipe, &value, sizeof value) == sizeof value;
}

struct RoundTrips {
    double medianMicroseconds, p99Microseconds;
};

// The process of the clients.
class Clients {
public:
    explicit Clients(int number) : sockets_(static_cast<std::size_t>(number)) {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        for (int& each : sockets_)
            if ((each = socket(AF_INET, SOCK_STREAM, 0)) == -1) _exit(1);
        std::memset(frame_, 0, sizeof frame_);
        frame_[3] = kFrame - 4;
    }

    // Connects all clients at once. Each sends a frame and receives one.
    void connectAll(unsigned short port) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int connecting = epoll_create1(0);
        for (const int each : sockets_) {
            block(each, false);
            connect(each, reinterpret_cast<sockaddr*>(&to), sizeof to);
            epoll_event event{};
            event.events = EPOLLOUT | EPOLLONESHOT;
            event.data.fd = each;
            epoll_ctl(connecting, EPOLL_CTL_ADD, each, &event);
        }
        for (std::size_t left = sockets_.size(); left != 0;) {
            epoll_event events[64];
            const int ready = epoll_wait(connecting, events, 64, -1);
            for (int i = 0; i < ready; ++i, --left) {
                block(events[i].data.fd, true);
                send(events[i].data.fd);
            }
        }
        ::close(connecting);
        for (const int each : sockets_)
            receive(each);
    }
    // One client in a hundred makes round trips; one round trip at a time.
    RoundTrips talk() {
        std::vector<double> times;
        const std::size_t talkers = sockets_.size() / 100;
        for (int i = 0; i < kRoundTrips; ++i) {
            const int each = sockets_[static_cast<std::size_t>(i) % talkers * 100];
            const auto start = Clock::now();
            send(each);
            receive(each);
            times.push_back(millisecondsSince(start) * 1000);
        }
        std::sort(times.begin(), times.end());
        return {times[times.size() / 2], times[times.size() * 99 / 100]};
    }

private:
    static void block(int socket, bool on) {
        const int flags = fcntl(socket, F_GETFL);
        fcntl(socket, F_SETFL, on ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
    }
    void send(int socket) {
        if (::send(socket, frame_, kFrame, MSG_NOSIGNAL) != kFrame) _exit(1);
    }
    static void receive(int socket) {
        char bytes[kFrame];
        if (recv(socket, bytes, kFrame, MSG_WAITALL) != kFrame) _exit(1);
    }

    std::vector<int> sockets_;
    char frame_[kFrame];
};

[[noreturn]] void runClients(int number, int in, int out) {
    Clients clients(number);
    unsigned short port = 0;
    char word = 0;
    if (!take(in, port)) _exit(1);
    clients.connectAll(port);
    give(out, word);
    if (!take(in, word)) _exit(1);
    give(out, clients.talk());
    take(in, word);  // wait until the server's process has closed the pipe
    _exit(0);
}

unsigned long listenDrops() {
    std::ifstream file("/proc/net/netstat");
    for (std::string names, values; std::getline(file, names) && std::getline(file, values);) {
        std::istringstream name(names), value(values);
        for (std::string key, number; name >> key && value >> number;)
            if (key == "ListenDrops") return std::stoul(number);
    }
    return 0;
}

double residentKiB() {
    double all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

void ManyClients(benchmark::State& state) {
    qor::logger_factory::instance("QOR").infoOn(false);
    qor::logger_factory::instance("qor").infoOn(false);
    const auto number = static_cast<int>(state.range(0));
    for (auto _ : state) {
        int to[2], from[2];
        if (pipe(to) != 0 || pipe(from) != 0) return state.SkipWithError("no pipe");
        const pid_t child = fork();
        if (child == 0) {
            ::close(to[1]);
            ::close(from[0]);
            runClients(number, to[0], from[1]);
        }
        ::close(to[0]);
        ::close(from[1]);
        char word = 0;
        RoundTrips trips{};
        qor::TcpServer server;
        const Handle<Echo> echo(new Echo(server));
        server.open(TcpAddr(0, "127.0.0.1"), echo, kBuffer);
        const double before = residentKiB();
        const unsigned long drops = listenDrops();
        const auto start = Clock::now();
        give(to[1], server.getLocalPort());
        const bool connected = take(from[0], word);
        state.counters["served_ms"] = millisecondsSince(start);
        state.counters["refused"] = static_cast<double>(listenDrops() - drops);
        state.counters["KiB_each"] = (residentKiB() - before) / number;
        give(to[1], word);
        if (!connected || !take(from[0], trips)) state.SkipWithError("the clients have failed");
        state.counters["trip_us"] = trips.medianMicroseconds;
        state.counters["trip_p99_us"] = trips.p99Microseconds;
        const auto end = Clock::now();
        server.close();
        state.counters["close_ms"] = millisecondsSince(end);
        ::close(to[1]);
        ::close(from[0]);
        waitpid(child, nullptr, 0);
    }
}
BENCHMARK(ManyClients)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(10000)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
