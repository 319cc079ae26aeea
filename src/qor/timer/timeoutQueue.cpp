#include "qor/timer/timeoutQueue.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace qor {

namespace {

using Element = TimeoutQueue::Element;

bool isBefore(const Element& a, const Element& b) noexcept {
    return a.expired != b.expired ? a.expired < b.expired : a.id < b.id;
}

// The sign bit is inverted, so that negative times are less.
unsigned long long timeBits(const Element& element) noexcept {
    return static_cast<unsigned long long>(element.expired.toMicroSeconds()) ^ 1ULL << 63;
}

unsigned long long idBits(const Element& element) noexcept {
    return element.id.get();
}

// Radix sort by the bits of a key, stable: byte by byte from the lowest one. Bytes that are the
// same in all keys are skipped.
template <class Key>
void sortByBytes(std::vector<Element>& elements, std::vector<Element>& scratch, Key key) noexcept {
    unsigned long long differing = 0;
    for (const Element& element : elements)
        differing |= key(element) ^ key(elements.front());
    for (unsigned shift = 0; shift < 64; shift += 8) {
        if ((differing >> shift & 0xff) == 0) continue;
        ulong32 counts[256] = {};
        for (const Element& element : elements)
            ++counts[key(element) >> shift & 0xff];
        ulong32 place = 0;
        for (ulong32& count : counts)
            place += std::exchange(count, place);
        for (const Element& element : elements)
            scratch[counts[key(element) >> shift & 0xff]++] = element;
        std::copy_n(scratch.begin(), elements.size(), elements.begin());
    }
}

void sortDue(std::vector<Element>& due, std::vector<Element>& scratch) noexcept {
    constexpr std::size_t kFew = 64;
    if (due.size() <= kFew) return std::sort(due.begin(), due.end(), isBefore);
    sortByBytes(due, scratch, idBits);
    sortByBytes(due, scratch, timeBits);
}

}  // namespace

TimeoutQueue::TimeoutQueue(const std::vector<TimerSlot>& slots, const Time& start)
    : slots_(slots.data()),
      count_(static_cast<ulong32>(slots.size())),
      start_(start),
      links_(slots.size() + kLevels * kBuckets),
      scratch_(slots.size()) {
    for (ulong32 end = endOf(0, 0); end < links_.size(); ++end)
        links_[end] = {end, end};
    due_.reserve(slots.size());
}

bool TimeoutQueue::hasWork(const Time& now) const noexcept {
    unsigned level, bucket;
    Unit first;
    return findFirst(level, bucket, first) && first <= unitOf(now);
}

const std::vector<Element>& TimeoutQueue::takeDue(const Time& now) noexcept {
    due_.clear();
    const Unit present = unitOf(now);
    unsigned level, bucket;
    for (Unit first; findFirst(level, bucket, first) && first <= present;) {
        hand_ = first;
        if (level != 0) {
            moveDown(level, bucket);
            continue;
        }
        takeBucket(bucket, now);
        if (first == present) break;
    }
    hand_ = present;
    size_ -= static_cast<ulong32>(due_.size());
    sortDue(due_, scratch_);
    return due_;
}

std::vector<TimeoutBlock> TimeoutQueue::sorted() const {
    std::vector<TimeoutBlock> elements;
    for (ulong32 i = 0; i < count_; ++i) {
        const TimerSlot& slot = slots_[i];
        if (links_[i].next != kNowhere)
            elements.push_back({slot.m_expiredTime, slot.m_nTimerID, &slot});
    }
    std::sort(elements.begin(), elements.end());
    return elements;
}

// The first bucket that is not empty, and the unit of time at which it begins.
bool TimeoutQueue::findFirst(unsigned& level, unsigned& bucket, Unit& unit) const noexcept {
    if (levels_ == 0) return false;
    level = static_cast<unsigned>(std::countr_zero(levels_));
    bucket = static_cast<unsigned>(std::countr_zero(occupied_[level]));
    const unsigned shift = level * kDigitBits;
    const Unit above = hand_ >> shift >> kDigitBits;
    unit = (above << kDigitBits | bucket) << shift;
    return true;
}

// Empties a bucket. Returns the first of its links, which still lead to the bucket's end.
ulong32 TimeoutQueue::detach(unsigned level, unsigned bucket) noexcept {
    occupied_[level] &= ~(1ULL << bucket);
    if (occupied_[level] == 0) levels_ &= ~(1U << level);
    const ulong32 end = endOf(level, bucket);
    links_[end].previous = end;
    return std::exchange(links_[end].next, end);
}

void TimeoutQueue::moveDown(unsigned level, unsigned bucket) noexcept {
    const ulong32 end = endOf(level, bucket);
    for (ulong32 i = detach(level, bucket); i != end;) {
        const ulong32 next = links_[i].next;
        insert(i, unitOf(slots_[i].m_expiredTime));
        i = next;
    }
}

// Timers of the present unit that are not due yet stay in the bucket.
void TimeoutQueue::takeBucket(unsigned bucket, const Time& now) noexcept {
    const ulong32 end = endOf(0, bucket);
    for (ulong32 i = detach(0, bucket); i != end;) {
        const TimerSlot& slot = slots_[i];
        const ulong32 next = std::exchange(links_[i].next, kNowhere);
        if (slot.m_expiredTime <= now) {
            due_.push_back({slot.m_expiredTime, slot.m_nTimerID});
        } else {
            insert(i, hand_);
        }
        i = next;
    }
}

}  // namespace qor
