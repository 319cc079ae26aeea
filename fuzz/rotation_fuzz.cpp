// The rotation of a log with any name, in a directory with files of any names: no line is lost
// while there are fewer files than the maximum, and no other file is changed.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "nuv_flat_log.h"
#include "require.h"

namespace {

namespace fs = std::filesystem;

class Directory {
public:
    Directory() : path_(fs::temp_directory_path() / "qor_rotation_fuzz.XXXXXX") {
        std::string name = path_;
        require(mkdtemp(name.data()) != nullptr);
        path_ = name;
    }
    ~Directory() { fs::remove_all(path_); }
    std::string path(const std::string& name) const { return path_ / name; }
    void clear() const {
        for (const auto& entry : fs::directory_iterator(path_))
            fs::remove_all(entry.path());
    }
    std::set<std::string> names() const {
        std::set<std::string> all;
        for (const auto& entry : fs::directory_iterator(path_))
            all.insert(entry.path().filename());
        return all;
    }

private:
    fs::path path_;
};

const Directory directory;

// The text as a file name: without separators and zeros; empty instead of "." and "..".
std::string nameOf(std::string text) {
    std::erase_if(text, [](char c) { return c == '/' || c == '\\' || c == '\0'; });
    text.resize(std::min<std::size_t>(text.size(), 100));
    return text == "." || text == ".." ? std::string() : text;
}

std::vector<std::string> parts(const unsigned char* data, std::size_t size) {
    std::vector<std::string> all(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') {
            all.emplace_back();
        } else {
            all.back() += static_cast<char>(data[i]);
        }
    }
    return all;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Whether the rotation renames the file: its name is the base name, "_", a number and the
// extension.
bool isOld(const std::string& name, const std::string& log) {
    const std::size_t dot = std::min(log.rfind('.'), log.size());
    const std::string base = log.substr(0, dot) + "_", extension = log.substr(dot);
    if (name.size() <= base.size() + extension.size() || !name.starts_with(base) ||
        !name.ends_with(extension))
        return false;
    const std::string number =
        name.substr(base.size(), name.size() - base.size() - extension.size());
    return std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

// The first line of the input is the name of the log; further lines are the names of existing
// files.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    directory.clear();
    const std::vector<std::string> lines = parts(data, std::min<std::size_t>(size, 1000));
    const std::string log = nameOf(lines[0]);
    if (log.empty()) return 0;
    std::set<std::string> foreign;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::string name = nameOf(lines[i]);
        if (name.empty() || name == log || name == "MyLog.log") continue;
        std::ofstream(directory.path(name), std::ios::binary) << name;
        if (!isOld(name, log)) foreign.insert(name);
    }
    nuv_flat_log_base* const to = nuv_flat_log_get(directory.path(log).c_str());
    if (to == nullptr) return 0;
    constexpr int kLines = 40, kFiles = 50;
    to->max_file_size(1);
    to->max_file_count(kFiles);
    const std::string filling(200, 'x');
    for (int i = 0; i < kLines; ++i)
        to->log("", "f", "l", i, NUV_LOG_INFO, "<%d>%s", i, filling.c_str());
    nuv_flat_log_release(to);

    std::string all;
    for (const std::string& name : directory.names())
        all += contentOf(directory.path(name));
    for (int i = 0; i < kLines; ++i) {
        const std::string mark = "<" + std::to_string(i) + ">" + filling;
        const std::size_t at = all.find(mark);
        require(at != std::string::npos && all.find(mark, at + 1) == std::string::npos);
    }
    for (const std::string& name : foreign)
        require(contentOf(directory.path(name)) == name);
    return 0;
}
