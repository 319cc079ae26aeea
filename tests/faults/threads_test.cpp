#include "support/threads.h"
#include "support/recorder.h"
#include "support/system_function.h"
#include "support/test.h"
#include "tcp/network.h"

namespace {

// The number of threads that can still be started.
constexpr long kNoEnd = 1L << 30;
std::atomic<long> threadsLeft{kNoEnd};
std::atomic<unsigned> refused{0};

// Limits the number of threads that can be started while it lives.
class FewThreads : qor::noncopyable {
public:
    explicit FewThreads(long number) {
        refused = 0;
        threadsLeft = number;
    }
    ~FewThreads() { threadsLeft = kNoEnd; }
    static unsigned refusals() { return refused; }
};

// While it lives, the threads that are started wait before their connections open, all but the
// first ones.
class HeldThreads : qor::noncopyable {
public:
    HeldThreads() {
        started = 0;
        first = 0;
    }
    ~HeldThreads() { letGo(kNoEnd); }
    static void letGo(long number) {
        first = number;
        first.notify_all();
    }
    static bool areHeld() { return first != kNoEnd; }
    // The number of threads that were started.
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

// They replace the system's functions, for the library too.
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

using namespace network;

// Without a thread a start fails and leaves nothing started; it works when there is a thread.

TEST(NoThreads, LeavesAWorkerUnstarted) {
    AsyncThreadManager manager("kept");
    const Handle<Worker> worker(new Worker);
    std::atomic<int> passes{0};
    worker->work = [&] { return ++passes, true; };
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
    EXPECT_TRUE(until([&] { return passes > 0; }));
    manager.close();
    EXPECT_EQ(manager.size(), 0u);
}

TEST(NoThreads, KeepsTimersUntilTheNextStart) {
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
    EXPECT_TRUE(until([&] { return object.take().find("-1") != std::string::npos; }));
    TimerManager::destroy();
}

TEST(NoThreads, DoesNotAffectTheLog) {
    LogFile file("threads");
    const FewThreads none(0);
    for (int i = 0; i < 3; ++i)
        writeDataLog(file.log(), "f", 0, "TAG", "entry");
    EXPECT_TRUE(contains(file.entries(), "entry"));
    EXPECT_EQ(FewThreads::refusals(), 0u);
}

class NoThreadsForConnections : public ServerTest {
protected:
    // An entry opens the log's file.
    void SetUp() override { writeDataLog(log->log(), "f", 0, "", "first"); }
};

TEST_F(NoThreadsForConnections, OpensNoClient) {
    const Socket listener;
    listener.listen(10);
    TcpClient client;
    const unsigned before = runningThreads();
    {
        const FewThreads none(0);
        for (int i = 0; i < 2; ++i)
            EXPECT_FALSE(client.open(listener.addr(), events, 5, kBuffer));
        EXPECT_FALSE(client.send("x", 0));
        EXPECT_EQ(client.getLocalPort(), 0);
        client.close();
    }
    EXPECT_LE(runningThreads(), before);
    ASSERT_TRUE(client.open(listener.addr(), events, 5, kBuffer));
    EXPECT_TRUE(client.send("x", 5));
    EXPECT_EQ(listener.accept().read(5), frame("x"));
    client.close();
    EXPECT_EQ(events->closed, 1u);
}

// A server has several threads: if any of them cannot start, nothing remains of the others, and the
// address is free again.
TEST_F(NoThreadsForConnections, LeavesNothingOfAServer) {
    open();
    const TcpAddr wanted = address();
    server.close();
    const unsigned before = runningThreads();
    const unsigned descriptors = openDescriptors();
    unsigned failures = 0;
    for (bool opens = false; !opens; ++failures) {
        ASSERT_LT(failures, 10u);
        {
            const FewThreads some(failures);
            opens = server.open(wanted, events, kBuffer);
            EXPECT_EQ(opens, FewThreads::refusals() == 0);
            EXPECT_EQ(server.getLocalPort(), opens ? wanted.port : 0);
        }
        if (opens) known();
        server.close();
        EXPECT_TRUE(until([&] { return runningThreads() <= before; })) << failures;
        EXPECT_EQ(openDescriptors(), descriptors) << failures;
    }
    EXPECT_GE(failures, 3u);
}

TEST_F(NoThreadsForConnections, ClosesAClientAndServesTheNext) {
    openEcho();
    const Socket early, refusedOne, late;
    const auto isServed = [&](const Socket& client) {
        client.post(frame("x"));
        return client.read(5) == frame("x");
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

// 64 threads start at once. The other clients wait, more of them than the library has room for at
// the beginning, and all are served in the end.
TEST_F(NoThreadsForConnections, KeepsClientsUntilTheyStart) {
    constexpr unsigned kStarting = 64, kRoom = 4096, kMore = 300;
    constexpr unsigned kClients = kRoom + kMore;
    rlimit descriptors{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
    descriptors.rlim_cur = descriptors.rlim_max;
    if (descriptors.rlim_max < 2 * kClients + 1000 || setrlimit(RLIMIT_NOFILE, &descriptors) != 0)
        GTEST_SKIP() << "a process may have " << descriptors.rlim_max << " descriptors";
    openEcho();
    std::vector<Socket> clients;
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
        ASSERT_TRUE(until([] { return HeldThreads::number() == 1 + kStarting; }));
        connect(kClients);
        clients.front().post(frame("first"));
        clients.back().post(frame("last"));
        for (std::size_t i = 1; i + 1 < clients.size(); ++i)
            clients[i].close();
        EXPECT_EQ(HeldThreads::number(), 1 + kStarting);
    }
    EXPECT_EQ(clients.front().read(9), frame("first"));
    EXPECT_EQ(clients.back().read(8), frame("last"));
    EXPECT_TRUE(events->ended(kClients - 2));
    server.close();
    EXPECT_EQ(events->closed, kClients);
}

}  // namespace
}  // namespace qor
