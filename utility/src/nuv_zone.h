#ifndef NUV_ZONE_H
#define NUV_ZONE_H

#include <ctime>

// The C library's functions for local times take a lock, which would stay taken in the child if
// another thread forked meanwhile. So a fork waits until no thread is in the functions of this
// file. (A program's own calls of localtime and the like are not included.)

// Local time, of seconds since 1970, in the zone that mktime would use, which reads TZ and the
// system's files at each call; localtime_r alone reads them only at its first call in the process.
// Returns false if the year does not fit into its field.
bool nuv_local_time_of(long long seconds, std::tm& fields) noexcept;

// The seconds of a local time, by mktime: -1 if they cannot be represented. Corrects the fields.
long long nuv_seconds_of(std::tm& fields) noexcept;

#endif  // NUV_ZONE_H
