#include "support/small_disk.h"

#include <sys/mount.h>

namespace support {

SmallDisk::SmallDisk()
    : mounted_(mount("none", directory_.path().c_str(), "tmpfs", 0, "size=1m") == 0) {}

SmallDisk::~SmallDisk() {
    if (mounted_) umount2(directory_.path().c_str(), MNT_DETACH);
}

}  // namespace support
