#include <algorithm>
#include <memory>
#include <new>

#include "json/tree_end.h"
#include "json/tree_memory.h"
#include "qor/json/json_unit.h"

namespace qor::json {

namespace {

using Pair = JsonObject::value_type;

constexpr const char* kGet = "qor::json::JsonObject::get";

// A capacity for one more.
ulong32 nextCapacity(ulong32 capacity) {
    constexpr ulong32 kLeast = 4;
    if (capacity > npos32 / 2) throw std::bad_alloc();
    return std::max(kLeast, capacity * 2);
}

}  // namespace

JsonArray::~JsonArray() {
    TreeEnd::clear(*this);
    if (ownsBlock_) deleteBlock(units_, "qor::json::JsonArray::~JsonArray");
}

void JsonArray::grow() {
    const ulong32 capacity = nextCapacity(capacity_);
    auto* const units = static_cast<JsonUnit*>(
        newBlock(capacity * sizeof(JsonUnit), "qor::json::JsonArray::newChild"));
    std::uninitialized_move_n(units_, size_, units);
    std::destroy_n(units_, size_);
    if (ownsBlock_) deleteBlock(units_, "qor::json::JsonArray::newChild");
    units_ = units;
    capacity_ = capacity;
    ownsBlock_ = true;
}

JsonUnit& JsonArray::newChild() {
    if (size_ == capacity_) grow();
    return *::new (units_ + size_++) JsonUnit();
}

void JsonArray::add(const JsonUnit& unit) {
    // The unit may be one of the array.
    const JsonUnit added = unit;
    newChild() = added;
}

JsonObject::~JsonObject() {
    TreeEnd::clear(*this);
    if (ownsBlock_) deleteBlock(pairs_, "qor::json::JsonObject::~JsonObject");
}

void JsonObject::putInOrder() const noexcept {
    if (index_ == nullptr) return sortAsRead();
    std::copy(index_->begin(), index_->end(), pairs_);
    flag_ = false;
}

// Of pairs with the same key the last one stays, which has the highest address.
void JsonObject::sortAsRead() const noexcept {
    value_type** const end = pairs_ + size_;
    const auto isLess = [](const Pair* left, const Pair* right) {
        const int order = istr(left->first).compare(right->first);
        return order != 0 ? order < 0 : left < right;
    };
    if (!std::is_sorted(pairs_, end, isLess)) std::sort(pairs_, end, isLess);
    value_type** kept = pairs_;
    for (value_type** at = pairs_; at != end; ++at) {
        if (at + 1 != end && at[0]->first == at[1]->first) {
            std::destroy_at(*at);
        } else {
            *kept++ = *at;
        }
    }
    size_ = static_cast<ulong32>(kept - pairs_);
    flag_ = false;
}

JsonObject::value_type* JsonObject::find(istr key) const noexcept {
    if (index_ != nullptr) {
        const auto found = index_->find(key);
        return found != index_->end() ? *found : nullptr;
    }
    value_type* const* const pairs = inOrder();
    value_type* const* const at = std::lower_bound(pairs, pairs + size_, key, ByKey());
    return at != pairs + size_ && istr((*at)->first) == key ? *at : nullptr;
}

const JsonUnit* JsonObject::get(istr key) const noexcept {
    const value_type* const pair = find(key);
    return pair != nullptr ? &pair->second : nullptr;
}

JsonUnit& JsonObject::get(istr key) {
    if (value_type* const pair = find(key)) return pair->second;
    if (size_ == capacity_) grow();
    void* const block = newBlock(sizeof(value_type), kGet);
    value_type* pair = nullptr;
    try {
        pair = ::new (block) value_type(key, JsonUnit());
        add(pair);
    } catch (...) {
        if (pair != nullptr) std::destroy_at(pair);
        deleteBlock(block, kGet);
        throw;
    }
    return pair->second;
}

void JsonObject::grow() {
    const ulong32 capacity = nextCapacity(capacity_);
    auto** const pairs = static_cast<value_type**>(newBlock(capacity * sizeof(value_type*), kGet));
    std::copy_n(pairs_, size_, pairs);
    if (ownsBlock_) deleteBlock(pairs_, kGet);
    pairs_ = pairs;
    capacity_ = capacity;
    ownsBlock_ = true;
}

void JsonObject::add(value_type* pair) {
    value_type** const end = pairs_ + size_;
    value_type** at = end;
    if (index_ == nullptr && size_ != 0 && ByKey()(pair, end[-1])) {
        at = std::lower_bound(pairs_, end, pair, ByKey());
        if (end - at > kMoved) index_ = std::make_unique<Index>(pairs_, end);
    }
    if (index_ != nullptr) {
        index_->insert(pair);
        flag_ = true;
        at = end;
    }
    std::copy_backward(at, end, end + 1);
    *at = pair;
    ++size_;
}

}  // namespace qor::json
