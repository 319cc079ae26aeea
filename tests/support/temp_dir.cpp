#include "support/temp_dir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "qor/base/base_type_convert.h"

namespace support {

namespace fs = std::filesystem;

TempDir::TempDir() : path_(fs::temp_directory_path() / "qor.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
}

TempDir::~TempDir() {
    // The entries of a directory are moved up before it is removed, so that no path gets longer.
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

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

static unsigned entriesOf(const char* directory) {
    const fs::directory_iterator list(directory);
    return static_cast<unsigned>(std::distance(fs::begin(list), fs::end(list)));
}

unsigned openDescriptors() {
    return entriesOf("/proc/self/fd") - 1;  // without the one that reads the list
}

unsigned runningThreads() {
    static const bool started = (std::thread([] {}).join(), true);
    static_cast<void>(started);
    return entriesOf("/proc/self/task");
}

}  // namespace support
