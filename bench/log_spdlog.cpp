#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <utility>

#include "log_bench.h"

namespace {

// The pattern gives the same head of a line as qor.
std::shared_ptr<spdlog::logger> prepared(std::shared_ptr<spdlog::logger> logger) {
    logger->set_pattern("[%Y-%m-%d %H:%M:%S.%e][P:%P/T:%t][%l][l:0 f]%v\r");
    logger->flush_on(spdlog::level::trace);
    return logger;
}

void measure(benchmark::State& state, spdlog::logger& logger) {
    for (auto _ : state) {
        logger.info(log_bench::text);
    }
}

void LogLine_spdlog_basic(benchmark::State& state) {
    static const auto logger =
        prepared(spdlog::basic_logger_mt("basic", log_bench::fileName("basic.log")));
    measure(state, *logger);
}

void LogLine_spdlog_rotating(benchmark::State& state) {
    static const auto logger = prepared(
        spdlog::rotating_logger_mt("rotating", log_bench::fileName("rotating.log"), 0x500000, 1));
    measure(state, *logger);
}

LOG_BENCHMARK(LogLine_spdlog_basic);
LOG_BENCHMARK(LogLine_spdlog_rotating);

}  // namespace
