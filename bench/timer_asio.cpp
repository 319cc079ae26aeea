// clang-format off: the following headers need this one
#include <utility>
// clang-format on

#include <boost/asio.hpp>
#include <chrono>
#include <deque>

#include "timer_bench.h"

namespace {

class Asio {
public:
    explicit Asio(std::size_t n) {
        for (std::size_t i = 0; i < n; ++i)
            timers_.emplace_back(context_);
    }
    void set(std::size_t i, unsigned milliseconds) {
        timers_[i].expires_after(std::chrono::milliseconds(milliseconds));
        timers_[i].async_wait([this](const boost::system::error_code& error) {
            if (!error) ++fired_;
        });
    }
    // The handler of a cancelled timer is called too, which is part of the cost.
    void kill(std::size_t i) {
        timers_[i].cancel();
        context_.poll();
        context_.restart();
    }
    void expire() {
        context_.poll();
        context_.restart();
    }
    std::size_t fired() const { return fired_; }

private:
    boost::asio::io_context context_;
    std::deque<boost::asio::steady_timer> timers_;
    std::size_t fired_ = 0;
};

TIMER_BENCHMARKS(Asio, "asio");

}  // namespace
