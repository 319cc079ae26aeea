#ifndef NUV_ZONE_H
#define NUV_ZONE_H

#include <ctime>

// Hold it while a function of the C library uses the time zone. Such a function takes a lock of the
// C library, which would stay taken in the child if another thread forked meanwhile: a fork waits
// until no thread has a nuv_zone_lock. (A program's own calls of localtime and the like are not
// included.)
class nuv_zone_lock {
public:
    nuv_zone_lock() noexcept;
    nuv_zone_lock(const nuv_zone_lock&) = delete;
    nuv_zone_lock& operator=(const nuv_zone_lock&) = delete;
    ~nuv_zone_lock();
};

// Local time, of seconds since 1970, in the zone that mktime would use, which reads TZ and the
// system's files at each call; localtime_r alone reads them only at its first call in the process.
// Returns false if the year does not fit into its field.
bool nuv_local_time_of(long long seconds, std::tm& fields) noexcept;

#endif  // NUV_ZONE_H
