#include "qor/json/json_container.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <new>

#include "base/node_memory.h"
#include "json/added_pair.h"
#include "json/key_prefix.h"
#include "json/tree_end.h"
#include "json/tree_maker.h"

namespace qor::json {

namespace {

using Pair = JsonObject::value_type;

constexpr const char* kNewChild = "qor::json::JsonArray::newChild";
constexpr const char* kGet = "qor::json::JsonObject::get";

// A capacity for at least one more element.
ulong32 nextCapacity(ulong32 capacity) {
    constexpr ulong32 kLeast = 4;
    if (capacity > npos32 / 2) throw std::bad_alloc();
    return std::max(kLeast, capacity * 2);
}

struct Keyed {
    explicit Keyed(Pair* of) noexcept : prefix(keyPrefix(of->first)), pair(of) {}
    bool operator<(const Keyed& other) const noexcept {
        if (prefix != other.prefix) return prefix < other.prefix;
        return istr(pair->first) < istr(other.pair->first);
    }
    std::uint64_t prefix;
    Pair* pair;
};

}  // namespace

JsonArray::~JsonArray() {
    TreeEnd::clear(*this);
    if (ownsSlots_) blockOfUnits()->giveUp(1);
}

void JsonArray::makeUnits() const {
    TreeMaker::makeSlots(*this);
}

// Null for an array of the program before its first child.
Block* JsonArray::blockOfUnits() const noexcept {
    return ownsSlots_ ? reinterpret_cast<Block*>(units_) - 1 : block();
}

// Lazy units are moved too, and the new block then owns a reference to their tree.
void JsonArray::grow() {
    const ulong32 capacity = nextCapacity(capacity_);
    const std::size_t room = sizeof(Block) + capacity * sizeof(JsonUnit);
    Block* const before = blockOfUnits();
    FlatTree* const tree = before != nullptr ? before->tree : nullptr;
    auto* const block = ::new (newNode(room, kNewChild)) Block{{1}, tree};
    if (tree != nullptr) tree->shares.fetch_add(1, std::memory_order_relaxed);
    auto* const units = reinterpret_cast<JsonUnit*>(block + 1);
    for (ulong32 i = 0; i < size_; ++i)
        TreeMaker::relocate(units_[i], units + i, block);
    if (ownsSlots_) before->giveUp(1);
    units_ = units;
    capacity_ = capacity;
    ownsSlots_ = true;
}

JsonUnit& JsonArray::newChild() {
    made();
    if (size_ == capacity_) grow();
    return *::new (units_ + size_++) JsonUnit();
}

void JsonArray::add(const JsonUnit& unit) {
    // `unit` may be an element of this array.
    JsonUnit added = unit;
    newChild() = std::move(added);
}

void JsonObject::DeleteIndex::operator()(Index* index) const noexcept {
    delete index;
}

JsonObject::~JsonObject() {
    TreeEnd::clear(*this);
    deleteNode(pairs_, "qor::json::JsonObject::~JsonObject");
}

void JsonObject::makePairs() const {
    TreeMaker::makeSlots(*this);
}

void JsonObject::sort() const noexcept {
    const auto byKey = [](const Pair* left, const Pair* right) {
        return istr(left->first) < istr(right->first);
    };
    value_type** const middle = pairs_ + sorted_;
    value_type** const end = pairs_ + size_;
    const std::unique_ptr<void, void (*)(void*)> room(
        ::operator new((size_ - sorted_) * sizeof(Keyed), std::nothrow),
        [](void* block) { ::operator delete(block); });
    if (auto* const keyed = static_cast<Keyed*>(room.get())) {
        Keyed* const keyedEnd = std::uninitialized_copy(middle, end, keyed);
        std::sort(keyed, keyedEnd);
        std::transform(keyed, keyedEnd, middle, [](const Keyed& of) { return of.pair; });
    } else {
        std::sort(middle, end, byKey);
    }
    std::inplace_merge(pairs_, middle, end, byKey);
    sorted_ = size_;
}

// Without an index all pairs are in order.
ulong32 JsonObject::lowerBound(istr key) const noexcept {
    ulong32 first = 0;
    for (ulong32 count = size_; count != 0;) {
        const ulong32 half = count / 2;
        if (istr(pairAt(first + half)->first) < key) {
            first += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return first;
}

JsonObject::value_type* JsonObject::pairOf(istr key, ulong32 place) const noexcept {
    if (place == size_) return nullptr;
    value_type* const pair = pairAt(place);
    return istr(pair->first) == key ? pair : nullptr;
}

const JsonUnit* JsonObject::get(istr key) const {
    if (key.is_null()) key = istr();
    const value_type* const pair = made().index_ != nullptr ? index_->find(key, Index::hashOf(key))
                                                            : pairOf(key, lowerBound(key));
    return pair != nullptr ? &pair->second : nullptr;
}

JsonUnit& JsonObject::get(istr key) {
    if (key.is_null()) key = istr();
    if (made().index_ != nullptr) return getByIndex(key);
    const ulong32 place = lowerBound(key);
    if (value_type* const pair = pairOf(key, place)) return pair->second;
    // An object with many keys does not insert between them, but uses an index.
    if (size_ >= kFew && place != size_) {
        makeIndex();
        return getByIndex(key);
    }
    // The room is made last: it ends the validity of iterators.
    Added::Owner pair = Added::make(key);
    reserveOne();
    std::copy_backward(pairs_ + place, pairs_ + size_, pairs_ + size_ + 1);
    pairs_[place] = pair.get();
    sorted_ = ++size_;
    return pair.release()->second;
}

JsonUnit& JsonObject::getByIndex(istr key) {
    const std::uint64_t hash = Index::hashOf(key);
    if (value_type* const found = index_->find(key, hash)) return found->second;
    Added::Owner pair = Added::make(key);
    index_->reserveOne();
    reserveOne();
    index_->insert(pair.get(), hash);
    pairs_[size_++] = pair.get();
    return pair.release()->second;
}

void JsonObject::makeIndex() {
    std::unique_ptr<Index, DeleteIndex> index(new Index(size_ + 1));
    for (ulong32 i = 0; i < size_; ++i)
        index->insert(pairAt(i), Index::hashOf(pairAt(i)->first));
    index_ = std::move(index);
}

void JsonObject::put(istr key, const JsonUnit& unit) {
    JsonUnit copy = unit;
    get(key) = std::move(copy);
}

void JsonObject::reserveOne() {
    if (size_ < capacity_) return;
    const ulong32 capacity = nextCapacity(size_);
    auto** const pairs = static_cast<value_type**>(newNode(capacity * sizeof(value_type*), kGet));
    for (ulong32 i = 0; i < size_; ++i)
        pairs[i] = pairAt(i);
    deleteNode(pairs_, kGet);
    pairs_ = pairs;
    capacity_ = capacity;
}

}  // namespace qor::json
