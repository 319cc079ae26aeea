#include <ace/Event_Handler.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Timer_Heap.h>

#include "timer_bench.h"

namespace {

class Ace {
public:
    explicit Ace(std::size_t n) : ids_(n), heap_(n, true) {}
    void set(std::size_t i, unsigned milliseconds) {
        const ACE_Time_Value interval(static_cast<time_t>(milliseconds / 1000),
                                      static_cast<suseconds_t>(milliseconds % 1000 * 1000));
        ids_[i] = heap_.schedule(&counter_, nullptr, heap_.gettimeofday() + interval);
    }
    void kill(std::size_t i) { heap_.cancel(ids_[i]); }
    void expire() { heap_.expire(); }
    std::size_t fired() const { return counter_.fired; }

private:
    struct Counter : ACE_Event_Handler {
        int handle_timeout(const ACE_Time_Value&, const void*) override { return ++fired, 0; }
        std::size_t fired = 0;
    };

    std::vector<long> ids_;
    Counter counter_;
    ACE_Timer_Heap heap_;
};

TIMER_BENCHMARKS(Ace, "ace");

}  // namespace
