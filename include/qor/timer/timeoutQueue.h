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

    // Of these slots, which must outlive the queue. No time counts as before `start`, which is
    // that of the hand.
    TimeoutQueue(const std::vector<TimerSlot>& slots, const Time& start);

    bool empty() const noexcept { return size_ == 0; }
    ulong32 size() const noexcept { return size_; }
    // A slot waits for its m_expiredTime, which may not change before it is put again, fires or is
    // erased.
    void put(ulong32 index) noexcept;
    void erase(ulong32 index) noexcept;
    // False if takeDue(now) would find nothing to do.
    bool hasWork(const Time& now) const noexcept;
    // Takes out what is due at `now`, in the order of time, and of the packed id at the same time.
    // Valid until the next call.
    const std::vector<Element>& takeDue(const Time& now) noexcept;
    // What waits, in the same order.
    std::vector<TimeoutBlock> sorted() const;

private:
    using Unit = unsigned long long;

    static constexpr ulong32 kNowhere = npos32;
    static constexpr unsigned kUnitBits = 13;
    static constexpr unsigned kDigitBits = 6;
    static constexpr unsigned kBuckets = 1U << kDigitBits;
    static constexpr unsigned kLevels = 9;

    // A member of the ring of a bucket. After those of the slots there is one for each bucket,
    // which is its end. They are small, since each call changes some.
    struct Link {
        ulong32 previous = kNowhere;
        ulong32 next = kNowhere;  // nowhere for a slot that does not wait
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
    unsigned levels_ = 0;  // those that are not empty
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

// The hand's for an earlier time.
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
    // It was the only one: both neighbours are the end of the bucket.
    const ulong32 bucket = link.next - endOf(0, 0);
    detach(bucket / kBuckets, bucket % kBuckets);
}

}  // namespace qor

#endif  // QOR_TIMER_TIMEOUTQUEUE_H
