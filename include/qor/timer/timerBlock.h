#ifndef QOR_TIMER_TIMERBLOCK_H
#define QOR_TIMER_TIMERBLOCK_H

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/timer/timerObject.h"

namespace qor {

class dumper;

// A slot of the queue: a timer, or none.
struct QOR_API TimerBlock {
    enum Status { IDLE = 0, BUSY = 1, PAUSED = 2 };

    // The text for the log: "(generation, index)(name, interval, times)".
    String text() const;
    // Call the object, if there is one. An exception from it is logged as a block.
    OnTimerResult onTimer() const;
    void onTimerRelease() const;
    dumper& dump(dumper& d) const;

    String name_;
    TimerId m_nTimerID;       // of the present timer, or the last one
    ulong32 m_statusPos = 0;  // index of the slot among the busy or the idle ones
    Time m_expiredTime;       // the next firing
    Time m_nInterval;
    ulong32 m_unTimes = 1;  // firings left, 0: no end
    ITimerObject* m_pCallBackTimerObject = nullptr;
    ulong32 m_nUserTimerID = 0;
    void* m_pParam = nullptr;
    Status m_status = IDLE;   // PAUSED while the last firing's callback runs
    bool releasing_ = false;  // true while its onTimerRelease runs
    bool killed_ = false;     // release it when its onTimer returns
};

// A timer that waits for its time. Ordered by time, then by packed id.
struct QOR_API TimeoutBlock {
    bool operator<(const TimeoutBlock& other) const noexcept {
        if (m_expiredTime != other.m_expiredTime) return m_expiredTime < other.m_expiredTime;
        return m_nTimerID < other.m_nTimerID;
    }
    dumper& dump(dumper& d) const;

    Time m_expiredTime;
    TimerId m_nTimerID;
    const TimerBlock* m_tb = nullptr;
};

// An element of the slots. Its alignment gives it its own cache lines.
struct alignas(64) TimerSlot : TimerBlock {};

}  // namespace qor

#endif  // QOR_TIMER_TIMERBLOCK_H
