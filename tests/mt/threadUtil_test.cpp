#include "qor/mt/threadUtil.h"

#include <gtest/gtest.h>

#include <string>

namespace qor {
namespace {

// Logs what its thread has it do.
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

TEST(OwnedThread, DoesWhatItsOwnerSays) {
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

}  // namespace
}  // namespace qor
