#include <sys/syscall.h>

#include "support/recorder.h"
#include "support/test.h"
#include "tcp/network.h"

namespace {

std::atomic<long> secondsAhead{0};

// Sets the wall clock of this process for a scope. The monotonic clock is unchanged.
class WallClock : qor::noncopyable {
public:
    explicit WallClock(std::chrono::seconds ahead) {
        secondsAhead = static_cast<long>(ahead.count());
    }
    ~WallClock() { secondsAhead = 0; }
};

}  // namespace

// They replace the system's functions, for the library too.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && clock == CLOCK_REALTIME) now->tv_sec += secondsAhead.load();
    return static_cast<int>(result);
}

#ifdef SYS_clock_gettime64
// The one of 32-bit machines for sources whose time has 64 bits.
struct LongTimespec {
    long long seconds, nanoseconds;
};
extern "C" int __clock_gettime64(clockid_t clock, LongTimespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime64, clock, now);
    if (result == 0 && clock == CLOCK_REALTIME) now->seconds += secondsAhead.load();
    return static_cast<int>(result);
}
#endif

namespace qor {
namespace {

// The clock is set by a day, forwards and backwards, during a wait.

TEST(SetClock, ChangesNoWait) {
    for (const long days : {1L, -1L}) {
        TimerManager::instance()->start();
        Recorder object;
        TimerId id;
        constexpr unsigned long kIntervalMs = 20;
        ASSERT_TRUE(
            TimerManager::instance()->setTimer(id, "t", 1, kIntervalMs, &object, 3, nullptr));
        const Monitor monitor;
        const auto begin = std::chrono::steady_clock::now();
        const WallClock set(std::chrono::hours(24 * days));
        {
            const Monitor::Lock lock(monitor);
            EXPECT_FALSE(monitor.wait(Time::milliSeconds(50)));
        }
        std::string fired;
        EXPECT_TRUE(network::until([&] {
            fired += object.take() + " ";
            return fired.find("-1") != std::string::npos;
        }));
        const auto passed = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(passed, std::chrono::milliseconds(50));
        EXPECT_GE(passed, std::chrono::milliseconds(3 * kIntervalMs));
        EXPECT_LT(passed, std::chrono::minutes(10));
        TimerManager::destroy();
    }
}

TEST(SetClock, ChangesTheTimeOfEntries) {
    LogFile file("clock");
    const std::string today = Time::now().toDateTime();
    {
        const WallClock tomorrow(std::chrono::hours(48));
        writeDataLog(file.log(), "f", 0, "", "moved");
        EXPECT_NE(std::string(Time::now().toDateTime()).substr(0, 10), today.substr(0, 10));
    }
    writeDataLog(file.log(), "f", 0, "", "back");
    const std::string text = contentOf(file.path());
    const auto dateOf = [&](const char* entry) {
        const std::size_t line = text.rfind('\n', text.find(entry)) + 1;
        return text.substr(line + sizeof "[" - 1, 10);
    };
    EXPECT_NE(dateOf("moved"), dateOf("back")) << text;
}

}  // namespace
}  // namespace qor
