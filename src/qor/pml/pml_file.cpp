#include "qor/pml/pml_file.h"

#include "platform/filesystem.h"
#include "qor/base/base_type_convert.h"

namespace qor::pml {

namespace {

// Empty, which names no file, for a name with a zero: the system would open the part before it.
std::string pathOf(const String& name) {
    if (name.find('\0') != name.npos) return std::string();
    return platform::nativePath(name.toWstring());
}

}  // namespace

bool File::open(std::ifstream& stream) const {
    const std::string path = pathOf(filename_);
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
    stream.open(pathOf(filename_), std::ios::out | std::ios::trunc);
    return stream.good();
}

}  // namespace qor::pml
