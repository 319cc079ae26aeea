#include "qor/util/singleton_T.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

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

TEST(CreateByAllocate, MakesOneObjectForAllThreads) {
    const int before = made;
    std::vector<std::thread> threads;
    std::atomic<Service*> first{nullptr};
    std::atomic<int> others{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            Service* const mine = Services::instance();
            Service* expected = nullptr;
            if (!first.compare_exchange_strong(expected, mine) && expected != mine) ++others;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(made, before + 1);
    EXPECT_EQ(others, 0);
    Services::destroy();
}

TEST(CreateByAllocate, MakesANewObjectAfterDestroy) {
    Services::create();
    const int before = made;
    const int goneBefore = gone;
    Services::create();
    EXPECT_EQ(made, before);
    Services::destroy();
    Services::destroy();
    EXPECT_EQ(gone, goneBefore + 1);
    Services::create();
    EXPECT_EQ(made, before + 1);
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
