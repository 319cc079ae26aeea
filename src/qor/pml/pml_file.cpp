#include "qor/pml/pml_file.h"

#include "platform/filesystem.h"
#include "qor/base/base_type_convert.h"

namespace qor::pml {

bool File::open(std::ifstream& stream) const {
    const std::string path = platform::nativePath(filename_.toWstring());
    // Opening a directory succeeds, but reading from it fails.
    platform::FileStatus status;
    if (platform::fileStatus(path, status) && status.isDirectory) {
        stream.setstate(std::ios::failbit);
    } else {
        stream.open(path);
    }
    return stream.good();
}

bool File::open(std::ofstream& stream) const {
    stream.open(platform::nativePath(filename_.toWstring()), std::ios::out | std::ios::trunc);
    return stream.good();
}

}  // namespace qor::pml
