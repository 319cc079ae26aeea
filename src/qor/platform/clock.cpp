#include "platform/clock.h"

#include <cerrno>
#include <ctime>

namespace qor::platform {

long long wallMicroseconds() noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

int monotonicTicks(long long& ticks) noexcept {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return errno;
    ticks = now.tv_sec * 1000000000LL + now.tv_nsec;
    return 0;
}

long long monotonicFrequency() noexcept {
    long long ticks = 0;
    return monotonicTicks(ticks) == 0 ? 1000000000 : 0;
}

long long coarseNanoseconds() noexcept {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

long long coarseSeconds() noexcept {
    return coarseNanoseconds() / 1000000000;
}

void sleepMilliseconds(long long n) {
    if (n < 1) return;
    timespec left{};
    left.tv_sec = n / 1000;
    left.tv_nsec = static_cast<long>(n % 1000 * 1000000);
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

}  // namespace qor::platform
