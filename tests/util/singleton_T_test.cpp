#include "qor/util/singleton_T.h"

#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

std::atomic<int> made{0};
std::atomic<int> gone{0};
bool failing = false;

class Service {
    friend class CreateByAllocate<Service>;
    Service() {
        if (failing) throw std::runtime_error("no service");
        ++made;
    }
    ~Service() { ++gone; }
};

using Services = CreateByAllocate<Service>;

TEST(CreateByAllocate, MakesOneObjectForAllThreadsAndANewOneAfterDestroy) {
    made = gone = 0;
    support::inThreads(8, [] { Services::create(); });
    EXPECT_EQ(made, 1);
    {
        const support::FailAllocations noMemory(1);
        Services::destroy();
    }
    Services::destroy();
    EXPECT_EQ(gone, 1);
    Services::create();
    EXPECT_EQ(made, 2);
    Services::destroy();
}

TEST(CreateByAllocate, LetsAFailureThroughAndTriesAgain) {
    failing = true;
    EXPECT_THROW(Services::instance(), std::runtime_error);
    failing = false;
    EXPECT_NE(Services::instance(), nullptr);
    Services::destroy();
}

// Asks for another singleton while it is made, and for itself while it goes.
class Talkative {
    friend class CreateByAllocate<Talkative>;
    Talkative() { Services::create(); }
    ~Talkative() {
        if (gone++ == 0) CreateByAllocate<Talkative>::create();
    }
};

TEST(CreateByAllocate, MayBeAskedWhileOneIsMadeOrGoes) {
    gone = 0;
    CreateByAllocate<Talkative>::create();
    CreateByAllocate<Talkative>::destroy();
    CreateByAllocate<Talkative>::destroy();
    EXPECT_EQ(gone, 2);
    Services::destroy();
}

}  // namespace
}  // namespace qor
