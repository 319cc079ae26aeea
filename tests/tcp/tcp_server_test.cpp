#include "qor/tcp/tcp_server.h"

#include "network.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

using namespace network;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSlow = true;
#else
constexpr bool kSlow = false;
#endif

class TcpServerTest : public ServerTest {};

TEST_F(TcpServerTest, LogsItsLifecycle) {
    log->log().debugOn(true);
    log->log().appLog("TCP.DEBUG", true);
    // The client that stays is in a callback when the server stops it; otherwise it might end
    // before.
    events->receive = [&](const TcpAddr&, const istr& payload) {
        if (payload == istr("stays")) logged("onStop() closing connection ");
    };
    open();
    const std::string port = std::to_string(server.getLocalPort());
    Socket former = known();
    const std::string peer = former.masked();
    const TcpAddr address = former.addr();
    former.close();
    EXPECT_TRUE(logged("closeServer() remove tcp server " + peer + "\n"));
    const Socket stays = known("stays");
    server.close();
    EXPECT_EQ(events->closed, 2u);
    const std::string lines[] = {
        "[INFO]{tcp.acceptor.0}open() start tcp acceptor at 127.**.**.1:" + port + "\n",
        "[INFO]{tcp.acceptor.0}accept() accepted new client = " + peer + "\n",
        "[TCP.DEBUG]{tcp.server." + port + "|" + std::to_string(address.port) +
            "}close() closed connection " + peer + "\n",
        ") break loop: !recv()\n",
        "stopping tcp.server." + port + "|" + std::to_string(stays.addr().port) + "{",
        "onStop() closing connection " + stays.masked() + "\n"};
    for (const std::string& line : lines)
        EXPECT_TRUE(logged(line)) << line << log->entries();
    // Two threads stop the connection, and each line is written once.
    const std::string entries = log->entries();
    for (const char* once : {"stopping tcp.server.", "onStop() closing connection "})
        EXPECT_EQ(entries.find(once), entries.rfind(once)) << entries;
}

// A frame for an unknown address is sent to all. It ends at the first failure, without a wait.
TEST_F(TcpServerTest, SendsToOneOrToAll) {
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    EXPECT_TRUE(logged(") null tcp server impl\n"));
    std::promise<void> go;
    events->receive = [&](const TcpAddr&, const istr& payload) {
        if (payload == istr("stuck")) go.get_future().wait();
    };
    open();
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    const Socket first = known();
    const Socket stuck = known("stuck");
    const Socket last = known();
    EXPECT_TRUE(server.send(first.addr(), "only", 5));
    EXPECT_EQ(first.read(8), frame("only"));
    for (const TcpAddr& nobody : {TcpAddr(), local(1)}) {
        EXPECT_TRUE(server.send(nobody, "all", 5));
        EXPECT_EQ(first.read(7) + last.read(7), frame("all") + frame("all"));
    }
    const std::string large(1000000, 'x');
    while (server.send(stuck.addr(), large, 0)) {
    }
    EXPECT_FALSE(server.send(TcpAddr(), "few", -1));
    EXPECT_EQ(first.read(7), frame("few"));
    EXPECT_EQ(last.read(1, MSG_DONTWAIT), "");
    go.set_value();
    EXPECT_TRUE(until([&] { return server.send(TcpAddr(), "again", 0); }));
    EXPECT_EQ(last.read(9), frame("again"));
    server.close();
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    EXPECT_TRUE(logged(") null tcp acceptor impl\n"));
    EXPECT_EQ(server.getLocalPort(), 0);
}

TEST_F(TcpServerTest, ListensOnFreeAddressesOnly) {
    open();
    const unsigned short port = server.getLocalPort();
    TcpServer other;
    const unsigned descriptors = openDescriptors();
    EXPECT_FALSE(other.open(local(port), events, kBuffer));
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(logged("open() \"Address already in use\" at 127.**.**.1:" + std::to_string(port)));
    for (const TcpAddr& bad : {TcpAddr(0, "no.such.host.invalid"), TcpAddr(0, "192.0.2.1")})
        EXPECT_FALSE(other.open(bad, events, kBuffer)) << bad;
    EXPECT_EQ(other.getLocalPort(), 0);

    // A connected client does not keep the port from being used again.
    const Socket there = known();
    server.close();
    EXPECT_TRUE(server.open(TcpAddr(port, ""), events, kBuffer));
    // An earlier listener keeps working beside a new one. Its client ends without a frame.
    open();
    EXPECT_NE(server.getLocalPort(), port);
    Socket silent;
    EXPECT_TRUE(silent.connect(port));
    silent.close();
    EXPECT_TRUE(events->ended(2));
    EXPECT_EQ(events->count, 1u);
}

TEST_F(TcpServerTest, EndsOnlyTheConnectionWhoseCallbackRaises) {
    events->receive = [&](const TcpAddr&, const istr& payload) {
        if (payload == istr("bad")) throw std::runtime_error("bad frame");
    };
    events->close = [] { throw std::runtime_error("bad end"); };
    open();
    const Socket good = known("good");
    const Socket bad = known("bad");
    EXPECT_EQ(bad.read(1), "");
    EXPECT_TRUE(logged("remove tcp server " + bad.masked()));
    EXPECT_EQ(events->closed, 1u);
    // It is in the map for a moment after its line.
    EXPECT_TRUE(until([&] { return server.send(TcpAddr(), "all", 0); }));
    EXPECT_EQ(good.read(7), frame("all"));
    for (const char* text :
         {"\nbad frame",
          "\n        AT: qor::TcpCallback::onReceive(tcp_receiver.cpp:", "\nbad end"})
        EXPECT_TRUE(logged(text)) << text;
}

// Two callbacks close at once, and must not wait for each other.
TEST_F(TcpServerTest, MayBeClosedByItsCallbacks) {
    std::atomic<int> inside{0};
    events->receive = [&](const TcpAddr&, const istr& payload) {
        if (payload != istr("close")) return;
        ++inside;
        EXPECT_TRUE(until([&] { return inside == 2; }));
        server.close();
    };
    open();
    Socket clients[3] = {known(), known(), known()};
    clients[0].write(frame("close"));
    clients[1].write(frame("close"));
    for (const Socket& client : clients)
        EXPECT_EQ(client.read(1), "");
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    EXPECT_EQ(server.getLocalPort(), 0);
    server.close();  // by another thread, which waits for them all
    EXPECT_EQ(events->closed, 3u);
    open();
}

// A close by another thread waits for the callback of the first listener, too.
TEST_F(TcpServerTest, CloseWaitsForACallbackThatHasOpenedAgain) {
    std::atomic<bool> opened{false}, waiting{false}, returned{false};
    events->receive = [&](const TcpAddr&, const istr& payload) {
        if (payload != istr("reopen")) return;
        server.close();
        EXPECT_TRUE(server.open(local(), events, kBuffer));
        opened = true;
        EXPECT_TRUE(until([&] { return waiting.load(); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a wrong close returns now
        returned = true;
    };
    open();
    const Socket client = known();
    client.post(frame("reopen"));
    EXPECT_TRUE(until([&] { return opened.load(); }));
    waiting = true;
    server.close();
    EXPECT_TRUE(returned);
    EXPECT_EQ(events->closed, 1u);
    EXPECT_EQ(server.getLocalPort(), 0);
}

TEST_F(TcpServerTest, CarriesTwoHundredConnectionsAtOnce) {
    constexpr int kClients = kSlow ? 50 : 200;
    constexpr int kFrames = 200;
    log.reset();
    const unsigned before = runningThreads();
    const unsigned descriptors = openDescriptors();
    openEcho();
    std::vector<TcpClient> clients(kClients);
    std::vector<Handle<Events>> answers(kClients);
    for (int i = 0; i < kClients; ++i) {
        answers[i] = new Events;
        ASSERT_TRUE(clients[i].open(address(), answers[i], 30, kBuffer));
    }
    // The frames of a client are numbered, and come back in their order.
    const auto text = [](int client, int n) {
        return std::to_string(client) + ":" + std::to_string(n) + std::string(n % 100, 'x');
    };
    inThreads(4, [&](int part) {
        for (int n = 0; n < kFrames; ++n) {
            for (int i = part; i < kClients; i += 4)
                EXPECT_TRUE(clients[i].send(text(i, n), 60));
        }
    });
    for (int i = 0; i < kClients; ++i) {
        std::string expected;
        for (int n = 0; n < kFrames; ++n)
            expected += text(i, n) + "|";
        EXPECT_TRUE(answers[i]->received(kFrames));
        EXPECT_TRUE(answers[i]->frames() == expected) << i;
    }
    server.close();
    EXPECT_EQ(events->closed, static_cast<unsigned>(kClients));
    for (TcpClient& client : clients)
        client.close();
    EXPECT_TRUE(until([&] { return runningThreads() <= before; }));
    EXPECT_EQ(openDescriptors(), descriptors);
}

// QOR_TEST_CONNECTS clients, if it is set, such as 10000. Many have left before the server has
// started their connections, which is no failure.
TEST_F(TcpServerTest, ReleasesEverythingOfItsClients) {
    const char* const wanted = std::getenv("QOR_TEST_CONNECTS");
    const int each = (wanted != nullptr ? std::atoi(wanted) : kSlow ? 400 : 2000) / 4;
    open();
    const unsigned before = runningThreads();
    const unsigned descriptors = openDescriptors();
    inThreads(4, [&](unsigned) {
        TcpClient client;
        for (int n = 0; n < each; ++n) {
            EXPECT_TRUE(client.open(address(), nullptr, 30, kBuffer));
            client.close();
        }
    });
    EXPECT_TRUE(events->ended(static_cast<unsigned>(4 * each)));
    EXPECT_TRUE(until([&] { return runningThreads() <= before; }));
    EXPECT_TRUE(until([&] { return openDescriptors() == descriptors; }));
    EXPECT_FALSE(contains(log->entries(), "start tcp server failure"));
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
}

TEST_F(TcpServerTest, AcceptsAgainWhenThereAreDescriptors) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs descriptors of its own";
#endif
    open();
    const Socket waiting;
    std::ifstream lines(log->path());
    const auto refusals = [&] {
        int found = 0;
        lines.clear();
        lines.seekg(0);
        for (std::string line; std::getline(lines, line);)
            found += line.find("accept() \"Too many open files\" accept()") != std::string::npos;
        return found;
    };
    {
        const NoDescriptors none;
        EXPECT_TRUE(waiting.connect(server.getLocalPort()));
        EXPECT_TRUE(until([&] { return refusals() >= 2; }));
    }
    waiting.write(frame("x"));
    EXPECT_TRUE(events->received(1));
    EXPECT_LT(refusals(), 20) << "it does not spin";
}

TEST_F(TcpServerTest, IsInTheLeakTable) {
    const auto has = [](const std::string& place) {
        std::ostringstream table;
        MemLeakChecker::instance()->dump(table);
        return table.str().find(place) != std::string::npos;
    };
    MemLeakChecker::instance()->start();
    {
        TcpServer other;
        TcpClient client;
        EXPECT_TRUE(other.open(local(), events, kBuffer));
        EXPECT_TRUE(client.open(local(other.getLocalPort()), events, 5, kBuffer));
        EXPECT_TRUE(client.send("x", 0) && events->received(1));
        for (const char* place :
             {"qor::TcpServer::open", "qor::tcp::ServerImpl::open", "qor::TcpAcceptor::accept",
              "qor::TcpClient::TcpClient", "qor::tcp::ClientImpl::open"})
            EXPECT_TRUE(has(place)) << place;
        client.close();
        other.close();
    }
    EXPECT_TRUE(until([&] { return !has("qor::Tcp") && !has("qor::tcp::"); }));
    MemLeakChecker::destroy();
}

TEST_F(TcpServerTest, WorksWithDescriptorsAbove1024) {
    open();  // raises the limit of descriptors
    std::vector<Socket> many;
    while (many.size() < 1100)
        many.emplace_back(fcntl(0, F_DUPFD, 0));
    open();
    TcpClient client;
    ASSERT_TRUE(client.open(address(), nullptr, 5, kBuffer));
    EXPECT_TRUE(client.send(std::string(3000000, 'x'), 60));
    EXPECT_TRUE(events->received(1));
    client.close();
}

// The number of connections that the system has refused since its start, for all listeners.
unsigned long listenDrops() {
    std::ifstream file("/proc/net/netstat");
    for (std::string names, values; std::getline(file, names) && std::getline(file, values);) {
        std::istringstream name(names), value(values);
        for (std::string key, number; name >> key && value >> number;)
            if (key == "ListenDrops") return std::stoul(number);
    }
    return 0;
}

// Clients that do not wait for each other.
std::vector<Socket> burst(int number, unsigned short port) {
    std::vector<Socket> clients;
    for (int i = 0; i < number; ++i)
        clients.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
    for (const Socket& client : clients)
        static_cast<void>(client.connect(port));
    return clients;
}

bool mayRunBeforeOthers() {
    bool may = false;
    std::thread([&] {
        const sched_param lowest{sched_get_priority_min(SCHED_RR)};
        may = sched_setscheduler(0, SCHED_RR, &lowest) == 0;
    }).join();
    return may;
}

// Looks for a burst without refused clients, since other programs may keep the processor. Without a
// thread that accepts while connections are started there is none.
TEST_F(TcpServerTest, AcceptsABurstOfClients) {
    constexpr unsigned kClients = 100;
    constexpr unsigned kAttempts = 10;
    open();
    bool dropped = true;
    for (unsigned attempt = 1; dropped && attempt <= kAttempts; ++attempt) {
        const unsigned long before = listenDrops();
        const std::vector<Socket> clients = burst(kClients, server.getLocalPort());
        for (const Socket& client : clients) {
            ASSERT_TRUE(until([&] { return client.isConnected(); }));
            client.write(frame("x"));
        }
        dropped = listenDrops() != before;
        EXPECT_TRUE(events->received(attempt * kClients));
        EXPECT_TRUE(server.send(TcpAddr(), "all", 0));
        for (const Socket& client : clients)
            EXPECT_TRUE(until([&] { return client.read(7) == frame("all"); }));
    }
    if (dropped && !mayRunBeforeOthers()) GTEST_SKIP() << "no right to run before others";
    EXPECT_FALSE(dropped);
}

TEST_F(TcpServerTest, LeaksNoDescriptorWhenItIsClosedInABurst) {
    log.reset();
    const unsigned descriptors = openDescriptors();
    for (int clients = 0; clients < 60; clients += 3) {
        open();
        const std::vector<Socket> some = burst(clients, server.getLocalPort());
        server.close();
        EXPECT_EQ(openDescriptors(), descriptors + static_cast<unsigned>(clients));
    }
}

}  // namespace
}  // namespace qor
