#ifndef QOR_SRC_PLATFORM_CLOCK_H
#define QOR_SRC_PLATFORM_CLOCK_H

#include <ctime>

namespace qor::platform {

// Microseconds of the wall clock since 1970-01-01 00:00:00 UTC.
long long wallMicroseconds() noexcept;

// A counter that no setting of the clock moves, and its ticks in a second, 0 if there is none.
// Reading gives 0 or an error number.
int monotonicTicks(long long& ticks) noexcept;
double monotonicFrequency() noexcept;

// The seconds of that counter, at the lowest cost: it may lag by a few milliseconds.
long long coarseSeconds() noexcept;

// Local time as the C library has it, for the zone that tzset last saw. False if the year does not
// fit into its field.
bool localTime(long long seconds, std::tm& fields) noexcept;

// Through signals, for the whole time; not at all for less than 1.
void sleepMilliseconds(long long n) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_CLOCK_H
