#ifndef QOR_TIMER_TIMEROBJECT_H
#define QOR_TIMER_TIMEROBJECT_H

#include <compare>
#include <functional>

#include "qor/api.h"
#include "qor/base/base_type.h"
#include "qor/base/base_type_time.h"

namespace qor {

class dumper;

// Names a timer: the slot that it is in, and the slot's generation, which counts the timers that
// the slot has had, also in the queues that its TimerManager had before. So an id never reaches a
// later timer of the same slot. docs/timers.md tells more.
//
// The packed form has 32 bits and keeps 15 of the generation. It gives the timer back while its
// slot's generation is below 32768. Of a later one it gives an id that names no timer, or an early
// one that is long gone, and what is asked of that is refused: who stores packed ids has timers in
// reach for 32768 uses of each slot. Comparisons are those of the packed form.
class QOR_API TimerId {
public:
    static constexpr ulong32 INVALID = 4294967295U;

    constexpr TimerId() noexcept = default;
    // From the packed form.
    constexpr explicit TimerId(unsigned long packed) noexcept
        : generation_(static_cast<ulong32>(packed) >> kIndexBits),
          index_(static_cast<ulong32>(packed) & kIndexMask) {}
    constexpr TimerId(unsigned long generation, unsigned long index) noexcept
        : generation_(static_cast<ulong32>(generation)), index_(static_cast<ulong32>(index)) {}

    constexpr void reset() noexcept { *this = TimerId(); }
    constexpr bool empty() const noexcept { return generation_ == INVALID && index_ == INVALID; }
    constexpr ulong32 generation() const noexcept { return generation_; }
    constexpr ulong32 index() const noexcept { return index_; }
    // The packed form.
    constexpr ulong32 get() const noexcept {
        return generation_ << kIndexBits | (index_ & kIndexMask);
    }

    friend constexpr bool operator==(const TimerId& a, const TimerId& b) noexcept {
        return a.get() == b.get();
    }
    friend constexpr std::strong_ordering operator<=>(const TimerId& a, const TimerId& b) noexcept {
        return a.get() <=> b.get();
    }

    // "(generation, index)".
    dumper& dump(dumper& d) const;

private:
    static constexpr unsigned kIndexBits = 17;
    static constexpr ulong32 kIndexMask = 0x1ffff;

    ulong32 generation_ = INVALID;
    ulong32 index_ = INVALID;
};

// How a timer goes on after it has fired: as before, or, with an interval that is not zero, with
// that interval and so many firings, 0 for without end.
struct OnTimerResult {
    OnTimerResult() noexcept = default;
    OnTimerResult(const Time& newInterval, unsigned long newTimes) noexcept
        : interval(newInterval), times(static_cast<ulong32>(newTimes)) {}

    Time interval;
    ulong32 times = 0;
};

// What a timer calls. It is not owned: it must live until its onTimerRelease, in which it may go.
// One object may serve many timers; the user's id and parameter tell them apart.
//
// What onTimer and onTimerRelease raise is written to the log as a block, and the timer goes on as
// if onTimer had returned a default result.
class QOR_API ITimerObject {
public:
    ITimerObject() = default;
    ITimerObject(const ITimerObject&) = default;
    ITimerObject& operator=(const ITimerObject&) = default;
    virtual ~ITimerObject();

    // The timer has fired.
    virtual OnTimerResult onTimer(TimerId id, unsigned long userTimerId, void* param) = 0;
    // The timer is gone: no onTimer of this id comes any more, and none is under way on another
    // thread.
    virtual void onTimerRelease(TimerId id, unsigned long userTimerId, void* param) = 0;
    // The scope "qor::ITimerObject". A dump of the timers shows it, and holds them meanwhile: it
    // may not ask for timers.
    virtual dumper& dump(dumper& d) const;
};

}  // namespace qor

template <>
struct std::hash<qor::TimerId> {
    std::size_t operator()(const qor::TimerId& id) const noexcept {
        return std::hash<qor::ulong32>()(id.get());
    }
};

#endif  // QOR_TIMER_TIMEROBJECT_H
