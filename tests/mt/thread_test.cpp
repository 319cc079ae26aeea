#include "qor/mt/thread.h"

#include <latch>

#include "support/child.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

// A thread with nothing but a body.
class Body : public Thread {
public:
    explicit Body(std::function<void()> body) : body_(std::move(body)) {}

protected:
    void run_i() override { body_(); }

private:
    std::function<void()> body_;
};

struct Owner : ThreadOwner {
    Owner() : ThreadOwner("boss") {}
    void onThreadExit(Thread* thread) override { exited = thread; }
    std::atomic<Thread*> exited{nullptr};
};

std::string registry() {
    return dumped(THREAD_FACTORY(), false);
}

// Thread and ThreadControl

TEST(Thread, StartsOnce) {
    std::promise<void> go;
    const Handle<Body> thread(new Body([&] { go.get_future().wait(); }));
    EXPECT_FALSE(thread->started());
    EXPECT_EQ(raisedIn<ThreadNotStartedException>([&] { thread->getThreadControl(); }),
              "qor::Thread::getThreadControl");
    EXPECT_EQ(raisedIn<ThreadNotStartedException>([&] { thread->id(); }), "qor::Thread::id");

    const ThreadControl control = thread->start();
    EXPECT_EQ(raisedIn<ThreadStartedException>([&] { thread->start(); }), "qor::Thread::start");
    EXPECT_TRUE(thread->started() && control.isAlive());
    EXPECT_TRUE(control == thread->getThreadControl());
    EXPECT_NE(control.id(), ThreadControl::current().id());
    go.set_value();
    control.join();
    EXPECT_FALSE(control.isAlive());
}

TEST(ThreadControl, OutlivesItsThread) {
    std::promise<void> go;
    ThreadControl control = Handle<Body>(new Body([&] { go.get_future().wait(); }))->start();
    EXPECT_TRUE(control.isAlive());
    inThreads(5, [&](int i) {
        if (i == 0) go.set_value();
        const ThreadControl copy = control;
        copy.join();
        EXPECT_FALSE(copy.isAlive());
    });
    control.join();
    control = ThreadControl::current();
    EXPECT_EQ(control.id(), static_cast<unsigned>(gettid()));
}

TEST(ThreadControl, RefusesToWaitForItselfAndForForeignThreads) {
    const auto joinError = [](const ThreadControl& control) {
        try {
            control.join();
        } catch (const ThreadSyscallException& e) {
            return e.error();
        }
        return 0;
    };
    const ThreadControl foreign;
    EXPECT_EQ(joinError(foreign), EDEADLK);
    ThreadControl inside;
    const Handle<Body> thread(new Body([&] {
        EXPECT_EQ(joinError(foreign), EINVAL);
        EXPECT_TRUE(foreign.isAlive());
        inside = ThreadControl::current();
        EXPECT_EQ(joinError(inside), EDEADLK);
    }));
    thread->start().join();
    EXPECT_FALSE(inside.isAlive());
}

std::size_t stackSizeHere() {
    pthread_attr_t attributes;
    void* start = nullptr;
    std::size_t size = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstack(&attributes, &start, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

TEST(Thread, HasAtLeastTheStackThatItAsksFor) {
    for (const unsigned size : {1U, 20000U, 1000001U, 20000000U}) {
        const Handle<Body> thread(new Body([&] {
            char room[32768];
            EXPECT_EQ(std::memset(room, 1, sizeof room), room);
            EXPECT_GE(stackSizeHere(), size);
        }));
        thread->start(size).join();
    }
}

// The log name of a thread needs memory on that thread.
TEST(Thread, LivesWithoutMemoryForItsName) {
    struct Starved : Worker {
        explicit Starved(unsigned long n) : nth(n) {}
        void run_i() override {
            const FailAllocations failing(nth);
            Worker::run_i();
        }
        const unsigned long nth;
    };
    for (unsigned long n = 1; n < 6; ++n) {
        const Handle<Worker> worker(new Starved(n));
        worker->startAndWait();
        worker->stop();
        EXPECT_EQ(worker->calls(), "birth death ") << n;
    }
}

TEST(Thread, IsUnchangedWithoutMemory) {
    const Handle<Worker> worker(new Worker);
    EXPECT_GT(failEachAllocation([&] { worker->startAndWait(); },
                                 [&] { EXPECT_FALSE(worker->started()); }),
              0U);
    {
        const FailAllocations failing(1);
        worker->stop();
    }
    EXPECT_EQ(worker->calls(), "birth death ");
}

TEST(Rethrow, DropsExceptionsThatLeaveTheBody) {
    for (const char* const value : {"", "ON", "on ", "off"}) {
        setenv("QOR_RETHROW", value, 1);
        Owner owner;
        const Handle<Worker> worker(new Worker(&owner));
        worker->work = []() -> bool { throw 1; };
        worker->startAndWait();
        worker->join();
        EXPECT_EQ(worker->calls(), "birth death ") << value;
        EXPECT_FALSE(worker->living());
        EXPECT_EQ(owner.exited, worker.get());
        EXPECT_EQ(worker->__GetRef(), 1);
        EXPECT_FALSE(contains(registry(), "worker"));
    }
    unsetenv("QOR_RETHROW");
}

TEST(Rethrow, EndsTheProcessWhenItIsOn) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            setenv("QOR_RETHROW", "on", 1);
            Handle<Body>(new Body([] { throw 1; }))->start().join();
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST(Thread, MayEndByPthreadExit) {
#ifdef _LIBCPP_VERSION
    GTEST_SKIP() << "an unwinder beside that of the system cannot end a thread";
#endif
    // What onDeath raises is dropped.
    struct Raising : Worker {
        void onDeath() override {
            Worker::onDeath();
            throw 1;
        }
    };
    const Handle<Worker> worker(new Raising);
    worker->work = []() -> bool { pthread_exit(nullptr); };
    worker->startAndWait();
    worker->join();
    EXPECT_EQ(worker->calls(), "birth death ");
    EXPECT_EQ(worker->__GetRef(), 1);
}

// SimpleThread

bool never() {
    ADD_FAILURE() << "there is no work to be done";
    return false;
}

TEST(SimpleThread, LivesFromBirthToDeath) {
    struct Life {
        const char* name;
        int stops;
        void (*before)(Worker&);
        void (*then)(Worker&) = [](Worker&) {};
    };
    const auto nothing = [](Worker&) {};
    const Life lives[] = {
        {"stopped", 1, nothing,
         [](Worker& worker) {
             worker.stop();
             EXPECT_TRUE(worker.activeStopping());
             worker.stop();
         }},
        {"living set to false, and not to true", 1, nothing,
         [](Worker& worker) {
             EXPECT_EQ(
                 raised<InvalidDataException>([&] { worker.living(true); }),
                 "qor::SimpleThread::living: InvalidDataException: living(true) is not expected");
             EXPECT_TRUE(worker.living());
             worker.living(false);
             EXPECT_FALSE(worker.activeStopping());
         }},
        {"stopped before the start", 2,
         [](Worker& worker) {
             worker.stop();
             EXPECT_TRUE(worker.stop(Time()));
             worker.work = never;
         }},
        {"stopped from inside", 2,
         [](Worker& worker) {
             worker.work = [&] { return worker.stop(), worker.stop(Time::seconds(60)); };
         }},
        {"ended by its work", 0, [](Worker& worker) { worker.work = [] { return false; }; }},
        {"not born", 0,
         [](Worker& worker) {
             worker.birth = [] { return false; };
             worker.work = never;
         }},
    };
    for (const auto& [name, stops, before, then] : lives) {
        SCOPED_TRACE(name);
        const Handle<Worker> worker(new Worker);
        before(*worker);
        worker->startAndWait();
        then(*worker);
        worker->join();
        EXPECT_EQ(worker->calls(), "birth death ");
        EXPECT_EQ(worker->stops, stops);
        EXPECT_FALSE(worker->living());
        EXPECT_FALSE(worker->getThreadControl().isAlive());
    }
}

TEST(SimpleThread, IsStoppedByTwoAtOnce) {
    std::latch working(1);
    std::latch asked(2);
    const Handle<Worker> worker(new Worker);
    worker->stopping = [&] { asked.count_down(); };
    worker->work = [&] {
        working.count_down();
        asked.wait();
        sleep(5);  // a stop that does not wait returns meanwhile
        return true;
    };
    worker->startAndWait();
    working.wait();
    inThreads(2, [&](int i) {
        EXPECT_TRUE(i == 0 ? worker->stop(Time::seconds(60)) : (worker->stop(), true));
        EXPECT_FALSE(worker->getThreadControl().isAlive());
    });
    EXPECT_EQ(worker->calls(), "birth death ");
}

TEST(SimpleThread, NotifiesItsOwnerUnlessItWasStopped) {
    const LogFile log("QOR");
    const auto isNotifiedAfter = [](void (*finish)(Worker&)) {
        Owner owner;
        const Handle<Worker> worker(new Worker(&owner));
        EXPECT_EQ(worker->owner(), &owner);
        worker->startAndWait();
        finish(*worker);
        worker->join();
        return owner.exited == worker.get();
    };
    EXPECT_TRUE(isNotifiedAfter([](Worker& worker) { worker.stopOnly(); }));
    EXPECT_FALSE(isNotifiedAfter([](Worker& worker) { worker.stop(); }));
    EXPECT_FALSE(isNotifiedAfter([](Worker& worker) {
        worker.detach();
        worker.stopOnly();
    }));
    EXPECT_TRUE(contains(log.entries(), "on_thread_exit() notify owner(boss) thread exit\n"));
}

TEST(SimpleThread, LosesItsOwnerWhenAStopTimesOut) {
    const LogFile log("QOR");
    std::promise<void> go;
    ThreadControl control;
    Owner owner;
    {
        const Handle<Worker> worker(new Worker(&owner));
        worker->birth = [&] { return go.get_future().wait(), true; };
        EXPECT_FALSE(worker->startAndWait(Time::milliSeconds(5)));
        EXPECT_TRUE(worker->started());
        const Time start = Time::now(Time::Monotonic);
        EXPECT_FALSE(worker->stop(Time::milliSeconds(30)));
        EXPECT_GE(Time::now(Time::Monotonic) - start, Time::milliSeconds(30));
        EXPECT_EQ(worker->owner(), nullptr);
        EXPECT_TRUE(contains(log.entries(),
                             worker->fullname() + " thread not stopped in 00:00:00.030000\n"));
        control = worker->getThreadControl();
    }
    EXPECT_TRUE(control.isAlive());
    go.set_value();
    control.join();
    EXPECT_EQ(owner.exited, nullptr);
}

// tests/log has the lines of a usual life.
TEST(SimpleThread, LogsItsUnusualSteps) {
    const LogFile log("QOR");
    Owner owner;
    const Handle<Worker> worker(new Worker(&owner));
    EXPECT_EQ(worker->fullname(), "worker");
    worker->stop(Time());
    worker->birth = [] { return false; };
    worker->startAndWait();
    worker->join(Time::seconds(60));
    const String name = worker->fullname();
    EXPECT_EQ(name, "worker" + worker->threadIdString());
    worker->stop();
    worker->stop(Time::seconds(1));
    worker->stopOnly();
    const std::string lines[] = {"[INFO]stop() worker thread not started.",
                                 "onBirth_i() thread begin failure, won't enter run loop.",
                                 "[INFO]stop() " + name + " thread already stopped.",
                                 "[INFO]stop() " + name + "(00:00:01) thread already stopped.",
                                 "[INFO]stopOnly() " + name + " thread stopping only..."};
    for (const std::string& line : lines)
        EXPECT_TRUE(contains(log.entries(), line + "\n"));
}

TEST(SimpleThread, WaitsForANotificationWhileItLives) {
    const Handle<Worker> worker(new Worker);
    EXPECT_FALSE(worker->wait(Time::milliSeconds(1)));
    worker->startAndWait();
    std::atomic<bool> waiting = true;
    std::thread other([&] {
        EXPECT_TRUE(worker->wait(Time::forever()));
        waiting = false;
    });
    while (waiting)
        worker->notify();
    other.join();
    // Its end wakes all that wait.
    constexpr int kOthers = 5;
    std::latch ready(kOthers);
    std::thread others([&] {
        inThreads(kOthers, [&] {
            ready.count_down();
            worker->wait();
        });
    });
    ready.wait();
    sleep(5);  // they wait now, most likely
    worker->stop();
    others.join();
    EXPECT_TRUE(worker->wait(Time::forever()));
}

// Only the thread itself has a share in the object.
TEST(SimpleThread, IsDestroyedOnItsOwnThreadAfterItsRecord) {
    std::promise<std::tuple<ThreadId, ThreadInfo, std::string>> seen;
    Handle<Worker> worker(new Worker);
    worker->destroyed = [&] {
        seen.set_value({ThreadControl::current().id(), SimpleThread::current(), registry()});
    };
    std::promise<void> go;
    worker->birth = [&] { return go.get_future().wait(), false; };
    const ThreadId id = worker->start().id();
    worker.reset();
    go.set_value();
    const auto [thread, recorded, records] = seen.get_future().get();
    EXPECT_EQ(thread, id);
    EXPECT_EQ(recorded.thread_, nullptr);
    EXPECT_TRUE(recorded.sThreadId_.starts_with("<")) << recorded.sThreadId_;
    EXPECT_FALSE(contains(records, "worker"));
}

TEST(SimpleThread, ReleasesItsThreadAndItsRecord) {
    const unsigned threads = runningThreads();
    const std::size_t size = registry().size();
    for (int i = 0; i < 1000; ++i) {
        const Handle<Worker> worker(new Worker);
        worker->startAndWait();
        worker->stop();
    }
    EXPECT_LE(runningThreads(), threads);
    EXPECT_LE(registry().size(), size);
}

// ThreadInfo and the registry of threads

String idText(const char* format, unsigned long thread) {
    char text[64];
    std::snprintf(text, sizeof text, format, getpid(), thread);
    return text;
}

TEST(ThreadInfo, IdentifiesThreads) {
    const ThreadInfo& here = SimpleThread::current();
    EXPECT_EQ(here.sThreadId_, idText("<%d.%4lu>", static_cast<unsigned long>(gettid())));
    EXPECT_EQ(here.thread_, nullptr);

    const Handle<Worker> worker(new Worker);
    EXPECT_EQ(raisedIn<ThreadNotStartedException>([&] { worker->info(); }), "qor::Thread::id");
    std::promise<ThreadInfo> inside;
    worker->birth = [&] {
        inside.set_value(SimpleThread::current());
        return true;
    };
    worker->startAndWait();
    const ThreadInfo there = inside.get_future().get();
    EXPECT_EQ(there.thread_, worker.get());
    EXPECT_EQ(there.sThreadId_, idText("{%d.%4lu}", worker->id()));
    EXPECT_EQ(worker->threadIdString(), there.sThreadId_);
    EXPECT_GE(worker->currDateTime(), there.currDateTime_);
    worker->stop();
    EXPECT_EQ(worker->threadIdString(), there.sThreadId_);
    EXPECT_EQ(worker->info().thread_, nullptr);
}

TEST(ThreadInfo, ShowsTheTimeOfItsLastUse) {
    for (int i = 0; i < 20000; ++i) {
        const Time before = Time::now();
        const ThreadInfo& info = SimpleThread::current();
        ASSERT_GE(info.currDateTime_, before);
        ASSERT_EQ(info.sCurrDateTime_, info.currDateTime_.toDateTime());
    }
}

// The thread renews its record without the lock under which other threads read it.
TEST(ThreadInfo, ShowsOthersAMatchingTimeAndText) {
    const Handle<Worker> worker(new Worker);
    std::atomic<bool> over{false};
    worker->birth = [&] {
        while (!over)
            SimpleThread::current();
        return true;
    };
    worker->start();
    Time first, last;
    while (last - first < Time::milliSeconds(50)) {
        const ThreadInfo info = worker->info();
        if (info.currDateTime_ == Time()) continue;
        EXPECT_EQ(info.sCurrDateTime_, info.currDateTime_.toDateTime());
        EXPECT_GE(info.currDateTime_, last);
        last = info.currDateTime_;
        if (first == Time()) first = last;
    }
    over = true;
    worker->stop();
}

TEST(ThreadFactory, ShowsTheThreadsThatRun) {
    SimpleThread::destroyThreadFactory();
    EXPECT_EQ(registry(), "@qor::ThreadFactory{\n    threads_ = @qor::mt::map{\n    }\n}");
    const ThreadInfo& info = SimpleThread::current();
    const std::string id = streamed(ThreadControl::current().id());
    EXPECT_EQ(registry(), "@qor::ThreadFactory{\n    threads_ = @qor::mt::map{\n        " + id +
                              " : @qor::ThreadInfo{\n            sThreadId_ = '" + info.sThreadId_ +
                              "'\n            currDateTime_ = '" + info.sCurrDateTime_ +
                              "'\n            sCurrDateTime_ = '" + info.sCurrDateTime_ +
                              "'\n            thread_ = null\n        }\n    }\n}");
    EXPECT_EQ(dumped(*Handle<Worker>(new Worker)),
              "{name()='worker' fullname()='worker' started()=false living()=true "
              "activeStopping()=false refcount=1}");
}

// A thread_local object may use its thread's record when the thread ends.
TEST(ThreadFactory, ForgetsAThreadAtItsEnd) {
    struct AsksAtTheEnd {
        ~AsksAtTheEnd() { id = SimpleThread::current().sThreadId_; }
        String& id;
    };
    String id, atTheEnd;
    std::thread([&] {
        thread_local const AsksAtTheEnd asks{atTheEnd};
        id = SimpleThread::current().sThreadId_;
        EXPECT_TRUE(contains(registry(), id));
    }).join();
    EXPECT_EQ(atTheEnd, id);
    EXPECT_FALSE(contains(registry(), id));
}

TEST(ThreadFactory, MayBeDestroyedWhileThreadsUseIt) {
    const Handle<Worker> worker(new Worker);
    worker->startAndWait();
    std::atomic<bool> going = true;
    std::thread other([&] {
        const ThreadInfo& info = SimpleThread::current();
        while (going)
            EXPECT_EQ(&info, &SimpleThread::current());
    });
    for (int i = 0; i < 200; ++i) {
        SimpleThread::destroyThreadFactory();
        registry();
    }
    going = false;
    other.join();
    // The worker uses its record in each pass.
    while (registry().find("'worker'") == std::string::npos)
        worker->notify();
    worker->stop();
}

TEST(ThreadFactory, WorksWithoutMemory) {
    std::thread([] {
        {
            const FailAllocations failing(1);
            EXPECT_EQ(SimpleThread::current().sThreadId_, "");
            EXPECT_EQ(SimpleThread::current().thread_, nullptr);
            EXPECT_TRUE(failing.happened());
        }
        EXPECT_NE(SimpleThread::current().sThreadId_, "");
    }).join();
}

// A fork handler that a program registers before it uses the library.
unsigned idInHandler = 0;
[[maybe_unused]] const int handlesForks =
    pthread_atfork(nullptr, nullptr, [] { idInHandler = ThreadControl::current().id(); });

// Another thread uses the registry during most of the forks.
TEST(ThreadFactory, KnowsAForkedChild) {
    const String parent = SimpleThread::current().sThreadId_;
    std::atomic<bool> over = !forksBesideAllocations;
    const Handle<Body> dumping(new Body([&] {
        while (!over)
            registry();
    }));
    const ThreadControl other = dumping->start();
    if (over) other.join();  // its start and its end allocate
    for (int i = 0; i < 20; ++i) {
        const int status = statusOf([&] {
            alarm(30);
            const auto self = static_cast<unsigned long>(gettid());
            const bool fresh = SimpleThread::current().sThreadId_ == idText("<%d.%4lu>", self) &&
                               ThreadControl::current().id() == self && idInHandler == self;
            const bool alone = registry().find(parent) == std::string::npos && !other.isAlive();
            other.join();
            _exit(fresh && alone ? 0 : 1);
        });
        EXPECT_EQ(status, 0);
        EXPECT_EQ(SimpleThread::current().sThreadId_, parent);
    }
    over = true;
    other.join();
}

}  // namespace
}  // namespace qor
