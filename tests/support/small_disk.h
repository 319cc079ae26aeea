#ifndef QOR_TESTS_SUPPORT_SMALL_DISK_H
#define QOR_TESTS_SUPPORT_SMALL_DISK_H

#include <cstdint>
#include <string>
#include <string_view>

#include "support/temp_dir.h"

namespace support {

// A file system of one MiB, to be filled. It exists only in a process that may mount one.
class SmallDisk {
public:
    SmallDisk();
    ~SmallDisk();

    bool isThere() const { return mounted_; }
    std::string path(std::string_view name) const { return directory_.path(name); }
    std::uintmax_t free() const;

private:
    TempDir directory_;
    bool mounted_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_SMALL_DISK_H
