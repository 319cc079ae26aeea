#ifndef QOR_TOOLS_PING_STATISTICS_H
#define QOR_TOOLS_PING_STATISTICS_H

#include <string>

namespace tools {

// Counts requests and replies.
class PingStatistics {
public:
    void sent() noexcept { ++sent_; }
    void received(double milliseconds) noexcept;

    unsigned long sentCount() const noexcept { return sent_; }
    unsigned long receivedCount() const noexcept { return received_; }
    // "4 sent, 3 received, 25% lost". If there were replies, also the least, the mean and the
    // longest round trip.
    std::string text() const;

private:
    unsigned long sent_ = 0;
    unsigned long received_ = 0;
    double least_ = 0;
    double sum_ = 0;
    double most_ = 0;
};

}  // namespace tools

#endif  // QOR_TOOLS_PING_STATISTICS_H
