#include "support/temp_dir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "qor/base/base_type_convert.h"

namespace support {

namespace fs = std::filesystem;

TempDir::TempDir() : path_(fs::temp_directory_path() / "qor.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
}

TempDir::~TempDir() {
    // What lies in a directory is moved up before the directory goes: no path gets longer than
    // that.
    std::error_code ignored;
    unsigned long moved = 0;
    while (!fs::is_empty(path_, ignored) && !ignored) {
        for (const fs::directory_entry& entry : fs::directory_iterator(path_)) {
            if (fs::is_directory(entry.symlink_status())) {
                for (const fs::directory_entry& inner : fs::directory_iterator(entry.path()))
                    fs::rename(inner.path(), path(".moved." + std::to_string(moved++)));
            }
            fs::remove(entry.path());
        }
    }
    fs::remove(path_, ignored);
}

std::wstring TempDir::file(std::string_view name, std::string_view content) const {
    const std::string full = path(name);
    std::ofstream(full, std::ios::binary) << content;
    return qor::toWstring(qor::utf8(full));
}

unsigned openDescriptors() {
    // Less the one that reads the list.
    const fs::directory_iterator list("/proc/self/fd");
    return static_cast<unsigned>(std::distance(fs::begin(list), fs::end(list))) - 1;
}

}  // namespace support
