#include "qor/util/singleton_T.h"

#include "support/child.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

std::atomic<int> made{0};
std::atomic<int> destroyed{0};
bool serviceFails = false;

class Service {
    friend class CreateByAllocate<Service>;
    Service() {
        if (serviceFails) throw std::runtime_error("no service");
        ++made;
    }
    ~Service() { ++destroyed; }
};

using Services = CreateByAllocate<Service>;

TEST(CreateByAllocate, CreatesOneObjectForAllThreadsAndANewOneAfterDestroy) {
    made = destroyed = 0;
    inThreads(8, [] { Services::create(); });
    EXPECT_EQ(made, 1);
    {
        const FailAllocations noMemory(1);
        Services::destroy();
    }
    Services::destroy();
    EXPECT_EQ(destroyed, 1);
    Services::create();
    EXPECT_EQ(made, 2);
    Services::destroy();
}

TEST(CreateByAllocate, PassesAFailureOnAndTriesAgain) {
    serviceFails = true;
    EXPECT_THROW(Services::instance(), std::runtime_error);
    serviceFails = false;
    EXPECT_NE(Services::instance(), nullptr);
    Services::destroy();
}

// Waits in the construction until it is released.
class Slow {
    friend class CreateByAllocate<Slow>;
    Slow() {
        entered = true;
        entered.notify_all();
        released.wait(false);
    }

public:
    static inline std::atomic<bool> entered{false}, released{false};
};

TEST(CreateByAllocate, IsCreatedAnewInAChildWhoseParentWasCreatingIt) {
    std::thread maker([] { CreateByAllocate<Slow>::create(); });
    Slow::entered.wait(false);
    const int status = statusOf([] {
        alarm(30);
        Slow::released = true;
        CreateByAllocate<Slow>::create();
        CreateByAllocate<Slow>::destroy();
    });
    EXPECT_EQ(status, 0);
    Slow::released = true;
    Slow::released.notify_all();
    maker.join();
    CreateByAllocate<Slow>::destroy();
}

// Creates another singleton in its construction, and itself in its destruction.
class Reentrant {
    friend class CreateByAllocate<Reentrant>;
    Reentrant() { Services::create(); }
    ~Reentrant() {
        if (destroyed++ == 0) CreateByAllocate<Reentrant>::create();
    }
};

TEST(CreateByAllocate, MayBeUsedInConstructionAndDestruction) {
    destroyed = 0;
    CreateByAllocate<Reentrant>::create();
    CreateByAllocate<Reentrant>::destroy();
    CreateByAllocate<Reentrant>::destroy();
    EXPECT_EQ(destroyed, 2);
    Services::destroy();
}

}  // namespace
}  // namespace qor
