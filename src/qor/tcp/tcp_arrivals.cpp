#include "tcp/tcp_arrivals.h"

#include <ace/SOCK_Stream.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "log/own_log.h"
#include "platform/thread.h"
#include "qor/base/mlcheck.h"

namespace qor {

namespace {

constexpr std::size_t kExpected = 4096;  // waiting clients, for which memory is reserved
constexpr int kDescriptors = 16384;      // costs 130 KiB in the system
constexpr int kWaitMilliseconds = 5000;
// Before the next attempt after a failure, for example if there is no free descriptor.
constexpr long long kPauseMilliseconds = 100;

}  // namespace

// The clients that one pass accepts.
class TcpArrivals::Batch : noncopyable {
public:
    bool full() const noexcept { return size_ == std::size(arrivals_); }
    void add(Arrival arrival) noexcept { arrivals_[size_++] = std::move(arrival); }
    Arrival* begin() noexcept { return arrivals_; }
    Arrival* end() noexcept { return arrivals_ + size_; }

private:
    Arrival arrivals_[64];
    std::size_t size_ = 0;
};

class TcpArrivals::Taker : public SimpleThread {
public:
    Taker(TcpArrivals& arrivals, const String& name)
        : SimpleThread(nullptr, name.c_str()), arrivals_(arrivals) {}

protected:
    bool onBirth() override;
    bool onLoop() override;

private:
    bool acceptSome(Batch& accepted);

    TcpArrivals& arrivals_;
};

TcpArrivals::TcpArrivals(const String& name, ACE_SOCK_Acceptor& listener) : listener_(listener) {
    for (Handle<SimpleThread>& taker : takers_)
        taker = Handle<SimpleThread>(
            checkedNew<Taker>(__FILE__, __LINE__, "qor::TcpArrivals::TcpArrivals", *this, name));
    waiting_.resize(kExpected);  // touches the memory
    waiting_.clear();
}

void TcpArrivals::start() {
    for (const Handle<SimpleThread>& taker : takers_)
        taker->startAndWait();
}

void TcpArrivals::stop() {
    for (const Handle<SimpleThread>& taker : takers_)
        if (taker->started()) taker->stop();
}

bool TcpArrivals::take(Arrival& next, const Time& timeout) {
    const Monitor::Lock lock(arrived_);
    if (waiting_.empty() && !ended_) arrived_.wait(timeout);
    if (waiting_.empty()) return false;
    next = std::move(waiting_[next_++]);
    if (next_ == waiting_.size()) {
        waiting_.clear();
        next_ = 0;
    }
    return true;
}

void TcpArrivals::end() noexcept {
    const Monitor::Lock lock(arrived_);
    waiting_.clear();
    next_ = 0;
    ended_ = true;
    arrived_.notify();
}

void TcpArrivals::put(Batch& accepted) {
    const Monitor::Lock lock(arrived_);
    if (ended_) return;
    const auto count = static_cast<std::size_t>(accepted.end() - accepted.begin());
    if (waiting_.size() + count > waiting_.capacity()) {
        waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(next_));
        next_ = 0;
    }
    std::move(accepted.begin(), accepted.end(), std::back_inserter(waiting_));
    arrived_.notify();
}

bool TcpArrivals::Taker::onBirth() {
    platform::makeRoomForDescriptors(arrivals_.listener_.get_handle(), kDescriptors);
    platform::runPromptly();
    return true;
}

bool TcpArrivals::Taker::onLoop() {
    const int ready = platform::waitReadable(arrivals_.listener_.get_handle(), kWaitMilliseconds);
    const int error = errno;
    if (ready == 0) return true;
    Batch accepted;
    bool going = false;
    if (ready == -1) {
        accepted.add(Arrival(Arrival::WaitFailed, error));
    } else {
        going = acceptSome(accepted);
    }
    own_log::guarded(own_log::network, "qor::TcpArrivals::Taker::onLoop", true,
                     [&] { return arrivals_.put(accepted), true; });
    if (ready == 1 && !going) wait(Time::milliSeconds(kTakers * kPauseMilliseconds));
    return ready == 1;
}

// Returns false after a failure that would also occur at the next attempt.
bool TcpArrivals::Taker::acceptSome(Batch& accepted) {
    while (living() && !accepted.full()) {
        const int client = platform::acceptClient(arrivals_.listener_.get_handle());
        if (client != -1) {
            accepted.add(Arrival(client));
            continue;
        }
        const int error = errno;
        if (error == EWOULDBLOCK) return true;
        accepted.add(Arrival(Arrival::AcceptFailed, error));
        if (!platform::isOfOneConnection(error)) return false;
    }
    return true;
}

}  // namespace qor
