#include "qor/mt/monitor.h"

#include <sys/resource.h>

#include "support/child.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

void notify(Monitor& monitor, bool all = false) {
    const Monitor::Lock lock(monitor);
    all ? monitor.notifyAll() : monitor.notify();
}

// Waits until a number that the monitor guards is at least this, and returns it.
int awaited(const Monitor& monitor, const int& number, int least) {
    for (;; ThreadControl::yield()) {
        const Monitor::Lock lock(monitor);
        if (number >= least) return number;
    }
}

// Threads that wait once each, and are counted when they wait and when they wake.
class Waiters {
public:
    explicit Waiters(int count) : threads_([=, this] { inThreads(count, [this] { wait(); }); }) {
        awaited(monitor, waiting_, count);
    }
    ~Waiters() {
        notify(monitor, true);
        threads_.join();
    }

    // Waits until at least this number have woken, and returns how many have.
    int woken(int least) { return awaited(monitor, woken_, least); }

    Monitor monitor;

private:
    void wait() {
        const Monitor::Lock lock(monitor);
        ++waiting_;
        monitor.wait();
        ++woken_;
    }

    int waiting_ = 0;
    int woken_ = 0;
    std::thread threads_;
};

TEST(Monitor, WakesOneThreadForEachNotification) {
    Waiters waiters(4);
    {
        const Monitor::Lock lock(waiters.monitor);
        waiters.monitor.notify();
        waiters.monitor.notify();
    }
    EXPECT_EQ(waiters.woken(2), 2);
    {
        const Monitor::Lock lock(waiters.monitor);
        waiters.monitor.notify();
        waiters.monitor.notifyAll();
        waiters.monitor.notify();
    }
    EXPECT_EQ(waiters.woken(4), 4);
}

TEST(Monitor, KeepsNoNotificationForALaterWait) {
    Monitor monitor;
    for (const bool all : {false, true}) {
        const Monitor::Lock lock(monitor);
        all ? monitor.notifyAll() : monitor.notify();
        EXPECT_FALSE(monitor.wait(Time::milliSeconds(2))) << all;
    }
}

TEST(Monitor, GivesANotificationToTheThreadThatWaitedBefore) {
    for (int i = 0; i < 500; ++i) {
        Waiters waiters(1);
        {
            const Monitor::Lock lock(waiters.monitor);
            waiters.monitor.notify();
            ASSERT_FALSE(waiters.monitor.wait(Time()));
        }
        EXPECT_EQ(waiters.woken(1), 1);
    }
}

// Also after a notification for all, which the system's order need not follow.
TEST(Monitor, WakesFewThreadsForANotification) {
    constexpr int kThreads = 400, kNotifications = 50;
    Monitor monitor;
    int waits = 0;
    bool over = false;
    std::thread threads([&] {
        inThreads(kThreads, [&] {
            const Monitor::Lock lock(monitor);
            while (!over) {
                ++waits;
                monitor.wait();
            }
        });
    });
    awaited(monitor, waits, kThreads);
    notify(monitor, true);
    awaited(monitor, waits, 2 * kThreads);
    rusage before{}, after{};
    ::getrusage(RUSAGE_SELF, &before);
    for (int i = 1; i <= kNotifications; ++i) {
        notify(monitor);
        EXPECT_EQ(awaited(monitor, waits, 2 * kThreads + i), 2 * kThreads + i);
    }
    ::getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_nvcsw - before.ru_nvcsw, kNotifications * kThreads / 4);
    {
        const Monitor::Lock lock(monitor);
        over = true;
        monitor.notifyAll();
    }
    threads.join();
}

#ifndef __SANITIZE_THREAD__  // lets a child start no threads
TEST(Monitor, ForgetsInAChildTheThreadsOfTheParent) {
    Waiters waiters(3);
    const int status = statusOf([&] {
        alarm(30);
        // On the stacks of the threads that wait in the parent.
        Waiters others(3);
        notify(waiters.monitor);
        notify(others.monitor, true);
        // A notification is for a thread of the child.
        int waits = 0;
        std::thread own([&] {
            const Monitor::Lock lock(waiters.monitor);
            ++waits;
            waiters.monitor.wait();
        });
        awaited(waiters.monitor, waits, 1);
        notify(waiters.monitor);
        own.join();
        std::destroy_at(&waiters.monitor);
        _exit(0);
    });
    EXPECT_EQ(status, 0);
}
#endif

TEST(Monitor, PassesTheNotificationOfACancelledThreadOn) {
#ifdef _LIBCPP_VERSION
    GTEST_SKIP() << "an unwinder beside that of the system cannot end a thread";
#endif
    for (int i = 0; i < 20 && !HasFailure(); ++i) {
        Monitor monitor;
        int waiting = 0;
        bool woken = false;
        const auto start = [&](int number) {
            std::thread thread([&] {
                const Monitor::Lock lock(monitor);
                ++waiting;
                woken = monitor.wait(Time::seconds(20)) || woken;
            });
            awaited(monitor, waiting, number);
            return thread;
        };
        std::thread first = start(1), second = start(2);
        {
            const Monitor::Lock lock(monitor);
            monitor.notify();
            pthread_cancel(first.native_handle());
        }
        first.join();
        {
            // The first thread may also have returned with its notification, before it was
            // cancelled.
            const Monitor::Lock lock(monitor);
            if (woken) monitor.notify();
        }
        second.join();
        EXPECT_TRUE(woken);
    }
}

TEST(Monitor, WaitsForTheTimeAndNotLonger) {
    const Monitor monitor;
    const Monitor::Lock lock(monitor);
    for (const long long ms : {-5, 0, 20}) {
        const Time start = Time::now(Time::Monotonic);
        EXPECT_FALSE(monitor.wait(Time::milliSeconds(ms)));
        EXPECT_GE((Time::now(Time::Monotonic) - start).toMilliSeconds(), ms);
    }
    EXPECT_FALSE(monitor.wait(-Time::forever()));
}

// A wait sends the pending notifications before it releases the mutex: otherwise both sides would
// wait. The timeout Time::forever() does not overflow.
TEST(Monitor, PassesATurnBackAndForth) {
    constexpr int kTurns = 1000;
    Monitor monitor;
    int turn = 0;
    inThreads(2, [&](int side) {
        const Monitor::Lock lock(monitor);
        while (turn < kTurns) {
            if (turn % 2 == side) {
                ++turn;
                monitor.notify();
            } else {
                EXPECT_TRUE(monitor.wait(Time::forever()));
            }
        }
    });
    EXPECT_EQ(turn, kTurns);
}

}  // namespace
}  // namespace qor
