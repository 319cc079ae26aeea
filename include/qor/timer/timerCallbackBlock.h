#ifndef QOR_TIMER_TIMERCALLBACKBLOCK_H
#define QOR_TIMER_TIMERCALLBACKBLOCK_H

#include "qor/api.h"
#include "qor/timer/timerQueue.h"

namespace qor {

// A callback of a timer as an event, for code that delivers callbacks itself, such as an event
// loop. The TimerBlock is not owned and must outlive this object.
class QOR_API TimerCallbackBlock {
public:
    enum EventType { FIRED = 0, RELEASED = 1 };

    TimerCallbackBlock(int eventType, const TimerBlock* block) noexcept
        : eventType_(eventType), block_(block) {}

    // Calls the object, except after System::close(). Returns whether the timer may continue: true
    // for FIRED only. An unknown type is logged.
    bool exec() const;

private:
    int eventType_;
    const TimerBlock* block_;
};

}  // namespace qor

#endif  // QOR_TIMER_TIMERCALLBACKBLOCK_H
