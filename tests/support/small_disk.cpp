#include "support/small_disk.h"

#include <sys/mount.h>
#include <sys/statvfs.h>

namespace support {

SmallDisk::SmallDisk()
    : mounted_(mount("none", directory_.path().c_str(), "tmpfs", 0, "size=1m") == 0) {}

SmallDisk::~SmallDisk() {
    if (mounted_) umount2(directory_.path().c_str(), MNT_DETACH);
}

// std::filesystem::space has no number for a full disk with every standard library.
std::uintmax_t SmallDisk::free() const {
    struct statvfs disk {};
    if (statvfs(directory_.path().c_str(), &disk) != 0) return 0;
    return std::uintmax_t(disk.f_bavail) * disk.f_frsize;
}

}  // namespace support
