#ifndef QOR_EXAMPLES_MESSENGER_CROWD_H
#define QOR_EXAMPLES_MESSENGER_CROWD_H

#include <algorithm>
#include <atomic>
#include <random>
#include <vector>

#include "messenger/client.h"

namespace messenger {

// Visitors that connect and leave. Each has a connection and a heartbeat, and sends a message to
// itself. When the maximum number of visitors is connected, one leaves and another one connects
// shortly after. From time to time the switches of the library's logger are read again.
class Crowd : public qor::SimpleThread {
public:
    Crowd(qor::TcpAddr server, std::size_t places, unsigned long heartbeat, int socketBuffer)
        : SimpleThread(nullptr, "crowd"),
          server_(std::move(server)),
          heartbeat_(heartbeat),
          socketBuffer_(socketBuffer),
          places_(places) {}

    unsigned visits() const { return visits_; }
    // The number of visitors that could not connect, or that did not receive their own message.
    unsigned failures() const { return failures_; }
    // The median time until a visitor received its own message, for all visitors since the last
    // call.
    long long medianMicroseconds() {
        const qor::Guard guard(mutex_);
        if (heard_.empty()) return 0;
        const auto middle = heard_.begin() + static_cast<std::ptrdiff_t>(heard_.size() / 2);
        std::nth_element(heard_.begin(), middle, heard_.end());
        const long long median = *middle;
        heard_.clear();
        return median;
    }

protected:
    bool onLoop() override {
        const std::size_t place = here_ < places_.size() ? here_ : random_() % places_.size();
        if (places_[place]) {
            leave(place);
        } else {
            ++here_;
        }
        come(place);
        if (visits_ % kVisitsToReload == 0) reload();
        wait(qor::Time::milliSeconds(kPauseMs));
        return true;
    }
    void onDeath() override {
        for (std::size_t place = 0; place < places_.size(); ++place)
            leave(place);
    }

private:
    static constexpr unsigned kVisitsToReload = 50;
    static constexpr int kPauseMs = 100;

    void come(std::size_t place) {
        const qor::String name = "visitor" + std::to_string(++visits_);
        auto client = qor::makeHandle<Client>("messenger::Crowd::come", [](const Text&) {});
        places_[place] = client;
        if (!client->open(server_, name, heartbeat_, socketBuffer_)) {
            ++failures_;
            return;
        }
        const qor::Time begin = qor::Time::now(qor::Time::Monotonic);
        if (client->tell(name, "is anybody here?") != Delivery::Delivered) ++failures_;
        const qor::Time passed = qor::Time::now(qor::Time::Monotonic) - begin;
        const qor::Guard guard(mutex_);
        heard_.push_back(passed.toMicroSeconds());
    }
    void leave(std::size_t place) {
        if (places_[place]) places_[place]->close();
        places_[place].reset();
    }
    void reload() {
        debugOn_ = !debugOn_;
        qor::pml::stream switches(debugOn_ ? "switches(debugOn(true))" : "switches(debugOn(false))",
                                  false);
        qor::logger_factory::instance("QOR").codec(switches);
    }

    const qor::TcpAddr server_;
    const unsigned long heartbeat_;
    const int socketBuffer_;
    std::vector<qor::Handle<Client>> places_;
    std::size_t here_ = 0;
    bool debugOn_ = true;
    std::minstd_rand random_;
    std::atomic<unsigned> visits_{0};
    std::atomic<unsigned> failures_{0};
    qor::Mutex mutex_;
    std::vector<long long> heard_;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_CROWD_H
