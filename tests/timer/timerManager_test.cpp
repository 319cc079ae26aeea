#include "qor/timer/timerManager.h"

#include "support/child.h"
#include "support/recorder.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

// One thread waits for what another one does.
class Event {
public:
    void happen() {
        happened_ = true;
        happened_.notify_all();
    }
    void wait() const { happened_.wait(false); }
    bool happened() const { return happened_; }

private:
    std::atomic<bool> happened_{false};
};

class Service : public testing::Test {
protected:
    ~Service() override { TimerManager::destroy(); }

    static TimerManager& timers() { return *TimerManager::instance(); }
    TimerId set(unsigned long interval, unsigned long times, unsigned long user = 1) {
        TimerId id;
        EXPECT_TRUE(timers().setTimer(id, "t", user, interval, &object_, times, nullptr));
        return id;
    }
    // Has the timers call it with the user's number.
    void onFire(std::function<void(unsigned long)> call) {
        object_.onFire = [call](TimerId, unsigned long user) {
            return call(user), OnTimerResult();
        };
    }

    Recorder object_;
};

TEST_F(Service, FiresTimersSetBeforeItsStartOnItsOwnThread) {
    Event released;
    ThreadId firedOn(0);
    onFire([&](auto) { firedOn = ThreadControl::current().id(); });
    object_.onRelease = [&](TimerId, unsigned long) { released.happen(); };
    set(0, 2);
    timers().start();
    timers().start();
    released.wait();
    timers().stop();
    EXPECT_EQ(object_.take(), "1 1 -1");
    EXPECT_NE(firedOn, ThreadControl::current().id());
}

TEST_F(Service, ReleasesATimerKilledInItsCallbackAfterThat) {
    for (const bool closes : {false, true}) {
        Event fires, killed, released;
        object_.onFire = [&](TimerId, unsigned long) {
            fires.happen();
            killed.wait();
            EXPECT_FALSE(released.happened());
            if (closes) timers().close();
            return OnTimerResult(Time::milliSeconds(1), 0);
        };
        object_.onRelease = [&](TimerId, unsigned long) { released.happen(); };
        timers().start();
        const TimerId id = set(0, 0);
        fires.wait();
        timers().killTimer(id);
        EXPECT_FALSE(timers().resetTimer(id, 1, 1));
        timers().killTimer(id);
        killed.happen();
        released.wait();
        timers().close();
        EXPECT_EQ(object_.take(), "1 -1");
    }
}

TEST_F(Service, RunsNoCallbackAfterAnEndByOneOfTwoThreads) {
    const std::function<void()> cases[] = {
        [] { timers().stop(); },
        [] { timers().close(); },
        [] { timers().start(), timers().close(); },
    };
    for (int i = 0; i < 9; ++i) {
        Event fires;
        std::atomic<bool> inside{false};
        onFire([&](auto) {
            inside = true;
            fires.happen();
            for (int n = 0; n < 200; ++n)
                ThreadControl::yield();
            inside = false;
        });
        timers().start();
        set(0, 0);
        fires.wait();
        inThreads(2, [&] {
            cases[i % 3]();
            EXPECT_FALSE(inside) << i % 3;
        });
        timers().close();
    }
}

TEST_F(Service, CreatesANewQueueForAnotherSizeOnly) {
    LogFile log("QOR");
    timers().reopen(10);
    EXPECT_EQ(QOR_TIMER_MAX_NUM(), 10U);
    const TimerId kept = set(100000, 0);
    timers().reopen(10);
    timers().reopen(0);
    EXPECT_TRUE(timers().resetTimer(kept, 100000, 0));
    timers().reopen(11);
    EXPECT_FALSE(timers().resetTimer(kept, 1, 0));
    timers().killTimer(kept);
    EXPECT_EQ(object_.take(), "");
    const std::string entries = log.entries();
    EXPECT_TRUE(contains(entries, "1 timers started."));
    EXPECT_TRUE(contains(entries, "<WARNING>"));
    // Without a queue nothing is done, and the results are false.
    const TimerId stale = set(100000, 0);
    timers().close();
    timers().close();
    TimerId id;
    EXPECT_FALSE(timers().setTimer(id, "t", 0, 0, &object_, 0, nullptr));
    EXPECT_FALSE(timers().resetTimer(id, 0, 0));
    timers().killTimer(id);
    EXPECT_EQ(dumped(timers()), "{*m_timerQueue=null}");
    timers().open();
    EXPECT_TRUE(contains(dumped(timers()), "QOR_TIMER_MAX_NUM()=11"));
    // The ids of an earlier queue differ from those of the timers in the same slots.
    const TimerId later = set(100000, 0);
    timers().killTimer(stale);
    EXPECT_FALSE(timers().resetTimer(stale, 1, 1));
    EXPECT_TRUE(timers().resetTimer(later, 100000, 1));
    EXPECT_EQ(object_.take(), "");
}

// A callback may end the service that calls it, or start it again. What is due in the same pass
// does not fire once the service has no queue.
TEST_F(Service, CanBeEndedByACallback) {
    constexpr unsigned kTimers = 3, kAgain = kTimers + 1;
    const struct {
        const char* what;
        void (*end)(TimerManager&);
        unsigned calls;
    } cases[] = {
        {"stop", [](TimerManager& m) { m.stop(); }, kTimers},
        {"close", [](TimerManager& m) { m.close(); }, 1},
        {"reopen", [](TimerManager& m) { m.reopen(QOR_TIMER_MAX_NUM() + 1); }, 1},
        {"stop, start", [](TimerManager& m) { m.stop(), m.start(); }, kAgain},
    };
    for (const auto& [what, ends, count] : cases) {
        Event reached;
        unsigned fired = 0;
        onFire([&, end = ends, calls = count](auto) {
            if (++fired == 1) end(timers());
            if (fired == calls) reached.happen();
        });
        timers().open();
        for (unsigned i = 0; i < kTimers; ++i)
            set(0, i == 0 ? 1 : 0);
        timers().start();
        reached.wait();
        timers().close();
        EXPECT_EQ(std::min(fired, kAgain), count) << what;
        // The first one was at its end.
        EXPECT_EQ(object_.take().find("-1") == std::string::npos, count == 1) << what;
    }
}

// A thread that ends because of a callback counts as stopped. The timers that are due then are not
// lost.
TEST_F(Service, StartsAgainWhenItsThreadHasEndedByItself) {
    const struct {
        void (*end)();
        const char* before;  // the calls on the thread that ends
        const char* after;
    } cases[] = {
        {[] { SimpleThread::current().thread_->stopOnly(); }, "1 -1 2 -2 3 -3", "4 -4"},
#ifndef _LIBCPP_VERSION  // an unwinder beside that of the system cannot end a thread
        {[] { pthread_exit(nullptr); }, "1 -1", "2 -2 3 -3 4 -4"},
#endif
    };
    for (const auto& [ends, before, after] : cases) {
        Event ended, again;
        ThreadControl first;
        onFire([&, end = ends](unsigned long user) {
            if (user == 4) again.happen();
            if (user != 1) return;
            first = ThreadControl::current();
            ended.happen();
            end();
        });
        timers().open();
        for (const unsigned long user : {1UL, 2UL, 3UL})
            set(0, 1, user);
        timers().start();
        ended.wait();
        first.join();
        EXPECT_EQ(object_.take(), before);
        set(0, 1, 4);
        timers().start();
        again.wait();
        timers().close();
        EXPECT_EQ(object_.take(), after);
    }
}

#ifndef _LIBCPP_VERSION
TEST_F(Service, FreesATimerWhoseReleaseEndsTheThread) {
    object_.onRelease = [](TimerId, unsigned long) { pthread_exit(nullptr); };
    const TimerId id = set(1000, 0);
    std::thread([&] { timers().killTimer(id); }).join();
    EXPECT_EQ(timers().numofTimers(), 0u);
    object_.onRelease = nullptr;
}
#endif

#ifndef __SANITIZE_THREAD__  // lets a child start no threads
// While other threads use the timers. A child can start the service again, and end it.
TEST_F(Service, MayBeForked) {
    if (!forksBesideAllocations) GTEST_SKIP() << "the sanitizer's allocator has a lock";
    std::atomic<bool> done{false};
    timers().reopen(1000);
    timers().stop();
    for (int i = 0; i < 500; ++i)
        set(0, 0);
    std::thread user([&] {
        while (!done)
            timers().killTimer(set(1000, 0));
    });
    for (int i = 0; i < 40; ++i) {
        const int status = statusOf([&] {
            alarm(10);
            Event fired;
            onFire([&](auto) { fired.happen(); });
            timers().start();
            fired.wait();
            TimerManager::destroy();
            _exit(0);
        });
        EXPECT_EQ(status, 0);
    }
    done = true;
    user.join();
    timers().close();
}

// While a timer fires and another one is due in the same tick: in the child, neither is lost.
TEST_F(Service, MayBeForkedDuringATick) {
    Event fires, over;
    std::atomic<bool> inChild{false};
    Event fired[2];
    onFire([&](unsigned long user) {
        if (inChild) return fired[user].happen();
        fires.happen();
        over.wait();
    });
    set(0, 0, 0);
    set(0, 0, 1);
    timers().start();
    fires.wait();
    const int status = statusOf([&] {
        alarm(10);
        inChild = true;
        timers().start();
        fired[0].wait();
        fired[1].wait();
        TimerManager::destroy();
        _exit(0);
    });
    EXPECT_EQ(status, 0);
    over.happen();
    timers().close();
}
#endif

TEST_F(Service, MayBeClosedAndOpenedWhileInUse) {
    std::atomic<bool> done{false};
    object_.onFire = [](TimerId id, unsigned long n) {
        if (n % 2 == 0) TimerManager::instance()->killTimer(id);
        TimerId more;
        static Recorder nested;
        TimerManager::instance()->setTimer(more, "nested", n, 0, &nested, 1, nullptr);
        nested.take();
        return OnTimerResult();
    };
    const auto work = [&](int i) {
        const auto n = static_cast<unsigned long>(i);
        TimerId id;
        while (!done) {
            timers().setTimer(id, "t", n, 0, &object_, 2, nullptr);
            timers().resetTimer(id, 0, 3);
            if (n % 2 != 0) timers().killTimer(id);
        }
    };
    timers().start();
    std::thread users([&] { inThreads(4, work); });
    for (int i = 0; i < 60; ++i) {
        timers().close();
        timers().reopen(100UL + static_cast<unsigned long>(i % 3));
    }
    done = true;
    users.join();
    timers().close();
    object_.take();
    timers().reopen(200);
    Event fired;
    onFire([&](auto) { fired.happen(); });
    set(0, 1);
    fired.wait();
    timers().close();
}

// A thread that calls waitForReleases during a release on another thread returns after it. The
// release itself may call it, and does not wait.
TEST_F(Service, WaitsForReleasesInProgress) {
    Event released;
    std::atomic<bool> waits{false}, returned{false}, over{false};
    object_.onRelease = [&](TimerId, unsigned long) {
        timers().waitForReleases();
        released.happen();
        while (!waits)
            ThreadControl::yield();
        for (int i = 0; i < 1000 && !returned; ++i)
            ThreadControl::yield();
        EXPECT_FALSE(returned);
        over = true;
    };
    const TimerId id = set(1000, 0);
    std::thread killer([&] { timers().killTimer(id); });
    released.wait();
    waits = true;
    timers().waitForReleases();
    EXPECT_TRUE(over);
    returned = true;
    killer.join();
    EXPECT_EQ(object_.take(), "-1");
    timers().waitForReleases();
}

// A callback that ends the service does not wait for one that another callback had started.
TEST_F(Service, CanBeEndedByTheCallbacksOfTwoThreads) {
    Event second, over[2];
    std::atomic<int> calls{0};
    onFire([&](auto) {
        const int call = calls++;
        if (call == 0) {
            timers().reopen(QOR_TIMER_MAX_NUM() + 1);
            set(0, 1);
            second.wait();
        } else {
            second.happen();
            while (SimpleThread::current().thread_->living())
                ThreadControl::yield();
        }
        timers().stop();
        over[call].happen();
    });
    set(0, 1);
    timers().start();
    over[0].wait();
    over[1].wait();
    timers().close();
}

TEST(TimerUserThread, CallsItsObjectTheGivenTimesAndThenReleasesIt) {
    for (const unsigned long times : {0UL, 3UL}) {
        Recorder object;
        TimerId seen;
        unsigned fired = 0;
        object.onFire = [&](TimerId id, unsigned long) -> OnTimerResult {
            seen = id;
            if (++fired == 5) SimpleThread::current().thread_->stopOnly();
            throw std::runtime_error("meant");
        };
        const auto thread =
            makeHandle<TimerUserThread>("test", &object, "user", 1, times, 4, nullptr);
        thread->startAndWait();
        thread->join();
        EXPECT_EQ(object.take(), times == 0 ? "4 4 4 4 4 -4" : "4 4 4 -4");
        EXPECT_EQ(seen, TimerId(thread->id()));
    }
}

TEST(TimerUserThread, StopsAtOnceAndIgnoresNotifications) {
    Recorder object;
    const auto endless =
        makeHandle<TimerUserThread>("test", &object, "hour", 3600000, 0, 1, nullptr);
    endless->startAndWait();
    endless->notify();
    endless->stop();
    // A stop that finds it in the wait lets it fire once more.
    const std::string calls = object.take();
    EXPECT_TRUE(calls == "-1" || calls == "1 -1") << calls;
}

TEST(TimerCallbackBlock, CallsNothingAfterSystemClose) {
    Recorder object;
    TimerBlock block;
    block.m_pCallBackTimerObject = &object;
    block.m_nUserTimerID = 6;
    const auto exec = [&](int type) { return TimerCallbackBlock(type, &block).exec(); };
    LogFile log("QOR");
    EXPECT_TRUE(exec(TimerCallbackBlock::FIRED));
    EXPECT_FALSE(exec(TimerCallbackBlock::RELEASED));
    EXPECT_FALSE(exec(2));
    EXPECT_EQ(object.take(), "6 -6");
    EXPECT_TRUE(contains(log.entries(), "unknown timer callback event type"));
    System::close();
    EXPECT_TRUE(exec(TimerCallbackBlock::FIRED));
    EXPECT_FALSE(exec(TimerCallbackBlock::RELEASED));
    EXPECT_EQ(object.take(), "");
}

}  // namespace
}  // namespace qor
