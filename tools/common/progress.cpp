#include "common/progress.h"

#include <algorithm>
#include <cstdio>

#include "common/output.h"

namespace tools {

namespace {

constexpr unsigned kColumns = 40;

}  // namespace

std::string Progress::bar(std::uint64_t done, std::uint64_t total, unsigned columns) {
    const double part =
        total == 0 ? 1 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const auto full = static_cast<unsigned>(part * columns);
    char percent[16];
    std::snprintf(percent, sizeof percent, "%4d%%", static_cast<int>(part * 100));
    return '[' + std::string(full, '#') + std::string(columns - full, '.') + ']' + percent;
}

void Progress::show(std::uint64_t done) {
    if (descriptor_ < 0) return;
    std::string text = bar(done, total_, kColumns);
    if (text == shown_) return;
    static_cast<void>(writeAll(descriptor_, "\r" + text));
    shown_ = std::move(text);
}

void Progress::erase() {
    if (shown_.empty()) return;
    static_cast<void>(writeAll(descriptor_, "\r\x1b[K"));
    shown_.clear();
}

}  // namespace tools
