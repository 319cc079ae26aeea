#include "qor/tcp/tcp_server.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "network.h"
#include "qor/tcp/tcp_client.h"
#include "support/log_file.h"

namespace qor {
namespace {

using namespace network;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

class TcpServerTest : public testing::Test {
protected:
    void TearDown() override { server.close(); }
    void open() {
        ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), events, kBuffer));
        ASSERT_NE(server.getLocalPort(), 0);
    }
    // A plain client, and the server's address of it.
    Socket client() {
        Socket made;
        EXPECT_TRUE(made.connect(server.getLocalPort()));
        return made;
    }
    // The same, when the server has it.
    Socket known(const char* first = "known") {
        Socket made = client();
        const std::size_t before = events->frames().size();
        made.write(frame(first));
        EXPECT_TRUE(events->received(before + 1));
        return made;
    }
    bool logged(const std::string& text) const {
        return until([&] { return count(text) != 0; });
    }
    int count(const std::string& text) const {
        const std::string lines = log->entries();
        int found = 0;
        for (std::size_t at = 0; (at = lines.find(text, at)) != std::string::npos; ++at)
            ++found;
        return found;
    }
    std::string port() const { return std::to_string(server.getLocalPort()); }

    std::optional<support::LogFile> log{"qor"};
    const Handle<Events> events{new Events};
    TcpServer server;
};

TEST_F(TcpServerTest, AnswersEachClientByItsAddress) {
    events->receive = [&](const TcpAddr& peer, const istr& payload) {
        EXPECT_TRUE(server.send(peer, payload, 5));
    };
    open();
    const Socket first = known("one");
    const Socket second = known("two");
    EXPECT_EQ(events->peer(), second.addr());
    EXPECT_EQ(first.read(7), frame("one"));
    EXPECT_EQ(second.read(7), frame("two"));
    EXPECT_TRUE(server.send(first.addr(), "only", 5));
    EXPECT_EQ(first.read(8), frame("only"));
    int waiting = -1;
    EXPECT_TRUE(second.waiting(waiting) && waiting == 0);
}

TEST_F(TcpServerTest, TellsItsLife) {
    log->log().debugOn(true);
    log->log().appLog("TCP.DEBUG", true);
    open();
    Socket gone = known();
    const std::string peer = "127.**.**.1:" + std::to_string(gone.port());
    gone.close();
    ASSERT_TRUE(logged("[INFO]{tcp.server." + port() + "|"));
    ASSERT_TRUE(logged("closeServer() remove tcp server " + peer + "\n"));
    const Socket stays = known();
    const std::string name = "tcp.server." + port() + "|" + std::to_string(stays.port());
    const std::string stayed = "127.**.**.1:" + std::to_string(stays.port());
    server.close();
    const std::string lines[] = {
        "[INFO]{tcp.acceptor.0}open() start tcp acceptor at 127.**.**.1:",
        "[INFO]{tcp.acceptor.0}accept() accepted new client = " + peer + "\n",
        "[TCP.DEBUG]{tcp.server.",
        "close() closed connection " + peer + "\n",
        ") break loop: !recv()\n",
        "[INFO]close() stopping " + name + "{",
        "[TCP.DEBUG]onStop() closing connection " + stayed + "\n"};
    for (const std::string& line : lines)
        EXPECT_NE(count(line), 0) << line << log->entries();
    EXPECT_EQ(count("<TCP.ERROR>"), 0) << log->entries();
}

// A frame for nobody is for all.
TEST_F(TcpServerTest, SendsToAllWhatIsForNobody) {
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    EXPECT_TRUE(logged(") null tcp server impl\n"));
    EXPECT_EQ(server.getLocalPort(), 0);
    server.close();
    open();
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    {
        const Socket first = known();
        const Socket second = known();
        for (const TcpAddr& nobody : {TcpAddr(), TcpAddr(1, "127.0.0.1")}) {
            EXPECT_TRUE(server.send(nobody, "all", 5));
            EXPECT_EQ(first.read(7) + second.read(7), frame("all") + frame("all"));
        }
    }
    server.close();
    EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
    EXPECT_TRUE(logged(") null tcp acceptor impl\n"));
    EXPECT_EQ(server.getLocalPort(), 0);
}

// The first failure is the end of it, and nobody is waited for.
TEST_F(TcpServerTest, SendsNoFurtherThanADeadClient) {
    open();
    const Socket first = known();
    const Socket stuck = known();
    const Socket last = known();
    const std::string large(1000000, 'x');
    while (server.send(stuck.addr(), large, 0)) {
    }
    EXPECT_FALSE(server.send(TcpAddr(), "all", -1));
    EXPECT_EQ(first.read(7), frame("all"));
    int waiting = -1;
    EXPECT_TRUE(last.waiting(waiting) && waiting == 0);
    ASSERT_TRUE(events->closed(1));
    ASSERT_TRUE(until([&] { return server.send(TcpAddr(), "again", 0); }));
    EXPECT_EQ(last.read(9), frame("again"));
}

TEST_F(TcpServerTest, TellsTheEndOfASilentClient) {
    open();
    client().close();
    EXPECT_TRUE(events->closed(1));
    EXPECT_TRUE(events->frames().empty());
}

TEST_F(TcpServerTest, ListensOnFreeAddressesOnly) {
    open();
    TcpServer other;
    EXPECT_FALSE(other.open(TcpAddr(server.getLocalPort(), "127.0.0.1"), events, kBuffer));
    EXPECT_EQ(other.getLocalPort(), 0);
    EXPECT_TRUE(logged("[<TCP.ERROR>]{tcp.acceptor." + port() +
                       "}open() \"Address already in use\" at 127.**.**.1:" + port() + "\n"));
    for (const TcpAddr& bad : {TcpAddr(0, "no.such.host.invalid"), TcpAddr(0, "192.0.2.1")})
        EXPECT_FALSE(other.open(bad, events, kBuffer)) << bad;

    // A client that is still there does not keep the port from being taken again.
    const unsigned short was = server.getLocalPort();
    const Socket there = known();
    server.close();
    EXPECT_TRUE(server.open(TcpAddr(was, "127.0.0.1"), nullptr, kBuffer));
    EXPECT_EQ(server.getLocalPort(), was);
}

TEST_F(TcpServerTest, LeavesAnEarlierListenerRunning) {
    open();
    const unsigned short first = server.getLocalPort();
    open();
    EXPECT_NE(server.getLocalPort(), first);
    Socket there;
    ASSERT_TRUE(there.connect(first));
    there.write(frame("x"));
    EXPECT_TRUE(events->received(1));
    there.close();
    EXPECT_TRUE(events->closed(1));
}

TEST_F(TcpServerTest, LosesOneClientToWhatItsCallbackRaises) {
    events->receive = [&](const TcpAddr& peer, const istr& payload) {
        if (payload == istr("bad")) throw std::runtime_error("bad frame");
        server.send(peer, payload, 5);
    };
    events->close = [](const TcpAddr&) { throw std::runtime_error("bad end"); };
    open();
    const Socket good = known("good");
    const Socket bad = known("bad");
    EXPECT_TRUE(events->closed(1));
    EXPECT_EQ(bad.read(1), "");
    EXPECT_TRUE(logged("remove tcp server 127.**.**.1:" + std::to_string(bad.port())));
    EXPECT_TRUE(server.send(TcpAddr(), "all", 0));
    EXPECT_EQ(good.read(15), frame("good") + frame("all"));
    EXPECT_TRUE(logged("\nbad frame"));
    EXPECT_TRUE(logged("\nbad end"));
}

// Both close at once, and would wait for each other.
TEST_F(TcpServerTest, MayBeClosedByItsCallbacks) {
    std::atomic<int> inside{0};
    events->receive = [&](const TcpAddr&, const istr& payload) {
        if (payload != istr("close")) return;
        ++inside;
        while (inside < 2)
            std::this_thread::yield();
        server.close();
        server.close();
    };
    const std::size_t threadsBefore = threads();
    open();
    Socket clients[3] = {known(), known(), known()};
    clients[0].write(frame("close"));
    clients[1].write(frame("close"));
    for (const Socket& closed : clients)
        EXPECT_EQ(closed.read(1), "");
    EXPECT_TRUE(events->closed(3));
    EXPECT_TRUE(until([&] { return threads() == threadsBefore; }));
    EXPECT_EQ(events->closed(), 3u);
    open();
}

// Each client sends numbered frames, and gets them back in their order.
struct Sequence : TcpCallback {
    void onReceive(const TcpAddr&, const istr& payload) override {
        const std::string expected = text(frames++);
        if (istr(expected) != payload) wrong = true;
        if (frames == kFrames) done.store(true);
    }
    void onClosed(const TcpAddr&) override { ++closed; }
    std::string text(int n) const {
        return std::to_string(number) + ":" + std::to_string(n) + std::string(n % 100, 'x');
    }

    static constexpr int kFrames = 1000;
    int number = 0;
    int frames = 0;
    std::atomic<bool> wrong{false}, done{false};
    std::atomic<int> closed{0};
};

TEST_F(TcpServerTest, CarriesTwoHundredConnectionsAtOnce) {
    constexpr int kClients = kSanitized ? 50 : 200;
    struct Echo : TcpCallback {
        explicit Echo(TcpServer& answering) : server(answering) {}
        void onReceive(const TcpAddr& peer, const istr& payload) override {
            if (!server.send(peer, payload, 60)) ++failed;
        }
        void onClosed(const TcpAddr&) override { ++closed; }
        TcpServer& server;
        std::atomic<int> failed{0}, closed{0};
    };
    log.reset();
    const std::size_t threadsBefore = threads();
    const unsigned descriptors = support::openDescriptors();
    const Handle<Echo> echo(new Echo(server));
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), echo, kBuffer));
    std::vector<TcpClient> clients(kClients);
    std::vector<Handle<Sequence>> sequences;
    for (int i = 0; i < kClients; ++i) {
        sequences.emplace_back(new Sequence)->number = i;
        ASSERT_TRUE(clients[i].open(TcpAddr(server.getLocalPort(), "127.0.0.1"), sequences[i], 30,
                                    kBuffer));
    }
    std::vector<std::thread> senders;
    for (int part = 0; part < 4; ++part)
        senders.emplace_back([&, part] {
            for (int n = 0; n < Sequence::kFrames; ++n)
                for (int i = part; i < kClients; i += 4)
                    EXPECT_TRUE(clients[i].send(sequences[i]->text(n), 60));
        });
    for (std::thread& sender : senders)
        sender.join();
    for (const Handle<Sequence>& sequence : sequences)
        EXPECT_TRUE(until([&] { return sequence->done.load(); }) && !sequence->wrong);
    server.close();
    EXPECT_EQ(echo->closed, kClients);
    EXPECT_EQ(echo->failed, 0);
    for (int i = 0; i < kClients; ++i) {
        clients[i].close();
        EXPECT_EQ(sequences[i]->closed, 1);
    }
    EXPECT_EQ(threads(), threadsBefore);
    EXPECT_EQ(support::openDescriptors(), descriptors);
}

TEST_F(TcpServerTest, KeepsNothingOfTenThousandClients) {
    constexpr int kEach = kSanitized ? 100 : 2500;
    log.reset();
    const std::size_t threadsBefore = threads();
    const unsigned descriptors = support::openDescriptors();
    {
        const Handle<Events> none(new Events);
        open();
        std::vector<std::thread> others;
        for (int i = 0; i < 4; ++i)
            others.emplace_back([&] {
                TcpClient client;
                const Handle<Events> mine(new Events);
                for (int n = 0; n < kEach; ++n) {
                    ASSERT_TRUE(client.open(TcpAddr(server.getLocalPort(), "127.0.0.1"), mine, 30,
                                            kBuffer));
                    client.close();
                }
                EXPECT_EQ(mine->closed(), static_cast<std::size_t>(kEach));
            });
        for (std::thread& other : others)
            other.join();
        EXPECT_TRUE(events->closed(4 * kEach));
        EXPECT_TRUE(until([&] { return threads() == threadsBefore + 1; }));
        EXPECT_EQ(support::openDescriptors(), descriptors + 1);
        EXPECT_FALSE(server.send(TcpAddr(), "x", 0));
        server.close();
    }
    EXPECT_EQ(threads(), threadsBefore);
    EXPECT_EQ(support::openDescriptors(), descriptors);
}

// Restored at the end.
class DescriptorLimit {
public:
    DescriptorLimit() { getrlimit(RLIMIT_NOFILE, &before_); }
    ~DescriptorLimit() { set(before_.rlim_cur); }
    void set(rlim_t count) const {
        const rlimit now{count, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &now), 0);
    }

private:
    rlimit before_{};
};

TEST_F(TcpServerTest, GoesOnWhenThereAreDescriptorsAgain) {
    open();
    Socket waiting;
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
        const DescriptorLimit lowered;
        lowered.set(3);
        ASSERT_TRUE(waiting.connect(server.getLocalPort()));
        // The listener tries again, now and then.
        EXPECT_TRUE(until([&] { return refusals() >= 2; }));
    }
    waiting.write(frame("x"));
    EXPECT_TRUE(events->received(1));
    EXPECT_LT(refusals(), 20);
}

TEST_F(TcpServerTest, IsNotBoundToSmallNumbers) {
    open();  // raises the limit
    std::vector<Socket> many;
    while (many.size() < 1100)
        many.emplace_back(fcntl(0, F_DUPFD, 0));
    open();
    TcpClient client;
    const Handle<Events> answers(new Events);
    events->receive = [&](const TcpAddr& peer, const istr& payload) {
        server.send(peer, payload, 1);
    };
    ASSERT_TRUE(client.open(TcpAddr(server.getLocalPort(), "127.0.0.1"), answers, 5, kBuffer));
    EXPECT_TRUE(client.send("x", 1));
    EXPECT_TRUE(answers->received(1));
    const std::string large(3000000, 'x');
    EXPECT_TRUE(client.send(large, 60));
    EXPECT_TRUE(events->received(2));
    client.close();
}

}  // namespace
}  // namespace qor
