#include "nuv_zone.h"

#include <pthread.h>

#include <mutex>

namespace {

static_assert(sizeof(std::time_t) == sizeof(long long));

constinit std::mutex zone;

// Before the locks of the registries and the loggers: a fork takes the locks in the reverse order,
// and threads may show times while they hold the others.
[[gnu::constructor(101)]] void watch_forks() noexcept {
    pthread_atfork([] { zone.lock(); }, [] { zone.unlock(); }, [] { zone.unlock(); });
}

}  // namespace

bool nuv_local_time_of(long long seconds, std::tm& fields) noexcept {
    const std::time_t time = seconds;
    const std::lock_guard guard(zone);
    tzset();
    return localtime_r(&time, &fields) != nullptr;
}

long long nuv_seconds_of(std::tm& fields) noexcept {
    const std::lock_guard guard(zone);
    return std::mktime(&fields);
}
