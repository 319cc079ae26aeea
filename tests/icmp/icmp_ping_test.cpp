#include "qor/icmp/icmp_ping.h"

#include <gtest/gtest.h>

#include "support/log_file.h"

namespace qor {
namespace {

TEST(Ping, MeasuresTheRoundTrip) {
    support::LogFile file("qor");
    const auto logged = [&](const std::string& text) {
        return file.entries().find(text) != std::string::npos;
    };
    file.log().debugOn(true);
    Ping ping;
    long long cost = 7;
    ping.close();
    // A tag is silent until it is switched on.
    for (const bool on : {false, true}) {
        for (const char* tag : {"<ICMP.ERROR>", "ICMP.INFO"})
            file.log().appLog(tag, on);
        EXPECT_FALSE(ping.sendAndWait("127.0.0.1", &cost, 1));
        EXPECT_EQ(logged("[<ICMP.ERROR>]sendAndWait() ICMP socket not open.\n"), on);
    }
    const unsigned descriptors = support::openDescriptors();
    if (!ping.open()) {
        EXPECT_TRUE(logged("[<ICMP.ERROR>]open() ICMP socket open failed.\n"));
        GTEST_SKIP() << "no right to open raw sockets";
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
    EXPECT_TRUE(ping.sendAndWait("127.0.0.1", nullptr, 5));
    EXPECT_TRUE(logged("[ICMP.INFO]sendAndWait() qor::Ping::sendAndWait(icmp_ping.cpp:"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "ACE is to be silent";
    ping.close();
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", nullptr, 1));
    EXPECT_EQ(support::openDescriptors(), descriptors);
}

}  // namespace
}  // namespace qor
