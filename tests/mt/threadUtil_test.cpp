#include "qor/mt/threadUtil.h"

#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

// Records the calls of its thread.
class Service : public ThreadOwner {
public:
    Service() : ThreadOwner("service"), thread_(new OwnedThread<Service>(this, "served")) {}
    void onThreadExit(Thread* thread) override {
        if (thread == thread_.get()) done_ += "exit ";
    }
    OwnedThread<Service>& thread() { return *thread_; }
    const std::string& done() const { return done_; }

private:
    friend class OwnedThread<Service>;

    bool onBirth() { return done_ += "birth ", true; }
    bool onWait() { return done_ += "wait ", true; }
    bool onLoop() { return done_ += "loop ", false; }
    void onDeath() { done_ += "death "; }
    void onStop() { done_ += "stop "; }

    std::string done_;
    Handle<OwnedThread<Service>> thread_;
};

TEST(OwnedThread, CallsItsOwner) {
    Service service;
    service.thread().startAndWait();
    service.thread().join();
    EXPECT_EQ(service.done(), "birth wait loop death exit ");
    service.thread().livingEnd();
    EXPECT_EQ(service.done(), "birth wait loop death exit stop ");
}

TEST(OwnedThread, LeavesTheWholeRunToItsOwner) {
    struct Runner : ThreadOwner {
        Runner() : ThreadOwner("runner") {}
        void onThreadExit(Thread*) override { done += "exit "; }
        void run() { done += "run "; }
        bool onBirth() { return done += "birth ", true; }
        std::string done;
    } runner;
    const Handle<OwnedThread<Runner>> thread(new OwnedThread<Runner>(&runner, "run"));
    thread->startAndWait();
    thread->join();
    EXPECT_EQ(runner.done, "run exit ");
}

TEST(OwnedThread, EndsWithoutItsOwner) {
    Service service;
    service.thread().detach();
    service.thread().startAndWait();
    service.thread().join();
    EXPECT_EQ(service.done(), "");
}

// Its dump asks its manager, which must not be locked.
struct Asking : Worker {
    explicit Asking(AsyncThreadManager& owner) : manager(owner) {}
    dumper& dump(dumper& d) const override {
        EXPECT_NE(manager.size(), 0U);
        return SimpleThread::dump(d);
    }
    AsyncThreadManager& manager;
};

TEST(AsyncThreadManager, KeepsThreadsUntilTheyEnd) {
    LogFile log("QOR");
    AsyncThreadManager manager("jobs");
    std::vector<Handle<Worker>> workers;
    for (int i = 0; i < 5; ++i) {
        workers.push_back(makeHandle<Asking>("test", manager));
        workers.back()->startAndWait();
        // Two of them have ended before the manager gets them.
        if (i < 2) workers.back()->stop();
        manager.put(workers.back());
    }
    EXPECT_THROW(manager.put(nullptr), NullHandleException);
    EXPECT_EQ(manager.size(), 3U);
    workers[2]->living(false);
    workers[2]->join();
    EXPECT_EQ(manager.size(), 2U);
    const std::string text = dumped(manager);
    EXPECT_TRUE(text.starts_with("{name_='jobs' threads_={{name()='worker'")) << text;
    EXPECT_TRUE(text.ends_with("} closing_=false}")) << text;
    manager.close();
    EXPECT_EQ(manager.size(), 0U);
    EXPECT_FALSE(workers[3]->living() || workers[4]->living());
    manager.close();

    const Handle<Worker> late(makeHandle<Worker>("test"));
    late->startAndWait();
    manager.put(late);
    EXPECT_EQ(manager.size(), 0U);
    EXPECT_EQ(late->owner(), nullptr);
    manager.open();
    manager.put(late);
    EXPECT_EQ(manager.size(), 1U);
    EXPECT_EQ(late->owner(), &manager);
    manager.close();

    const std::string entries = log.entries();
    for (const char* line :
         {"jobs 2 threads still living, try stop them...", "jobs 2 threads stopped, 0 remaning",
          "closing jobs thread manager, not put new thread into it",
          "jobs 1 threads stopped, 0 remaning"})
        EXPECT_TRUE(contains(entries, line));
    EXPECT_FALSE(contains(entries, " 0 threads"));
}

TEST(AsyncThreadManager, StopsAllThreadsThoughTheirStopsRaise) {
    std::vector<Handle<Worker>> workers;
    AsyncThreadManager manager("jobs");
    for (int i = 0; i < 3; ++i) {
        workers.push_back(makeHandle<Worker>("test"));
        workers.back()->stopping = [] { throw std::runtime_error("meant"); };
        workers.back()->startAndWait();
        manager.put(workers.back());
    }
    manager.close();
    for (const Handle<Worker>& worker : workers) {
        EXPECT_FALSE(worker->living());
        EXPECT_EQ(worker->owner(), nullptr);
    }
}

TEST(AsyncThreadManager, TakesThreadsThatEndMeanwhile) {
    AsyncThreadManager manager("busy");
    inThreads(2, [&manager] {
        for (int i = 0; i < 200; ++i) {
            const Handle<Worker> worker(makeHandle<Worker>("test"));
            worker->startAndWait();
            std::thread ending([&] { worker->living(false); });
            manager.put(worker);
            ending.join();
            worker->join();
        }
    });
    EXPECT_EQ(manager.size(), 0U);
}

}  // namespace
}  // namespace qor
