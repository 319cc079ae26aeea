#include "qor/icmp/icmp_ping.h"

#include <gtest/gtest.h>

#include "support/log_file.h"
#include "support/temp_dir.h"

namespace qor {
namespace {

class PingTest : public testing::Test {
protected:
    void SetUp() override {
        log.log().debugOn(true);
        for (const char* tag : {"<ICMP.ERROR>", "ICMP.INFO"})
            log.log().appLog(tag, true);
    }
    bool logged(const std::string& text) const {
        return log.entries().find(text) != std::string::npos;
    }

    support::LogFile log{"qor"};
    Ping ping;
};

TEST_F(PingTest, SendsNothingUnlessItIsOpen) {
    long long cost = 7;
    ping.close();
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", &cost, 1));
    EXPECT_EQ(cost, 7);
    EXPECT_EQ(log.entries(), "[<ICMP.ERROR>]sendAndWait() ICMP socket not open.\n");
    log.log().appLog("<ICMP.ERROR>", false);
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", &cost, 1));
    EXPECT_EQ(log.entries(), "[<ICMP.ERROR>]sendAndWait() ICMP socket not open.\n");
}

TEST_F(PingTest, MeasuresTheRoundTrip) {
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", nullptr, 1));  // opens the log
    const unsigned descriptors = support::openDescriptors();
    if (!ping.open()) {
        EXPECT_TRUE(logged("[<ICMP.ERROR>]open() ICMP socket open failed.\n"));
        GTEST_SKIP() << "no right to open raw sockets";
    }
    testing::internal::CaptureStderr();
    for (const char* host : {"127.0.0.1", "localhost"}) {
        long long cost = -1;
        EXPECT_TRUE(ping.sendAndWait(host, &cost, 5)) << host;
        EXPECT_GE(cost, 0);
        EXPECT_TRUE(logged(") ping:" + std::string(host) + ", waitTimeout:5,cost:"));
    }
    EXPECT_TRUE(logged("[ICMP.INFO]sendAndWait() qor::Ping::sendAndWait(icmp_ping.cpp:"));
    EXPECT_TRUE(ping.sendAndWait("127.0.0.1", nullptr, 5));
    long long cost = 7;
    EXPECT_FALSE(ping.sendAndWait("no.such.host.invalid", &cost, 1));
    EXPECT_EQ(cost, 7);
    EXPECT_TRUE(logged("[<ICMP.ERROR>]sendAndWait() ICMP send failed. remote::0\n"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "ACE is to be silent";
    ping.close();
    EXPECT_FALSE(ping.sendAndWait("127.0.0.1", nullptr, 1));
    EXPECT_EQ(support::openDescriptors(), descriptors);
}

}  // namespace
}  // namespace qor
