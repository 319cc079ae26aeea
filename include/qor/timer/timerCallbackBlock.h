#ifndef QOR_TIMER_TIMERCALLBACKBLOCK_H
#define QOR_TIMER_TIMERCALLBACKBLOCK_H

#include "qor/api.h"
#include "qor/timer/timerQueue.h"

namespace qor {

// A callback of a timer as an event, for those who deliver it somewhere else. The block is not
// owned.
class QOR_API TimerCallbackBlock {
public:
    enum EventType { FIRED = 0, RELEASED = 1 };

    TimerCallbackBlock(int eventType, const TimerBlock* block) noexcept
        : eventType_(eventType), block_(block) {}

    // Calls the object, unless the process is on its way out: then no callback reaches it. True if
    // the timer may go on: for FIRED. An unknown type is logged.
    bool exec() const;

private:
    int eventType_;
    const TimerBlock* block_;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERCALLBACKBLOCK_H
