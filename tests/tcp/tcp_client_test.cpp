#include "qor/tcp/tcp_client.h"

#include <sys/mman.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "network.h"
#include "support/allocation.h"
#include "support/hex.h"
#include "support/log_file.h"

namespace qor {
namespace {

using namespace network;

std::string text(const char* hex) {
    return std::string(istr(support::bytes(hex)));
}

unsigned long residentPages() {
    unsigned long all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident;
}

// A client that is connected to a plain socket.
class TcpClientTest : public testing::Test {
protected:
    void SetUp() override {
        log->log().debugOn(true);
        log->log().appLog("TCP.TRACE", true);
    }
    void TearDown() override { client.close(); }
    void connect(int buffer = kBuffer) {
        ASSERT_TRUE(client.open(listener.addr(), events, 5, buffer));
        peer = listener.accept();
    }
    bool logged(const std::string& text) const {
        return until([&] { return log->entries().find(text) != std::string::npos; });
    }
    std::string masked() const { return "127.**.**.1:" + std::to_string(listener.port()); }

    std::optional<support::LogFile> log{"qor"};
    const Socket listener = Socket::listener();
    const Handle<Events> events{new Events};
    TcpClient client;
    Socket peer{-1};
};

TEST_F(TcpClientTest, WritesFramesByteByByte) {
    connect();
    const std::string large(300, 'x');
    EXPECT_TRUE(client.send("hi", 5) && client.send(istr(), 0) && client.send(large, -1));
    EXPECT_EQ(peer.read(14), text("00 00 00 02 68 69 00 00 00 00 00 00 01 2C"));
    EXPECT_EQ(peer.read(300), large);
    EXPECT_TRUE(
        logged("[TCP.TRACE]sendBuf() sending 300 bytes\n[TCP.TRACE]sendBuf() send ok 304 "));
    EXPECT_TRUE(logged("[INFO]{tcp.client}onBirth() connected at 127.**.**.1:" +
                       std::to_string(client.getLocalPort()) + " to " + masked() + "\n"));
}

TEST_F(TcpClientTest, ReadsFramesThatAreCutAnywhere) {
    connect();
    const std::string stream = frame("hello") + frame("") + frame("\1\2\3");
    for (std::size_t cut = 1; cut <= stream.size(); ++cut) {
        peer.write(stream.substr(0, cut));
        peer.write(stream.substr(cut));
    }
    ASSERT_TRUE(events->received(3 * stream.size()));
    const auto frames = events->frames();
    for (std::size_t i = 0; i < frames.size(); i += 3)
        EXPECT_EQ(frames[i] + "|" + frames[i + 1] + "|" + frames[i + 2], "hello||\1\2\3");
    EXPECT_EQ(events->peer(), listener.addr());
    EXPECT_TRUE(
        logged("[TCP.TRACE]{tcp.client}recvBuf() size 5\n[TCP.TRACE]{tcp.client}recvBuf_i()"
               " (data) recving 5 bytes\n[TCP.TRACE]{tcp.client}recvBuf_i() (data) recv ok "));
}

TEST_F(TcpClientTest, TellsHowAConnectionEnded) {
    struct End {
        const char* bytes;
        const char* reading;
        bool reset;
        const char* line;
    };
    const End ends[] = {
        {"", "len", false, "[TCP.INFO]{tcp.client}recvBuf_i() qor::TcpChannel::recvBuf_i(tcp_chan"},
        {"", "len", false, ") (len) reached end of client connection "},
        {"", "len", true,
         "[<TCP.ERROR>]{tcp.client}recvBuf_i() \"Connection reset by peer\" (len) "
         "recv_n() "},
        {"00 00", "len", false, "[<TCP.ERROR>]{tcp.client}recvBuf() recv_n(len) failed "},
        {"00 00 00 05 61", "data", false, ") (data) reached end of client connection "},
        {"00 00 00 05", "data", true, "\"Connection reset by peer\" (data) recv_n() "},
        {"FF FF FF FE 61", "data", false, ") (data) reached end of client connection "},
        {"FF FF FF FF", "len", false, "no memory for a frame of 4294967295 bytes "},
    };
    std::size_t closed = 0;
    for (const End& end : ends) {
        log.emplace("qor");
        connect();
        const unsigned long resident = residentPages();
        if (*end.bytes != '\0') peer.write(text(end.bytes));
        // Whoever is told to read has the end before him, also if he has not begun.
        EXPECT_TRUE(logged(std::string("(") + end.reading + ") recving "));
        EXPECT_LT(residentPages(), resident + 25000) << "the announced memory was touched";
        end.reset ? peer.reset() : peer.close();
        EXPECT_TRUE(events->closed(++closed));
        EXPECT_FALSE(client.send("late", 0));
        client.close();
        EXPECT_EQ(events->closed(), closed);
        const std::string lines = log->entries();
        EXPECT_NE(lines.find(end.line), std::string::npos) << lines;
        EXPECT_NE(
            lines.find("[TCP.INFO]{tcp.client}onLoop() qor::TcpClientImpl::onLoop(tcp_client"),
            std::string::npos);
        EXPECT_NE(lines.find(") break loop: !recv()\n"), std::string::npos);
    }
}

TEST_F(TcpClientTest, DoesNotOpenWhatCannotBeReached) {
    Socket closed;
    Socket full = Socket::listener(0);
    const unsigned short none = Socket::listener().port();
    ASSERT_TRUE(closed.connect(full.port()));
    struct Case {
        TcpAddr remote;
        int timeout;
        const char* line;
    };
    const Case cases[] = {
        {{none, "127.0.0.1"}, 5, "\"Connection refused\" connection failed 127.**.**.1:"},
        {{full.port(), "127.0.0.1"}, 0, "\"Timer expired\" connection timeout 127.**.**.1:"},
        {{80, "no.such.host.invalid"}, 5, "\" invalid remote address :0\n"},
        {TcpAddr(), 5, "\" invalid remote address :0\n"},
    };
    unsigned descriptors = 0;
    for (const Case& c : cases) {
        log.emplace("qor");
        EXPECT_FALSE(client.open(c.remote, events, c.timeout, kBuffer)) << c.remote;
        EXPECT_TRUE(logged(std::string("[<TCP.ERROR>]{tcp.client}onBirth() ")));
        EXPECT_TRUE(logged(c.line)) << c.line << log->entries();
        EXPECT_FALSE(client.send("x", 0));
        EXPECT_EQ(client.getLocalPort(), 0);
        client.close();
        if (descriptors == 0) descriptors = support::openDescriptors();
        EXPECT_EQ(support::openDescriptors(), descriptors) << c.remote;
    }
    EXPECT_EQ(events->closed(), 0u);
}

TEST_F(TcpClientTest, TakesWhatConnectsAtOnce) {
    EXPECT_TRUE(client.open(TcpAddr(listener.port(), "localhost"), events, 0, kBuffer));
    listener.accept().write(frame("x"));
    ASSERT_TRUE(events->closed(1));
    EXPECT_EQ(events->peer(), listener.addr());
}

TEST_F(TcpClientTest, OpensAgainAfterClose) {
    EXPECT_FALSE(client.send("x", 0));
    EXPECT_TRUE(logged(") null tcp client impl\n"));
    client.close();
    EXPECT_EQ(client.getLocalPort(), 0);
    for (std::size_t i = 1; i <= 3; ++i) {
        connect();
        const unsigned short port = client.getLocalPort();
        EXPECT_NE(port, 0);
        EXPECT_TRUE(client.send("x", 0));
        client.close();
        client.close();
        EXPECT_EQ(events->closed(), i);
        EXPECT_EQ(peer.read(9), frame("x"));
    }
}

// What cannot be written whole in time fails. A frame that was cut is the last one.
TEST_F(TcpClientTest, GivesUpOnAPeerThatNeverReads) {
    for (const int timeout : {0, 1}) {
        log.emplace("qor");
        connect(4096);
        const std::string large(100000, 'x');
        bool sent = true;
        for (int i = 0; sent && i < 1000; ++i)
            sent = client.send(large, timeout);
        EXPECT_FALSE(sent);
        EXPECT_TRUE(logged("[<TCP.ERROR>]sendBuf() \"Timer expired\" send_n failed " + masked()));
        EXPECT_TRUE(events->closed(timeout + 1u));
        EXPECT_FALSE(client.send("x", timeout));
        client.close();
    }
}

TEST_F(TcpClientTest, WaitsForAPeerThatReadsLate) {
    connect(4096);
    const std::string large(5000000, 'x');
    bool sent = false;
    std::thread sender([&] { sent = client.send(large, -1); });
    EXPECT_EQ(peer.read(large.size() + 4), frame(large));
    sender.join();
    EXPECT_TRUE(sent);
}

TEST_F(TcpClientTest, RefusesAPayloadThatNoFrameHolds) {
    connect();
    constexpr std::size_t kSize = 0xFFFFFFFC;
    void* const pages =
        mmap(nullptr, kSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(pages, MAP_FAILED);
    EXPECT_FALSE(client.send(istr(static_cast<const char*>(pages), kSize), 0));
    munmap(pages, kSize);
    EXPECT_TRUE(logged("[<TCP.ERROR>]sendBuf() 4294967292 bytes are too many for a frame\n"));
    EXPECT_TRUE(client.send("x", 0));
    EXPECT_EQ(peer.read(5), frame("x"));
}

// In the callback's thread, whose calls are counted: those in between are the library's.
struct Counting : TcpCallback {
    void onReceive(const TcpAddr&, const istr& payload) override {
        if (++frames == 2) counter.emplace();
        if (frames == 1000) allocations = counter->allocations();
        sum += payload.size();
    }
    void onClosed(const TcpAddr&) override { ended = true; }
    std::atomic<bool> ended{false};
    int frames = 0;
    unsigned long sum = 0;
    unsigned long allocations = 1;
    std::optional<support::AllocationCounter> counter;
};

TEST_F(TcpClientTest, AllocatesNothingForAFrameOnceItIsWarm) {
    log->log().debugOn(false);
    const Handle<Counting> counting(new Counting);
    ASSERT_TRUE(client.open(listener.addr(), counting, 5, kBuffer));
    peer = listener.accept();
    std::string frames;
    for (int i = 0; i < 1000; ++i)
        frames += frame(std::string(i == 0 ? 100 : 99, 'x'));
    peer.write(frames);
    peer.close();
    ASSERT_TRUE(until([&] { return counting->ended.load(); }));
    client.close();
    EXPECT_EQ(counting->sum, 99001u);
    EXPECT_EQ(counting->allocations, 0u);
}

TEST_F(TcpClientTest, AllocatesNothingToSend) {
    log->log().debugOn(false);
    connect();
    client.send("warm", 0);
    const support::AllocationCounter counter;
    EXPECT_TRUE(client.send(std::string_view("frame"), 5));
    EXPECT_EQ(counter.allocations(), 0u);
}

TEST_F(TcpClientTest, NeedsNoCallback) {
    ASSERT_TRUE(client.open(listener.addr(), nullptr, 5, kBuffer));
    peer = listener.accept();
    peer.write(frame("x"));
    EXPECT_TRUE(client.send("y", 0));
    EXPECT_EQ(peer.read(5), frame("y"));
}

TEST_F(TcpClientTest, MayBeClosedByItsCallback) {
    events->receive = [&](const TcpAddr&, const istr&) {
        client.close();
        EXPECT_FALSE(client.send("x", 0));
    };
    connect();
    peer.write(frame("a") + frame("b"));
    EXPECT_TRUE(events->closed(1));
    EXPECT_EQ(peer.read(1), "");
    EXPECT_EQ(events->frames().size(), 1u);
}

TEST_F(TcpClientTest, EndsWithWhatItsCallbackRaises) {
    const std::function<void()> raises[] = {[] { throw std::runtime_error("bad frame"); },
                                            [] { throw 1; }};
    for (std::size_t i = 0; i < std::size(raises); ++i) {
        events->receive = [&](const TcpAddr&, const istr&) { raises[i](); };
        events->close = [&](const TcpAddr&) { raises[i](); };
        connect();
        peer.write(frame("x") + frame("y"));
        EXPECT_TRUE(events->closed(i + 1));
        EXPECT_EQ(peer.read(1), "");
        client.close();
        EXPECT_EQ(events->frames().size(), i + 1);
        EXPECT_EQ(events->closed(), i + 1);
    }
    EXPECT_TRUE(logged("\n        AT: qor::TcpCallback::onReceive(tcp_receiver.cpp:"));
    EXPECT_TRUE(logged("\nbad frame"));
    EXPECT_TRUE(logged("\nan exception of another type"));
}

TEST_F(TcpClientTest, LeavesItsConnectionBehind) {
    {
        TcpClient left;
        ASSERT_TRUE(left.open(listener.addr(), events, 5, kBuffer));
    }
    peer = listener.accept();
    peer.write(frame("x"));
    EXPECT_TRUE(events->received(1));
    peer.close();
    EXPECT_TRUE(events->closed(1));
}

// The descriptor that a close gives back is the next connection's at once.
TEST_F(TcpClientTest, SendsNothingOnWhatWasClosed) {
    log->log().debugOn(false);
    for (std::size_t round = 1; round <= 50; ++round) {
        connect();
        std::atomic<int> sending{0};
        std::vector<std::thread> senders;
        for (int i = 0; i < 8; ++i)
            senders.emplace_back([&] {
                ++sending;
                while (client.send(std::string_view("frame"), 1)) {
                }
            });
        std::thread reader([&] {
            while (!peer.read(4096).empty()) {
            }
        });
        while (sending != 8)
            std::this_thread::yield();
        client.close();
        // These take the numbers that are free.
        Socket next[2];
        ASSERT_TRUE(next[0].connect(listener.port()));
        const Socket other = listener.accept();
        for (std::thread& sender : senders)
            sender.join();
        reader.join();
        EXPECT_EQ(events->closed(), round);
        int waiting = -1;
        EXPECT_TRUE(other.waiting(waiting) && waiting == 0);
    }
}

}  // namespace
}  // namespace qor
