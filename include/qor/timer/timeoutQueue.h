#ifndef QOR_TIMER_TIMEOUTQUEUE_H
#define QOR_TIMER_TIMEOUTQUEUE_H

#include <vector>

#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/timer/timerObject.h"

namespace qor {

// The timers that wait for their time, at most one for each slot. put and erase take constant time,
// takeDue a time that grows with what is due and not with what waits. All memory is allocated by
// the constructor.
//
// It is a wheel of units of 8.192 ms. The unit of a timer is a number of nine digits of six bits,
// and so is the hand, which is the unit that time has come to. A timer is in the bucket of the
// highest digit in which its unit differs from the hand: the level is the place of that digit, the
// bucket its value. So the first bucket that is not empty, of the lowest such level, has the
// timers that are due first. When the hand comes to a bucket of a level above the lowest, its
// timers move down. The order within a bucket is of no matter: what is due is sorted.
class TimeoutQueue : noncopyable {
public:
    struct Element {
        Time expired;
        TimerId id;
    };

    // No time that is put counts as before `start`, which is the time of the hand.
    TimeoutQueue(ulong32 slots, const Time& start);

    bool empty() const noexcept { return size_ == 0; }
    ulong32 size() const noexcept { return size_; }
    // In place of the element of the id's slot, if there is one.
    void put(const TimerId& id, const Time& expired) noexcept;
    void eraseSlot(ulong32 index) noexcept;
    void prefetch(ulong32 index) const noexcept {
        const Node& node = nodes_[index];
        if (node.next == kNowhere) return;
        __builtin_prefetch(&nodes_[node.next], 1);
        __builtin_prefetch(&nodes_[node.previous], 1);
    }
    // False if takeDue(now) would find nothing to do.
    bool hasWork(const Time& now) const noexcept;
    // Takes out what is due at `now`, in the order of time, and of the packed id at the same time.
    // Valid until the next call.
    const std::vector<Element>& takeDue(const Time& now) noexcept;
    // What waits, in no order.
    std::vector<Element> elements() const;

private:
    using Unit = unsigned long long;

    static constexpr ulong32 kNowhere = npos32;
    static constexpr unsigned kUnitBits = 13;
    static constexpr unsigned kDigitBits = 6;
    static constexpr unsigned kBuckets = 1U << kDigitBits;
    static constexpr unsigned kLevels = 9;

    // A link of the ring of a bucket. Behind the nodes of the slots there is one for each bucket,
    // which is its end.
    struct Node {
        Time expired;
        ulong32 generation = 0;
        ulong32 previous = kNowhere;
        ulong32 next = kNowhere;  // nowhere for a slot that does not wait
    };

    Unit unitOf(const Time& time) const noexcept;
    bool findFirst(unsigned& level, unsigned& bucket, Unit& unit) const noexcept;
    void link(ulong32 index, Unit unit) noexcept;
    void unlink(const Node& node) noexcept;
    ulong32 detach(unsigned level, unsigned bucket) noexcept;
    void moveDown(unsigned level, unsigned bucket) noexcept;
    void takeBucket(unsigned bucket, const Time& now) noexcept;

    const ulong32 slots_;
    const Time start_;
    Unit hand_ = 0;
    ulong32 size_ = 0;
    std::vector<Node> nodes_;
    unsigned levels_ = 0;  // those that are not empty
    unsigned long long occupied_[kLevels] = {};
    std::vector<Element> due_;      // room for all
    std::vector<Element> scratch_;  // as large as all
};

}  // namespace qor

#endif  // QOR_TIMER_TIMEOUTQUEUE_H
