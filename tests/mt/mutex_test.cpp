#include "qor/mt/mutex.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(Mutex, CannotBeTakenTwice) {
    const Mutex mutex;
    bool taken = true;
    {
        const Guard guard(mutex);
        std::thread([&] { taken = mutex.tryLock(); }).join();
    }
    EXPECT_FALSE(taken);
    EXPECT_TRUE(mutex.tryLock());
    mutex.unlock();
    EXPECT_TRUE(mutex.willUnlock());
}

}  // namespace
}  // namespace qor
