#ifndef QOR_SRC_PLATFORM_CLOCK_H
#define QOR_SRC_PLATFORM_CLOCK_H

#include <atomic>

namespace qor::platform {

// Microseconds of the wall clock since 1970-01-01 00:00:00 UTC.
long long wallMicroseconds() noexcept;

// A counter that does not change when the clock is set. monotonicTicks returns 0 or an error
// number. monotonicFrequency returns the ticks per second, or 0 if the system has no such counter.
int monotonicTicks(long long& ticks) noexcept;
long long monotonicFrequency() noexcept;

// The nanoseconds and seconds of the same counter, faster but up to a few milliseconds late.
long long coarseNanoseconds() noexcept;
long long coarseSeconds() noexcept;

// The answer of `ask`, which is called only if `now` differs from the time of the last answer.
class AnswerOfTime {
public:
    template <class Ask>
    bool at(long long now, Ask ask) noexcept {
        const long long known = last_.load(std::memory_order_relaxed);
        if (known >= 0 && known >> 1 == now) return (known & 1) != 0;
        const bool answer = ask();
        last_.store(now << 1 | (answer ? 1 : 0), std::memory_order_relaxed);
        return answer;
    }

private:
    // The time, shifted left by 1, with the answer in the lowest bit.
    std::atomic<long long> last_{-1};
};

// Sleeps for the whole time: signals do not shorten it. Values below 1 return at once. The
// thread can be cancelled meanwhile.
void sleepMilliseconds(long long n);

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_CLOCK_H
