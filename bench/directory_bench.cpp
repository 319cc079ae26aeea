#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "qor/util/directory.h"
#include "qor/util/file.h"

// Each benchmark compares the library with its usual alternatives. The part of a name after the
// underscore is qor or the alternative.

namespace {

namespace fs = std::filesystem;

// 100 directories with 100 files each. The destructor removes them.
class Files {
public:
    static const Files& instance() {
        static const Files files;
        return files;
    }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;
    ~Files() { fs::remove_all(path_); }

    const std::string& path() const { return path_; }
    std::wstring wide() const { return {path_.begin(), path_.end()}; }
    static constexpr long count = 100 * 100;

private:
    Files() : path_(fs::temp_directory_path() / "qor_bench.XXXXXX") {
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary directory");
        for (int i = 0; i < 100; ++i) {
            const std::string directory = path_ + "/directory_" + std::to_string(i);
            fs::create_directory(directory);
            for (int j = 0; j < 100; ++j)
                std::ofstream(directory + "/file_" + std::to_string(j) + ".txt") << j;
        }
    }

    std::string path_;
};

void DirectorySnapshot_qor(benchmark::State& state) {
    const std::wstring path = Files::instance().wide();
    for (auto _ : state) {
        const qor::Directory directory(path);
        benchmark::DoNotOptimize(directory.totalSize());
    }
    state.SetItemsProcessed(state.iterations() * Files::count);
}
BENCHMARK(DirectorySnapshot_qor)->Unit(benchmark::kMillisecond);

// The same system calls, but only the total size is kept.
long long sumOf(int fd) {
    DIR* const stream = ::fdopendir(fd);
    long long sum = 0;
    while (const dirent* const entry = ::readdir(stream)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (entry->d_type == DT_DIR) {
            sum += sumOf(::openat(fd, entry->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        } else {
            struct stat status;
            if (::fstatat(fd, entry->d_name, &status, 0) == 0) sum += status.st_size;
        }
    }
    ::closedir(stream);
    return sum;
}

void DirectorySnapshot_readdir(benchmark::State& state) {
    const std::string& path = Files::instance().path();
    for (auto _ : state)
        benchmark::DoNotOptimize(sumOf(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    state.SetItemsProcessed(state.iterations() * Files::count);
}
BENCHMARK(DirectorySnapshot_readdir)->Unit(benchmark::kMillisecond);

// A list of paths and sizes, with the standard library.
void DirectorySnapshot_filesystem(benchmark::State& state) {
    const fs::path path = Files::instance().path();
    for (auto _ : state) {
        std::vector<std::pair<std::wstring, long long>> items;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
            const bool isFile = !entry.is_directory();
            items.emplace_back(entry.path().lexically_relative(path).wstring(),
                               isFile ? static_cast<long long>(entry.file_size()) : -1);
        }
        benchmark::DoNotOptimize(items.data());
    }
    state.SetItemsProcessed(state.iterations() * Files::count);
}
BENCHMARK(DirectorySnapshot_filesystem)->Unit(benchmark::kMillisecond);

constexpr int kLines = 20000;

// Lines of 60 characters each.
std::wstring linesFile() {
    const std::wstring name = Files::instance().wide() + L"\\lines.txt";
    qor::FileWriter file(name, true);
    const std::string line(60, 'x');
    for (int i = 0; i < kLines; ++i)
        file.writeLine(line, "\n");
    return name;
}

void ReadLines_qor(benchmark::State& state) {
    const qor::FileReader file(linesFile());
    for (auto _ : state) {
        file.rewind(0);
        long lines = 0;
        for (qor::String line; file.readLine(line);)
            ++lines;
        benchmark::DoNotOptimize(lines);
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(ReadLines_qor)->Unit(benchmark::kMillisecond);

void ReadLines_ifstream(benchmark::State& state) {
    const std::wstring name = linesFile();
    std::ifstream file(Files::instance().path() + "/lines.txt", std::ios::binary);
    for (auto _ : state) {
        file.clear();
        file.seekg(0);
        long lines = 0;
        for (std::string line; std::getline(file, line);)
            ++lines;
        benchmark::DoNotOptimize(lines);
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(ReadLines_ifstream)->Unit(benchmark::kMillisecond);

}  // namespace
