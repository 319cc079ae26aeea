#ifndef QOR_TIMER_TIMEOUTQUEUE_H
#define QOR_TIMER_TIMEOUTQUEUE_H

#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/timer/timerBlock.h"

namespace qor {

// The waiting timers, at most one for each slot. Internal: use TimerManager. put and erase take
// constant time; that of takeDue depends on the number of due timers, and of those that it moves:
// each timer moves at most eight times. The constructor allocates all memory.
//
// A hierarchical timing wheel with a resolution of 8.192 ms. The time of a timer, in these units,
// is a number of nine digits of six bits, and so is the current time, the hand. The highest digit
// in which the two differ selects the timer's bucket: the level is the position of that digit, the
// bucket its value. So the first non-empty bucket of the lowest non-empty level has the timers that
// are due first. When the hand reaches a bucket of a higher level, its timers move to lower levels.
// The order within a bucket does not matter: due timers are sorted.
class TimeoutQueue : noncopyable {
public:
    struct Element {
        Time expired;
        TimerId id;
    };

    // The slots must outlive the queue. The hand begins at `start`; earlier times count as `start`.
    TimeoutQueue(const std::vector<TimerSlot>& slots, const Time& start);

    bool empty() const noexcept { return size_ == 0; }
    ulong32 size() const noexcept { return size_; }
    // Makes a slot wait for its m_expiredTime, which must not change until the slot is put again,
    // fires or is erased.
    void put(ulong32 index) noexcept;
    void erase(ulong32 index) noexcept;
    // False if takeDue(now) would find nothing to do.
    bool hasWork(const Time& now) const noexcept;
    // Removes and returns the timers that are due at `now`, ordered by time, and by packed id at
    // the same time. Valid until the next call.
    const std::vector<Element>& takeDue(const Time& now) noexcept;
    // All waiting timers, in the same order.
    std::vector<TimeoutBlock> sorted() const;

private:
    using Unit = unsigned long long;

    static constexpr ulong32 kNowhere = npos32;
    static constexpr unsigned kUnitBits = 13;
    static constexpr unsigned kDigitBits = 6;
    static constexpr unsigned kBuckets = 1U << kDigitBits;
    static constexpr unsigned kLevels = 9;

    // A member of the ring of a bucket. links_ has one for each slot, then one for each bucket,
    // which is the ring's end.
    struct Link {
        ulong32 previous = kNowhere;
        ulong32 next = kNowhere;  // kNowhere if the slot does not wait
    };

    ulong32 endOf(unsigned level, unsigned bucket) const noexcept;
    Unit unitOf(const Time& time) const noexcept;
    bool findFirst(unsigned& level, unsigned& bucket, Unit& unit) const noexcept;
    void insert(ulong32 index, Unit unit) noexcept;
    void unlink(const Link& link) noexcept;
    ulong32 detach(unsigned level, unsigned bucket) noexcept;
    void moveDown(unsigned level, unsigned bucket) noexcept;
    void takeBucket(unsigned bucket, const Time& now) noexcept;

    const TimerSlot* const slots_;
    const ulong32 count_;
    const Time start_;
    Unit hand_ = 0;
    ulong32 size_ = 0;
    std::vector<Link> links_;
    unsigned levels_ = 0;  // a bit for each level that is not empty
    unsigned long long occupied_[kLevels] = {};
    std::vector<Element> due_;      // room for all
    std::vector<Element> scratch_;  // as large as all
};

inline void TimeoutQueue::put(ulong32 index) noexcept {
    const Link& link = links_[index];
    if (link.next != kNowhere) {
        unlink(link);
    } else {
        ++size_;
    }
    insert(index, unitOf(slots_[index].m_expiredTime));
}

inline void TimeoutQueue::erase(ulong32 index) noexcept {
    Link& link = links_[index];
    if (link.next == kNowhere) return;
    unlink(link);
    link.next = kNowhere;
    --size_;
}

inline ulong32 TimeoutQueue::endOf(unsigned level, unsigned bucket) const noexcept {
    return count_ + level * kBuckets + bucket;
}

// The hand for a time before the hand.
inline TimeoutQueue::Unit TimeoutQueue::unitOf(const Time& time) const noexcept {
    if (time <= start_) return hand_;
    const auto passed = static_cast<Unit>((time - start_).toMicroSeconds());
    return std::max(passed >> kUnitBits, hand_);
}

inline void TimeoutQueue::insert(ulong32 index, Unit unit) noexcept {
    const auto highest = static_cast<unsigned>(std::bit_width((unit ^ hand_) | 1)) - 1;
    const unsigned level = highest / kDigitBits;
    const auto bucket = static_cast<unsigned>(unit >> level * kDigitBits) % kBuckets;
    levels_ |= 1U << level;
    occupied_[level] |= 1ULL << bucket;
    const ulong32 end = endOf(level, bucket);
    const ulong32 next = std::exchange(links_[end].next, index);
    links_[next].previous = index;
    links_[index] = {end, next};
}

inline void TimeoutQueue::unlink(const Link& link) noexcept {
    links_[link.previous].next = link.next;
    links_[link.next].previous = link.previous;
    if (link.previous != link.next) return;
    // The bucket is now empty: both neighbours were its end.
    const ulong32 bucket = link.next - endOf(0, 0);
    detach(bucket / kBuckets, bucket % kBuckets);
}

}  // namespace qor

#endif  // QOR_TIMER_TIMEOUTQUEUE_H
