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

// Negative times are less.
unsigned long long timeBits(const Element& element) noexcept {
    return static_cast<unsigned long long>(element.expired.toMicroSeconds()) ^ 1ULL << 63;
}

unsigned long long idBits(const Element& element) noexcept {
    return element.id.get();
}

// Sorts by the bits of a key, which keeps the order of equal keys: byte by byte from the lowest
// one, without those that are the same everywhere.
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

TimeoutQueue::TimeoutQueue(ulong32 slots, const Time& start)
    : slots_(slots), start_(start), nodes_(slots + kLevels * kBuckets), scratch_(slots) {
    for (ulong32 end = slots; end < nodes_.size(); ++end)
        nodes_[end].previous = nodes_[end].next = end;
    due_.reserve(slots);
}

void TimeoutQueue::put(const TimerId& id, const Time& expired) noexcept {
    const ulong32 index = id.index();
    Node& node = nodes_[index];
    if (node.next != kNowhere) {
        unlink(node);
    } else {
        ++size_;
    }
    node.expired = expired;
    node.generation = id.generation();
    link(index, unitOf(expired));
}

void TimeoutQueue::eraseSlot(ulong32 index) noexcept {
    Node& node = nodes_[index];
    if (node.next == kNowhere) return;
    unlink(node);
    node.next = kNowhere;
    --size_;
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

std::vector<Element> TimeoutQueue::elements() const {
    std::vector<Element> all;
    for (ulong32 i = 0; i < slots_; ++i) {
        const Node& node = nodes_[i];
        if (node.next != kNowhere) all.push_back({node.expired, TimerId(node.generation, i)});
    }
    return all;
}

// The hand's for an earlier time.
TimeoutQueue::Unit TimeoutQueue::unitOf(const Time& time) const noexcept {
    if (time <= start_) return hand_;
    const auto passed = static_cast<Unit>((time - start_).toMicroSeconds());
    return std::max(passed >> kUnitBits, hand_);
}

// The first bucket that is not empty, and where it begins.
bool TimeoutQueue::findFirst(unsigned& level, unsigned& bucket, Unit& unit) const noexcept {
    if (levels_ == 0) return false;
    level = static_cast<unsigned>(std::countr_zero(levels_));
    bucket = static_cast<unsigned>(std::countr_zero(occupied_[level]));
    const unsigned shift = level * kDigitBits;
    const Unit above = hand_ >> shift >> kDigitBits;
    unit = (above << kDigitBits | bucket) << shift;
    return true;
}

void TimeoutQueue::link(ulong32 index, Unit unit) noexcept {
    const auto highest = static_cast<unsigned>(std::bit_width((unit ^ hand_) | 1)) - 1;
    const unsigned level = highest / kDigitBits;
    const auto bucket = static_cast<unsigned>(unit >> level * kDigitBits) % kBuckets;
    levels_ |= 1U << level;
    occupied_[level] |= 1ULL << bucket;
    const ulong32 end = slots_ + level * kBuckets + bucket;
    const ulong32 next = nodes_[end].next;
    nodes_[index].previous = end;
    nodes_[index].next = next;
    nodes_[end].next = index;
    nodes_[next].previous = index;
}

void TimeoutQueue::unlink(const Node& node) noexcept {
    nodes_[node.previous].next = node.next;
    nodes_[node.next].previous = node.previous;
    if (node.previous != node.next) return;
    // It was the only one: both neighbours are the end of the bucket.
    const ulong32 bucket = node.next - slots_;
    detach(bucket / kBuckets, bucket % kBuckets);
}

// Empties a bucket. The result is the first of its nodes, which still lead to its end.
ulong32 TimeoutQueue::detach(unsigned level, unsigned bucket) noexcept {
    occupied_[level] &= ~(1ULL << bucket);
    if (occupied_[level] == 0) levels_ &= ~(1U << level);
    Node& end = nodes_[slots_ + level * kBuckets + bucket];
    end.previous = slots_ + level * kBuckets + bucket;
    return std::exchange(end.next, end.previous);
}

void TimeoutQueue::moveDown(unsigned level, unsigned bucket) noexcept {
    for (ulong32 i = detach(level, bucket); i < slots_;) {
        const ulong32 next = nodes_[i].next;
        link(i, unitOf(nodes_[i].expired));
        i = next;
    }
}

// What is not due yet, in the bucket of the present unit, stays there.
void TimeoutQueue::takeBucket(unsigned bucket, const Time& now) noexcept {
    for (ulong32 i = detach(0, bucket); i < slots_;) {
        Node& node = nodes_[i];
        const ulong32 next = std::exchange(node.next, kNowhere);
        if (node.expired <= now) {
            due_.push_back({node.expired, TimerId(node.generation, i)});
        } else {
            link(i, hand_);
        }
        i = next;
    }
}

}  // namespace qor
