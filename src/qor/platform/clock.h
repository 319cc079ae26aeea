#ifndef QOR_SRC_PLATFORM_CLOCK_H
#define QOR_SRC_PLATFORM_CLOCK_H

namespace qor::platform {

// Microseconds of the wall clock since 1970-01-01 00:00:00 UTC.
long long wallMicroseconds() noexcept;

// A counter that no setting of the clock moves, and its ticks in a second, 0 if there is none.
// Reading gives 0 or an error number.
int monotonicTicks(long long& ticks) noexcept;
double monotonicFrequency() noexcept;

// The seconds of that counter, at the lowest cost: it may lag by a few milliseconds.
long long coarseSeconds() noexcept;

// Through signals, for the whole time; not at all for less than 1.
void sleepMilliseconds(long long n) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_CLOCK_H
