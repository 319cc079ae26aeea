#ifndef QOR_TIMER_TIMEROBJECT_H
#define QOR_TIMER_TIMEROBJECT_H

#include <compare>
#include <functional>

#include "qor/api.h"
#include "qor/base/base_type.h"
#include "qor/base/base_type_time.h"

namespace qor {

class dumper;

// Identifies a timer: the index of its slot, and the slot's generation, which counts the timers
// that the slot has had, also in earlier queues of the TimerManager. So an id never identifies a
// later timer of the same slot. See docs/timers.md.
//
// The packed form has 32 bits, 15 of them for the generation. So packed ids work for the first
// 32768 timers of each slot only: later ones identify no timer, or one that ended long ago, and
// operations on them are refused. Comparisons are those of the packed form.
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

// How a timer continues after it has fired: by default as before. If `interval` is not 0, the timer
// gets this interval and `times` further firings (0: no end).
struct OnTimerResult {
    OnTimerResult() noexcept = default;
    OnTimerResult(const Time& newInterval, unsigned long newTimes) noexcept
        : interval(newInterval), times(static_cast<ulong32>(newTimes)) {}

    Time interval;
    ulong32 times = 0;
};

// The callback of timers. It is not owned: it must exist until its onTimerRelease, and may be
// deleted in that call. An object may be used for many timers, which `userTimerId` and `param`
// distinguish.
//
// Exceptions from onTimer and onTimerRelease are written to the log as a block; after one from
// onTimer the timer continues as with a default result.
class QOR_API ITimerObject {
public:
    ITimerObject() = default;
    ITimerObject(const ITimerObject&) = default;
    ITimerObject& operator=(const ITimerObject&) = default;
    virtual ~ITimerObject();

    // The timer has fired.
    virtual OnTimerResult onTimer(TimerId id, unsigned long userTimerId, void* param) = 0;
    // The timer has ended: onTimer will not be called with this id, and is not running on another
    // thread.
    virtual void onTimerRelease(TimerId id, unsigned long userTimerId, void* param) = 0;
    // A dump of all timers calls it with the timers locked: it must not use timers.
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
