#include "support/recorder.h"
#include "support/system_function.h"
#include "support/test.h"
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

// While it lives, the threads that are started wait before their connections open, all but the
// first ones.
class HeldThreads {
public:
    HeldThreads() {
        started = 0;
        first = 0;
    }
    HeldThreads(const HeldThreads&) = delete;
    HeldThreads& operator=(const HeldThreads&) = delete;
    ~HeldThreads() { letGo(kNoEnd); }
    static void letGo(long number) {
        first = number;
        first.notify_all();
    }
    static bool areHeld() { return first != kNoEnd; }
    // How many were started.
    static long number() { return started; }

    struct Start {
        void* (*body)(void*);
        void* argument;
    };
    static void* run(void* argument) {
        const Start start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
        own = started++;
        return start.body(start.argument);
    }
    // In the thread.
    static void wait() {
        for (long free = first; free <= own; free = first)
            first.wait(free);
    }

private:
    static std::atomic<long> first, started;
    static thread_local long own;  // the number of the thread
};
std::atomic<long> HeldThreads::first{kNoEnd}, HeldThreads::started{0};
thread_local long HeldThreads::own = -1;

}  // namespace

// They take the place of the system's functions, for the library too.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) noexcept {
    static const auto create = support::systemFunction("pthread_create", &pthread_create);
    if (threadsLeft.fetch_sub(1) <= 0) {
        ++refused;
        return EAGAIN;
    }
    if (!HeldThreads::areHeld()) return create(thread, attributes, body, argument);
    std::unique_ptr<HeldThreads::Start> start(new HeldThreads::Start{body, argument});
    const int error = create(thread, attributes, &HeldThreads::run, start.get());
    if (error == 0) static_cast<void>(start.release());
    return error;
}

// A connection opens with this call.
extern "C" int getpeername(int socket, sockaddr* address, socklen_t* size) noexcept {
    static const auto real = support::systemFunction("getpeername", &getpeername);
    HeldThreads::wait();
    return real(socket, address, size);
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
            EXPECT_EQ(raisedIn<ThreadSyscallException>([&] { worker->startAndWait(); }),
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
    Recorder object;
    TimerId id;
    {
        const FewThreads none(0);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(raisedIn<ThreadSyscallException>([&] { timers.start(); }),
                      "qor::Thread::start");
        EXPECT_TRUE(timers.setTimer(id, "kept", 1, 1, &object, 1, nullptr));
        timers.stop();
        const Handle<TimerUserThread> own(new TimerUserThread(&object, "own", 1, 1, 2, nullptr));
        EXPECT_EQ(raisedIn<ThreadSyscallException>([&] { own->startAndWait(); }),
                  "qor::Thread::start");
    }
    EXPECT_EQ(object.take(), "");
    timers.start();
    EXPECT_TRUE(network::until([&] { return object.take().find("-1") != std::string::npos; }));
    TimerManager::destroy();
}

TEST(NoThreads, DoesNotConcernTheLog) {
    LogFile file("threads");
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
    const unsigned descriptors = openDescriptors();
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
        EXPECT_EQ(openDescriptors(), descriptors) << failures;
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

// 64 threads start at once. The clients that come meanwhile wait, more of them than there was room
// for at first, and all are served in the end.
TEST_F(NoThreadsForConnections, KeepsClientsUntilTheyStart) {
    constexpr unsigned kStarting = 64, kRoom = 4096, kMore = 300;
    constexpr unsigned kClients = kRoom + kMore;
    rlimit descriptors{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
    descriptors.rlim_cur = descriptors.rlim_max;
    if (descriptors.rlim_max < 2 * kClients + 1000 || setrlimit(RLIMIT_NOFILE, &descriptors) != 0)
        GTEST_SKIP() << "a process may have " << descriptors.rlim_max << " descriptors";
    TcpServer server;
    events->receive = [&](const TcpAddr& peer, const istr& payload) {
        EXPECT_TRUE(server.send(peer, payload, 5));
    };
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), events, network::kBuffer));
    std::vector<network::Socket> clients;
    const auto connect = [&](std::size_t number) {
        while (clients.size() < number) {
            clients.emplace_back();
            ASSERT_TRUE(clients.back().connect(server.getLocalPort())) << clients.size();
        }
    };
    {
        const HeldThreads held;
        connect(kRoom - kStarting);
        HeldThreads::letGo(1);
        ASSERT_TRUE(network::until([] { return HeldThreads::number() == 1 + kStarting; }));
        connect(kClients);
        clients.front().post(network::frame("first"));
        clients.back().post(network::frame("last"));
        for (std::size_t i = 1; i + 1 < clients.size(); ++i)
            clients[i].close();
        EXPECT_EQ(HeldThreads::number(), 1 + kStarting);
    }
    EXPECT_EQ(clients.front().read(9), network::frame("first"));
    EXPECT_EQ(clients.back().read(8), network::frame("last"));
    EXPECT_TRUE(events->ended(kClients - 2));
    server.close();
    EXPECT_EQ(events->closed, kClients);
}

}  // namespace
}  // namespace qor
