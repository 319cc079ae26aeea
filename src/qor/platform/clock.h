#ifndef QOR_SRC_PLATFORM_CLOCK_H
#define QOR_SRC_PLATFORM_CLOCK_H

#include <ctime>

namespace qor::platform {

// Microseconds of the wall clock since 1970-01-01 00:00:00 UTC.
long long wallMicroseconds() noexcept;

// A counter that does not change when the clock is set. monotonicTicks returns 0 or an error
// number. monotonicFrequency returns the ticks per second, or 0 if the system has no such counter.
int monotonicTicks(long long& ticks) noexcept;
double monotonicFrequency() noexcept;

// The seconds of the same counter, faster but up to a few milliseconds late.
long long coarseSeconds() noexcept;

// Hold it while a function of the C library uses the time zone. Such a function takes a lock of the
// C library, which would stay taken in the child if another thread forked meanwhile: a fork waits
// until no thread has a ZoneLock. (A program's own calls of localtime and the like are not
// included.)
class ZoneLock {
public:
    ZoneLock() noexcept;
    ~ZoneLock();
    ZoneLock(const ZoneLock&) = delete;
    ZoneLock& operator=(const ZoneLock&) = delete;
};

// Local time in the zone that the last tzset found. Returns false if the year does not fit into its
// field.
bool localTime(long long seconds, std::tm& fields) noexcept;

// Sleeps for the whole time: signals do not shorten it. Values below 1 return at once. The
// thread can be cancelled meanwhile.
void sleepMilliseconds(long long n);

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_CLOCK_H
