#include <event2/event.h>
#include <event2/event_struct.h>
#include <event2/thread.h>

#include "timer_bench.h"

namespace {

event_base* makeBase(bool locked) {
    static const bool threaded = evthread_use_pthreads() == 0;
    event_config* const config = event_config_new();
    if (!locked || !threaded) event_config_set_flag(config, EVENT_BASE_FLAG_NOLOCK);
    event_base* const base = event_base_new_with_config(config);
    event_config_free(config);
    return base;
}

// With or without the locks that are needed by several threads.
template <bool locked>
class Libevent {
public:
    explicit Libevent(std::size_t n) : base_(makeBase(locked)), events_(n) {
        for (event& e : events_)
            evtimer_assign(
                &e, base_,
                [](evutil_socket_t, short, void* count) { ++*static_cast<std::size_t*>(count); },
                &fired_);
    }
    ~Libevent() {
        for (event& e : events_)
            event_del(&e);
        event_base_free(base_);
    }
    void set(std::size_t i, unsigned milliseconds) {
        const timeval time{static_cast<time_t>(milliseconds / 1000),
                           static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
        evtimer_add(&events_[i], &time);
    }
    void kill(std::size_t i) { evtimer_del(&events_[i]); }
    void expire() { event_base_loop(base_, EVLOOP_ONCE | EVLOOP_NONBLOCK); }
    std::size_t fired() const { return fired_; }

private:
    event_base* base_;
    std::vector<event> events_;
    std::size_t fired_ = 0;
};

TIMER_BENCHMARKS(Libevent<true>, "libevent");
TIMER_BENCHMARKS(Libevent<false>, "libevent_unlocked");

}  // namespace
