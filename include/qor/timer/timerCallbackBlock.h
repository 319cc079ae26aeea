#ifndef QOR_TIMER_TIMERCALLBACKBLOCK_H
#define QOR_TIMER_TIMERCALLBACKBLOCK_H

#include "qor/api.h"
#include "qor/timer/timerQueue.h"

namespace qor {

// A callback of a timer as an event, for code that delivers it elsewhere, as in an event loop. The
// block is not owned.
class QOR_API TimerCallbackBlock {
public:
    enum EventType { FIRED = 0, RELEASED = 1 };

    TimerCallbackBlock(int eventType, const TimerBlock* block) noexcept
        : eventType_(eventType), block_(block) {}

    // Calls the object, but not while the process is ending. True if the timer may continue, which
    // is so for FIRED. An unknown type is logged.
    bool exec() const;

private:
    int eventType_;
    const TimerBlock* block_;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERCALLBACKBLOCK_H
