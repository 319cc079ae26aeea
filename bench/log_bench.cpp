// The cost of a line in a log file. When the call returns, the system has the line.

#include "log_bench.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "nuv_flat_log.h"

namespace log_bench {

std::string fileName(const char* name) {
    // Never destroyed, since it is used when the program ends.
    static std::string& directory =
        *new std::string(std::filesystem::temp_directory_path() / "qor_log_bench.XXXXXX");
    static const bool isMade = [] {
        std::atexit([] { std::filesystem::remove_all(directory); });
        return mkdtemp(directory.data()) != nullptr;
    }();
    if (!isMade) std::abort();
    return directory + "/" + name;
}

}  // namespace log_bench

namespace {

void LogLine_qor(benchmark::State& state) {
    nuv_flat_log_base* const log = nuv_flat_log_get(log_bench::fileName("qor.log").c_str());
    for (auto _ : state) {
        log->log("", "f", "l", 0, NUV_LOG_INFO, "%s", log_bench::text);
    }
    if (state.thread_index() == 0) nuv_flat_log_release(log);
}
LOG_BENCHMARK(LogLine_qor);

// The system call alone.
void LogLine_write(benchmark::State& state) {
    static const std::string line(sizeof log_bench::text - 1 + 54, 'x');
    const int file =
        open(log_bench::fileName("write.log").c_str(), O_CREAT | O_RDWR | O_APPEND, 0666);
    for (auto _ : state) {
        if (write(file, line.data(), line.size()) < 0) state.SkipWithError("write");
    }
    close(file);
}
LOG_BENCHMARK(LogLine_write);

}  // namespace
