#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <filesystem>

#include "qor/qor.h"
#include "support/log_file.h"
#include "support/raised.h"
#include "support/recorder.h"
#include "support/system_function.h"
#include "tcp/network.h"

namespace {

// How many more threads there are; each one that is asked for takes one.
constexpr long kNoEnd = 1L << 30;
std::atomic<long> threadsLeft{kNoEnd};
std::atomic<unsigned> refused{0};

// Lets so many threads start while it lives, and no more.
class FewThreads {
public:
    explicit FewThreads(long number) {
        refused = 0;
        threadsLeft = number;
    }
    FewThreads(const FewThreads&) = delete;
    FewThreads& operator=(const FewThreads&) = delete;
    ~FewThreads() { threadsLeft = kNoEnd; }
    static unsigned refusals() { return refused; }
};

}  // namespace

// Takes the place of the system's function, for the library too.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept {
    static const auto create = support::systemFunction("pthread_create", &pthread_create);
    if (threadsLeft.fetch_sub(1) <= 0) {
        ++refused;
        return EAGAIN;
    }
    return create(thread, attributes, body, argument);
}

namespace qor {
namespace {

std::size_t threads() {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// A worker that counts its passes.
class Worker : public SimpleThread {
public:
    Worker() : SimpleThread(nullptr, "worker") {}
    std::atomic<int> passes{0};

protected:
    bool onWait() override { return wait(Time::milliSeconds(1)), true; }
    bool onLoop() override { return ++passes, true; }
};

// What is refused a thread is told so, has started nothing, and starts when there is one.

TEST(NoThreads, LeavesAWorkerAsItWas) {
    AsyncThreadManager manager("kept");
    const Handle<Worker> worker(new Worker);
    {
        const FewThreads none(0);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(support::raisedIn<ThreadSyscallException>([&] { worker->startAndWait(); }),
                      "qor::Thread::start");
        EXPECT_FALSE(worker->started());
        EXPECT_EQ(worker->__GetRef(), 1);
    }
    worker->startAndWait();
    manager.put(worker);
    EXPECT_TRUE(network::until([&] { return worker->passes > 0; }));
    manager.close();
    EXPECT_EQ(manager.size(), 0u);
}

TEST(NoThreads, LeavesTimersToTheNextStart) {
    TimerManager& timers = *TimerManager::instance();
    support::Recorder object;
    TimerId id;
    {
        const FewThreads none(0);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(support::raisedIn<ThreadSyscallException>([&] { timers.start(); }),
                      "qor::Thread::start");
        EXPECT_TRUE(timers.setTimer(id, "kept", 1, 1, &object, 1, nullptr));
        timers.stop();
        const Handle<TimerUserThread> own(new TimerUserThread(&object, "own", 1, 1, 2, nullptr));
        EXPECT_EQ(support::raisedIn<ThreadSyscallException>([&] { own->startAndWait(); }),
                  "qor::Thread::start");
    }
    EXPECT_EQ(object.take(), "");
    timers.start();
    EXPECT_TRUE(network::until([&] { return object.take().find("-1") != std::string::npos; }));
    TimerManager::destroy();
}

TEST(NoThreads, DoesNotConcernTheLog) {
    support::LogFile file("threads");
    const FewThreads none(0);
    for (int i = 0; i < 3; ++i)
        writeDataLog(file.log(), "f", 0, "TAG", "entry");
    EXPECT_NE(file.entries().find("entry"), std::string::npos);
    EXPECT_EQ(FewThreads::refusals(), 0u);
}

class NoThreadsForConnections : public network::NetworkTest {
protected:
    // An entry opens the log's file.
    void SetUp() override { writeDataLog(log->log(), "f", 0, "", "first"); }
};

TEST_F(NoThreadsForConnections, OpensNoClient) {
    const network::Socket listener;
    listener.listen(10);
    TcpClient client;
    const std::size_t before = threads();
    {
        const FewThreads none(0);
        for (int i = 0; i < 2; ++i)
            EXPECT_FALSE(client.open(listener.addr(), events, 5, network::kBuffer));
        EXPECT_FALSE(client.send("x", 0));
        EXPECT_EQ(client.getLocalPort(), 0);
        client.close();
    }
    EXPECT_LE(threads(), before);
    ASSERT_TRUE(client.open(listener.addr(), events, 5, network::kBuffer));
    EXPECT_TRUE(client.send("x", 5));
    EXPECT_EQ(listener.accept().read(5), network::frame("x"));
    client.close();
    EXPECT_EQ(events->closed, 1u);
}

// A server has several threads: whichever of them there is not, nothing is left of the others, and
// the address is free again.
TEST_F(NoThreadsForConnections, OpensNoHalfServer) {
    TcpAddr address(0, "127.0.0.1");
    {
        const network::Socket free;
        free.listen(1);
        address.port = free.addr().port;
    }
    const std::size_t before = threads();
    const unsigned descriptors = support::openDescriptors();
    unsigned failures = 0;
    for (bool open = false; !open; ++failures) {
        ASSERT_LT(failures, 10u);
        TcpServer server;
        {
            const FewThreads some(failures);
            open = server.open(address, events, network::kBuffer);
            EXPECT_EQ(open, FewThreads::refusals() == 0);
            EXPECT_EQ(server.getLocalPort(), open ? address.port : 0);
        }
        if (open) {
            const network::Socket client;
            ASSERT_TRUE(client.connect(address.port));
            client.write(network::frame("whole"));
            EXPECT_TRUE(events->received(1));
        }
        server.close();
        EXPECT_TRUE(network::until([&] { return threads() <= before; })) << failures;
        EXPECT_EQ(support::openDescriptors(), descriptors) << failures;
    }
    EXPECT_GE(failures, 3u);
}

TEST_F(NoThreadsForConnections, ClosesAClientAndServesTheNext) {
    TcpServer server;
    events->receive = [&](const TcpAddr& peer, const istr& payload) {
        EXPECT_TRUE(server.send(peer, payload, 5));
    };
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), events, network::kBuffer));
    const network::Socket early, refusedOne, late;
    const auto isServed = [&](const network::Socket& client) {
        client.post(network::frame("x"));
        return client.read(5) == network::frame("x");
    };
    ASSERT_TRUE(early.connect(server.getLocalPort()) && isServed(early));
    {
        const FewThreads none(0);
        ASSERT_TRUE(refusedOne.connect(server.getLocalPort()));
        EXPECT_FALSE(isServed(refusedOne));
        EXPECT_TRUE(isServed(early));
        EXPECT_EQ(FewThreads::refusals(), 1u);
    }
    EXPECT_TRUE(late.connect(server.getLocalPort()) && isServed(late) && isServed(early));
    EXPECT_TRUE(logged("start tcp server failure tcp.server."));
    server.close();
    EXPECT_EQ(events->closed, 2u);
}

}  // namespace
}  // namespace qor
