#include "qor/tcp/tcp_client.h"

#include "network.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

using namespace network;

std::string text(const char* hex) {
    return std::string(istr(bytes(hex)));
}

unsigned long residentPages() {
    unsigned long all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident;
}

// The number of descriptors that a program would inherit.
unsigned inherited() {
    unsigned count = 0;
    for (int fd = 3; fd < 200; ++fd) {
        const int flags = ::fcntl(fd, F_GETFD);
        count += flags != -1 && (flags & FD_CLOEXEC) == 0;
    }
    return count;
}

// A client that is connected to a plain socket.
class TcpClientTest : public NetworkTest {
protected:
    void SetUp() override {
        listener.listen(10);
        log->log().debugOn(true);
        log->log().appLog("TCP.TRACE", true);
    }
    void TearDown() override { client.close(); }
    void connect(int buffer = kBuffer) {
        ASSERT_TRUE(client.open(listener.addr(), events, 5, buffer));
        peer = listener.accept();
    }

    const Socket listener;
    TcpClient client;
    Socket peer{-1};
};

TEST_F(TcpClientTest, WritesAndReadsFrames) {
    connect();
    EXPECT_TRUE(client.send("hi", 5) && client.send(istr(), 0));
    EXPECT_TRUE(client.send(std::string(300, 'x'), -1));
    EXPECT_EQ(peer.read(14), text("00 00 00 02 68 69 00 00 00 00 00 00 01 2C"));
    EXPECT_EQ(peer.read(300), std::string(300, 'x'));
    peer.write(frame("hello") + frame("") + frame("\1\2\3"));
    EXPECT_TRUE(events->received(3));
    EXPECT_EQ(events->frames(), "hello||\1\2\3|");
    const std::string addresses =
        std::to_string(client.getLocalPort()) + " to " + listener.masked();
    for (const std::string& lines :
         {std::string("[TCP.TRACE]sendBuf() sending 300 bytes\n[TCP.TRACE]sendBuf() send ok 304 "),
          "[INFO]{tcp.client}onBirth() connected at 127.**.**.1:" + addresses + "\n",
          std::string(
              "recvBuf() size 5\n[TCP.TRACE]{tcp.client}recvBuf_i() (data) recving 5 bytes\n"
              "[TCP.TRACE]{tcp.client}recvBuf_i() (data) recv ok 5 bytes\n")})
        EXPECT_TRUE(logged(lines)) << lines;
}

TEST_F(TcpClientTest, LogsHowAConnectionEnded) {
    const struct {
        const char* bytes;
        const char* reading;
        bool reset;
        const char* line;
    } ends[] = {
        {"", "len", false, ") (len) reached end of client connection "},
        {"", "len", true,
         "ERROR>]{tcp.client}recvBuf_i() \"Connection reset by peer\" (len) recv_n() "},
        {"00 00", "len", false, "[<TCP.ERROR>]{tcp.client}recvBuf() recv_n(len) failed "},
        {"00 00 00 05 61", "data", false, "]{tcp.client}recvBuf_i() qor::TcpChannel::recvBuf_i("},
        {"00 00 00 05", "data", true, "\"Connection reset by peer\" (data) recv_n() "},
        {"FF FF FF FE 61", kLongHas64Bits ? "data" : "len", false,
         kLongHas64Bits ? ") (data) reached end of client connection "
                        : "no memory for a frame of 4294967294 bytes "},
        {"FF FF FF FF", "len", false, "no memory for a frame of 4294967295 bytes "},
    };
    unsigned closed = 0;
    for (const auto& end : ends) {
        log.emplace("qor");
        connect();
        const unsigned long resident = residentPages();
        if (*end.bytes != '\0') peer.write(text(end.bytes));
        EXPECT_TRUE(logged(std::string("(") + end.reading + ") recving "));
        EXPECT_LT(residentPages(), resident + 25000) << "the announced memory was touched";
        peer.close(end.reset);
        EXPECT_TRUE(events->ended(++closed));
        EXPECT_FALSE(client.send("late", 0));
        client.close();
        EXPECT_EQ(events->closed, closed);
        for (const char* line :
             {end.line, "[TCP.INFO]{tcp.client}onLoop() qor::TcpClientImpl::onLoop(",
              ") break loop: !recv()\n",
              "[<TCP.ERROR>]sendBuf() \"Bad file descriptor\" get_remote_addr\n"})
            EXPECT_TRUE(logged(line)) << line << log->entries();
    }
}

TEST_F(TcpClientTest, FailsToOpenUnreachableAddresses) {
    const Socket waiting, full;
    full.listen(0);
    EXPECT_TRUE(waiting.connect(full.addr().port));
    const struct {
        TcpAddr remote;
        const char* line;
    } cases[] = {
        {waiting.addr(), "\"Connection refused\" connection failed 127.**.**.1:"},
        {full.addr(), "\"Timer expired\" connection timeout 127.**.**.1:"},
        {{1, "::1"}, "connection failed :1\n"},  // an address that cannot be masked is left out
        {{80, "no.such.host.invalid"}, "\" invalid remote address :0\n"},
        {TcpAddr(), "\" invalid remote address :0\n"},
    };
    unsigned descriptors = 0;
    for (const auto& c : cases) {
        log.emplace("qor");
        EXPECT_FALSE(client.open(c.remote, events, 0, kBuffer)) << c.remote;
        EXPECT_TRUE(logged("[<TCP.ERROR>]{tcp.client}onBirth() \"") && logged(c.line)) << c.line;
        EXPECT_FALSE(client.send("x", 0));
        EXPECT_EQ(client.getLocalPort(), 0);
        client.close();
        if (descriptors == 0) descriptors = openDescriptors();
        EXPECT_EQ(openDescriptors(), descriptors);
    }
    EXPECT_EQ(events->closed, 0u);
    // It stops connecting when it is closed.
    const unsigned inheritedBefore = inherited();
    std::thread opening([&] { EXPECT_FALSE(client.open(full.addr(), events, 1000, kBuffer)); });
    EXPECT_TRUE(until([&] { return openDescriptors() > descriptors; }));
    EXPECT_EQ(inherited(), inheritedBefore);
    client.close();
    opening.join();
}

TEST_F(TcpClientTest, OpensAgainAfterClose) {
    EXPECT_FALSE(client.send("x", 0));
    EXPECT_TRUE(logged(") null tcp client impl\n"));
    client.close();
    EXPECT_EQ(client.getLocalPort(), 0);
    // At once, on this host; the callback is given the dotted address.
    events->receive = [&](const TcpAddr& from, const istr&) { EXPECT_EQ(from, listener.addr()); };
    for (unsigned i = 1; i <= 3; ++i) {
        ASSERT_TRUE(client.open(TcpAddr(listener.addr().port, "localhost"), events, 0, kBuffer));
        peer = listener.accept();
        EXPECT_NE(client.getLocalPort(), 0);
        peer.write(frame("x"));
        EXPECT_TRUE(events->received(i));
        client.close();
        client.close();
        EXPECT_EQ(events->closed, i);
        EXPECT_EQ(peer.read(1), "");
    }
    // A connection outlives its client object; one without a callback works.
    std::optional<TcpClient> left(std::in_place);
    ASSERT_TRUE(left->open(listener.addr(), events, 5, kBuffer));
    left.reset();
    Socket other = listener.accept();
    ASSERT_TRUE(client.open(listener.addr(), nullptr, 5, kBuffer));
    peer = listener.accept();
    peer.write(frame("dropped"));
    other.write(frame("x"));
    EXPECT_TRUE(events->received(4));
    other.close();
    EXPECT_TRUE(events->ended(4));
    EXPECT_TRUE(client.send("y", 0));
    EXPECT_EQ(peer.read(5), frame("y"));
}

// A send fails at its timeout. A frame that was cut is the last one in both directions, also for
// frames that have arrived by then.
TEST_F(TcpClientTest, TimesOutOnAPeerThatNeverReads) {
    const std::string large(5000000, 'x');
    for (unsigned i = 0; i <= 1; ++i) {
        const int timeout = static_cast<int>(i);
        log.emplace("qor");
        connect(4096);
        while (client.send(large, timeout)) {
        }
        EXPECT_TRUE(logged("[<TCP.ERROR>]sendBuf() \"Timer expired\" send_n failed "));
        EXPECT_TRUE(events->ended(i + 1));
        EXPECT_FALSE(client.send("x", timeout));
    }
    client.close();
    connect(4096);
    std::promise<void> go;
    events->receive = [&](const TcpAddr&, const istr&) { go.get_future().wait(); };
    peer.write(frame("one") + frame("late"));
    EXPECT_TRUE(events->received(1));
    while (client.send(large, 0)) {
    }
    go.set_value();
    EXPECT_TRUE(events->ended(3));
    EXPECT_EQ(events->frames(), "one|");
    client.close();
    connect();
    std::thread sender([&] { EXPECT_TRUE(client.send(large, -1)); });
    EXPECT_EQ(peer.read(large.size() + 4), frame(large));
    sender.join();
}

TEST_F(TcpClientTest, RefusesAPayloadTooLargeForAFrame) {
    connect();
    const char first = 'x';  // no byte of it is read
    EXPECT_FALSE(client.send(istr(&first, 0xFFFFFFFC), 0));
    EXPECT_TRUE(logged("[<TCP.ERROR>]sendBuf() 4294967292 bytes are too many for a frame\n"));
    EXPECT_TRUE(client.send("x", 0));
    EXPECT_EQ(peer.read(5), frame("x"));
}

// Counts what its thread allocates between its calls.
struct Counting : TcpCallback {
    void onReceive(const TcpAddr&, const istr&) override {
        if (!counter) counter.emplace();
        allocations = counter->allocations();
        ++frames;
    }
    void onClosed(const TcpAddr&) override {}
    std::atomic<unsigned long> allocations{npos}, frames{0};
    std::optional<AllocationCounter> counter;
};

TEST_F(TcpClientTest, AllocatesNothingAfterItsFirstFrames) {
    log->log().debugOn(false);
    const Handle<Counting> counting(new Counting);
    ASSERT_TRUE(client.open(listener.addr(), counting, 5, kBuffer));
    peer = listener.accept();
    const AllocationCounter counter;
    EXPECT_TRUE(client.send(istr("frame"), 5));
    EXPECT_EQ(counter.allocations(), 0u);
    for (int i = 0; i < 100; ++i)
        peer.write(frame(std::string(100, 'x')));
    EXPECT_TRUE(until([&] { return counting->frames == 100; }));
    EXPECT_EQ(counting->allocations, 0u);
}

// If the callback closes or raises, the connection ends with one onClosed. A later close waits for
// it.
TEST_F(TcpClientTest, EndsWhenItsCallbackClosesOrRaises) {
    std::atomic<bool> waiting{false}, notified{false};
    const std::function<void()> ends[] = {
        [&] { client.close(); }, [] { throw std::runtime_error("bad frame"); }, [] { throw 1; }};
    for (unsigned i = 0; i < std::size(ends); ++i) {
        events->receive = [&](const TcpAddr&, const istr&) { ends[i](); };
        events->close = [&] {
            EXPECT_TRUE(until([&] { return waiting.exchange(false); }));
            notified = true;
            ends[i]();
        };
        connect();
        peer.write(frame("x") + frame("y"));
        EXPECT_TRUE(events->ended(i + 1));
        EXPECT_FALSE(client.send("x", 0));
        EXPECT_EQ(peer.read(1), "");
        waiting = true;
        client.close();
        EXPECT_TRUE(notified.exchange(false));
        EXPECT_EQ(events->count, i + 1);
        EXPECT_EQ(events->closed, i + 1);
    }
    EXPECT_TRUE(logged("\nan exception of another type"));
}

// A close by another thread also waits for a callback that has closed and opened again. A callback
// that closes waits for no thread.
TEST_F(TcpClientTest, CloseWaitsForACallbackThatHasOpenedAgain) {
    std::atomic<bool> opened{false}, returned{false};
    events->receive = [&](const TcpAddr&, const istr&) {
        client.close();
        EXPECT_EQ(client.getLocalPort(), 0);
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(client.open(listener.addr(), events, 5, kBuffer));
            EXPECT_NE(client.getLocalPort(), 0);
            if (i == 0) client.close();
        }
        opened = true;
        // The close ends this connection first.
        EXPECT_TRUE(until([&] { return client.getLocalPort() == 0; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a wrong close returns now
        returned = true;
    };
    connect();
    peer.write(frame("x"));
    EXPECT_TRUE(until([&] { return opened.load(); }));
    client.close();
    EXPECT_TRUE(returned);
    EXPECT_EQ(events->closed, 3u);
    EXPECT_FALSE(client.send("x", 0));
}

TEST_F(TcpClientTest, CallsOnClosedOnceIfItEndsTheThread) {
#ifdef _LIBCPP_VERSION
    GTEST_SKIP() << "an unwinder beside that of the system cannot end a thread";
#endif
    events->close = [] { pthread_exit(nullptr); };
    connect();
    peer.close();
    EXPECT_TRUE(events->ended(1));
    client.close();
    EXPECT_EQ(events->closed, 1u);
}

TEST_F(TcpClientTest, SocketsAreNotInheritedByOtherPrograms) {
    const unsigned before = inherited();
    TcpServer server;
    ASSERT_TRUE(server.open(local(), events, kBuffer));
    ASSERT_TRUE(client.open(local(server.getLocalPort()), events, 5, kBuffer));
    ASSERT_TRUE(client.send("x", 5) && events->received(1));
    EXPECT_EQ(inherited(), before);
}

// The next connection gets the descriptor of the closed one at once.
TEST_F(TcpClientTest, SendsNothingOnAReusedDescriptor) {
    log->log().debugOn(false);
    for (unsigned round = 1; round <= 50; ++round) {
        connect();
        std::atomic<int> sending{0};
        std::thread others([&] {
            inThreads(9, [&](int i) {
                if (i != 0) ++sending;
                while (i != 0 ? client.send(istr("frame"), 1) : !peer.read(4096).empty()) {
                }
            });
        });
        EXPECT_TRUE(until([&] { return sending == 8; }));
        client.close();
        const Socket next[2];  // these take the numbers that are free
        EXPECT_TRUE(next[0].connect(listener.addr().port));
        others.join();
        EXPECT_EQ(events->closed, round);
        EXPECT_EQ(listener.accept().read(1, MSG_DONTWAIT), "");
    }
}

}  // namespace
}  // namespace qor
