#include "nuv_zone.h"

#include <pthread.h>

namespace {

static_assert(sizeof(std::time_t) == sizeof(long long));

pthread_mutex_t zone = PTHREAD_MUTEX_INITIALIZER;

void lock_zone() {
    pthread_mutex_lock(&zone);
}

void unlock_zone() {
    pthread_mutex_unlock(&zone);
}

// Before the locks of the registries and the loggers: a fork takes the locks in the reverse order,
// and threads may show times while they hold the others.
[[gnu::constructor(101)]] void watch_forks() noexcept {
    pthread_atfork(lock_zone, unlock_zone, unlock_zone);
}

}  // namespace

nuv_zone_lock::nuv_zone_lock() noexcept {
    lock_zone();
}

nuv_zone_lock::~nuv_zone_lock() {
    unlock_zone();
}

bool nuv_local_time_of(long long seconds, std::tm& fields) noexcept {
    const std::time_t time = seconds;
    const nuv_zone_lock lock;
    tzset();
    return localtime_r(&time, &fields) != nullptr;
}
