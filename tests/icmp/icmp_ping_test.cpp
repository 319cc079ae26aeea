#include "qor/icmp/icmp_ping.h"

#include "icmp/echo_peer.h"
#include "support/test.h"

namespace qor {
namespace {

TEST(Ping, MeasuresTheRoundTrip) {
    LogFile file("qor");
    const auto logged = [&](const std::string& text) { return contains(file.entries(), text); };
    file.log().debugOn(true);
    Ping ping;
    long long cost = 7;
    ping.close();
    // A tag is silent until it is switched on.
    for (const bool on : {false, true}) {
        for (const char* tag : {"<ICMP.ERROR>", "ICMP.INFO"})
            file.log().appLog(tag, on);
        EXPECT_FALSE(ping.sendAndWait("127.0.0.1", &cost, 1));
        EXPECT_TRUE(logged("[<ICMP.ERROR>]sendAndWait() ICMP socket not open.\n") == on);
    }
    const unsigned descriptors = openDescriptors();
    if (!ping.open()) {
        EXPECT_TRUE(logged("[<ICMP.ERROR>]open() ICMP socket open failed.\n"));
        GTEST_SKIP() << "no right to send echoes";
    }
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ping.sendAndWait("no.such.host.invalid", &cost, 1));
    EXPECT_TRUE(logged("[<ICMP.ERROR>]sendAndWait() ICMP send failed. remote::0\n"));
    EXPECT_EQ(cost, 7);
    for (const char* host : {"127.0.0.1", "localhost"}) {
        cost = -1;
        EXPECT_TRUE(ping.sendAndWait(host, &cost, 5) && cost >= 0) << host;
        EXPECT_TRUE(logged(") ping:" + std::string(host) + ", waitTimeout:5,cost:"));
    }
    EXPECT_TRUE(ping.sendAndWait("127.0.0.1", nullptr, std::numeric_limits<long>::max()));
    EXPECT_TRUE(logged("[ICMP.INFO]sendAndWait() qor::Ping::sendAndWait(icmp_ping.cpp:"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(ping.open());
    ping.close();
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", nullptr, 1));
    EXPECT_EQ(openDescriptors(), descriptors);
}

// Changes of the right reply in one property.
const struct {
    const char* what;
    std::function<void(echo::Reply&)> change;
} kStrays[] = {
    {"source", [](echo::Reply& reply) { reply.source = inet_addr("127.9.9.9"); }},
    {"identifier", [](echo::Reply& reply) { reply.icmp[5] ^= 1; }},
    {"sequence", [](echo::Reply& reply) { reply.icmp[7] ^= 1; }},
    {"payload", [](echo::Reply& reply) { reply.icmp.back() ^= 1; }},
    {"shorter", [](echo::Reply& reply) { reply.icmp.resize(reply.icmp.size() - 2); }},
    {"longer", [](echo::Reply& reply) { reply.icmp += "xx"; }},
    {"type", [](echo::Reply& reply) { reply.icmp[0] = ICMP_TIMESTAMPREPLY; }},
};

// The hosts 127.1.0.n answer with strays of kind n; 127.2.0.n with strays, and then with the reply;
// all others with the reply.
std::vector<echo::Reply> answer(const echo::Reply& right) {
    const std::uint32_t host = ntohl(right.source);
    const std::uint32_t group = host >> 16 & 0xFF;
    std::vector<echo::Reply> replies;
    if (group == 1 || group == 2) {
        replies.assign(3, right);
        for (echo::Reply& stray : replies)
            kStrays[host & 0xFF].change(stray);
    }
    if (group != 1) replies.push_back(right);
    return replies;
}

// Whether the host answers within a second. A timeout that comes earlier is a failure, too.
bool answers(const std::string& host, int times) {
    using Clock = std::chrono::steady_clock;
    Ping ping;
    EXPECT_TRUE(ping.open());
    bool all = true;
    for (int i = 0; i < times && all; ++i) {
        const auto start = Clock::now();
        all = ping.sendAndWait(host, nullptr, 1);
        EXPECT_TRUE(all || Clock::now() - start >= std::chrono::seconds(1)) << host;
    }
    ping.close();
    return all;
}

void pingManyAtOnce() {
    constexpr int kLive = 8;
    constexpr int kTimes = 50;
    std::vector<std::thread> pings;
    for (int i = 0; i < static_cast<int>(std::size(kStrays)); ++i) {
        const std::string number = std::to_string(i);
        pings.emplace_back(
            [=] { EXPECT_FALSE(answers("127.1.0." + number, 1)) << kStrays[i].what; });
        pings.emplace_back(
            [=] { EXPECT_TRUE(answers("127.2.0." + number, kTimes)) << kStrays[i].what; });
    }
    for (int i = 0; i < kLive; ++i)
        pings.emplace_back([=] { EXPECT_TRUE(answers("127.3.0." + std::to_string(i), kTimes)); });
    for (std::thread& ping : pings)
        ping.join();
}

// With each kind of socket, and with none.
TEST(Ping, AcceptsOnlyTheReplyToItsOwnRequest) {
    network::inOwnNetwork([] {
        if (!echo::ignoreEchoes() || !echo::permitDatagrams(false))
            GTEST_SKIP() << "no right to change the network";
        const echo::Peer peer(answer);
        pingManyAtOnce();
        ASSERT_TRUE(echo::giveUpRawSockets());
        EXPECT_FALSE(Ping().open());
        ASSERT_TRUE(echo::permitDatagrams(true));
        pingManyAtOnce();
    });
}

// Earlier replies to an idle ping fill its queue. The system's own reply comes before the request
// has returned.
TEST(Ping, SkipsWhatCameBeforeItsRequest) {
    network::inOwnNetwork([] {
        std::promise<echo::Reply> first;
        std::once_flag once;
        const echo::Peer peer([&](const echo::Reply& right) {
            std::call_once(once, [&] { first.set_value(right); });
            return std::vector<echo::Reply>();
        });
        Ping ping;
        ASSERT_TRUE(ping.open() && ping.sendAndWait("127.0.0.1", nullptr, 5));
        const echo::Reply stray = first.get_future().get();
        for (int i = 0; i < 2000; ++i)
            peer.send(stray, htonl(INADDR_LOOPBACK));
        EXPECT_TRUE(ping.sendAndWait("127.0.0.1", nullptr, 5));
        ping.close();
    });
}

}  // namespace
}  // namespace qor
