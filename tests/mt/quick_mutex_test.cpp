#include "qor/mt/quick_mutex.h"

#include "platform/wait.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

// A waiting thread spins during the short sections and sleeps during the long ones. One that is not
// woken would sleep for ever.
TEST(QuickMutex, AdmitsOneThreadAtATimeAndWakesSleepers) {
    constexpr int kThreads = 4, kRounds = 4000;
    const QuickMutex mutex;
    int inside = 0;
    long count = 0;
    inThreads(kThreads, [&] {
        for (int i = 0; i < kRounds; ++i) {
            errno = 4711;
            mutex.lock();
            EXPECT_EQ(++inside, 1);
            ++count;
            for (int n = 0; i % 64 == 0 && n < 50; ++n)
                std::this_thread::yield();
            --inside;
            mutex.unlock();
            EXPECT_EQ(errno, 4711);
        }
    });
    EXPECT_EQ(count, kThreads * kRounds);
}

TEST(WaitWhile, LastsForItsTime) {
    const std::atomic<int> word{1};
    for (const long ms : {20, 1020}) {
        const Time start = Time::now(Time::Monotonic);
        platform::waitWhile(word, 1, ms);
        EXPECT_GE((Time::now(Time::Monotonic) - start).toMilliSeconds(), ms);
    }
}

}  // namespace
}  // namespace qor
