#include "ping/statistics.h"

#include <algorithm>
#include <cstdio>

namespace tools {

void PingStatistics::received(double milliseconds) noexcept {
    least_ = received_ == 0 ? milliseconds : std::min(least_, milliseconds);
    most_ = std::max(most_, milliseconds);
    sum_ += milliseconds;
    ++received_;
}

std::string PingStatistics::text() const {
    const unsigned long lost = sent_ - received_;
    char line[160];
    std::snprintf(line, sizeof line, "%lu sent, %lu received, %lu%% lost\n", sent_, received_,
                  sent_ == 0 ? 0 : 100 * lost / sent_);
    std::string result = line;
    if (received_ == 0) return result;
    std::snprintf(line, sizeof line, "round trip: least %.3f ms, mean %.3f ms, longest %.3f ms\n",
                  least_, sum_ / static_cast<double>(received_), most_);
    return result + line;
}

}  // namespace tools
