#include "json/tree_maker.h"

#include <cstring>
#include <new>

#include "base/node_memory.h"
#include "json/escape.h"

namespace qor::json {

namespace {

constexpr const char* kMaker = "qor::json::JsonUnit::value";

Block* newBlock(std::size_t room, std::size_t shares, FlatTree& tree) {
    if (room > TreeMaker::kMostRoom) throw std::bad_alloc();
    void* const memory = newNode(room, __FILE__, __LINE__, kMaker);
    tree.shares.fetch_add(1, std::memory_order_relaxed);
    return ::new (memory) Block{{shares}, &tree};
}

constexpr std::size_t sizeOfHead(bool object) noexcept {
    return object ? sizeof(JsonObject) : sizeof(JsonArray);
}
constexpr std::size_t sizeOfSlots(bool object, std::size_t count) noexcept {
    using Pair = JsonObject::value_type;
    return count * (object ? sizeof(Pair) + sizeof(Pair*) : sizeof(JsonUnit));
}

}  // namespace

TreeMaker::Word TreeMaker::wordFor(const void* unit, ulong32 node, Word marks) const noexcept {
    const auto kind = static_cast<Word>(tree_.kindOf(tree_.node(node)));
    const auto distance =
        static_cast<Word>(static_cast<const char*>(unit) - reinterpret_cast<const char*>(block_));
    return Word(node) << JsonUnit::kNodeShift | kind << JsonUnit::kDistanceBits | distance | marks |
           JsonUnit::kLazy;
}

void TreeMaker::relocate(JsonUnit& from, void* to, Block* block) noexcept {
    auto* const unit = ::new (to) JsonUnit();
    unit->word_ = std::exchange(from.word_, 0);
    if (!JsonUnit::isLazy(unit->word_)) return;
    const auto distance =
        static_cast<Word>(static_cast<char*>(to) - reinterpret_cast<char*>(block));
    unit->word_ = (unit->word_ & ~JsonUnit::kDistance) | distance;
}

void TreeMaker::make(const JsonUnit& unit) {
    const LazyUnit at = lazyAt(unit);
    if (at.content().isContainer()) return TreeMaker(at.tree()).makeContainers(unit);
    JsonValue* const value = makeScalar(at, (unit.word_ & JsonUnit::kViewed) != 0);
    value->__FirstRef();
    unit.word_ = JsonUnit::wordOf(value);
}

JsonValue* TreeMaker::makeScalar(const LazyUnit& at, bool viewed) {
    const istr text = at.text();
    switch (at.tree().kindOf(at.content())) {
        case JsonValue::Kind::Boolean:
            return new JsonBoolean(text[0] == 't');
        case JsonValue::Kind::Number:
            return JsonNumber::make(text);
        default:
            break;
    }
    const istr content = withoutQuotes(text);
    if (isEscaped(content)) {
        String unescaped;
        appendUnescaped(unescaped, content);
        return JsonString::make(unescaped);
    }
    return viewed ? makeInTree(at, content) : JsonString::make(content);
}

JsonValue* TreeMaker::makeInTree(const LazyUnit& at, istr text) {
    constexpr std::size_t kRoom = sizeof(Block) + sizeof(JsonString) + sizeof(const char*);
    Block* const block = newBlock(kRoom, 1, at.tree());
    auto* const value = ::new (block + 1) JsonString(static_cast<ulong32>(text.size()));
    value->isInTree_ = true;
    value->inTree() = text.data();
    value->place_ = sizeof(Block) / alignof(void*);
    return value;
}

void TreeMaker::makeContainers(const JsonUnit& first) {
    const JsonUnit* unit = &first;
    plan(lazyAt(first).node);
    for (std::size_t i = 0;; ++i) {
        if (i == plans_.size()) {
            unit = planNext(unit);
            if (unit == nullptr) break;
        }
        planChildren(i);
    }
    block_ = newBlock(room_, plans_.size(), tree_);
    unit = &first;
    for (std::size_t i = 0; i < plans_.size(); ++i) {
        const Plan& plan = plans_[i];
        const bool inBlock = i < next_;
        if (!inBlock) ++next_;
        JsonValue* const value = makePlanned(plan);
        if (inBlock) continue;
        while (!JsonUnit::isLazy(unit->word_) || lazyAt(*unit).node != plan.node)
            ++unit;
        unit->word_ = JsonUnit::wordOf(value);
    }
}

void TreeMaker::plan(ulong32 node) {
    const Node& container = tree_.node(node);
    const std::size_t values = values_.size();
    const Shape* shape = nullptr;
    ulong32 count = 0;
    if (container.isObject()) {
        shape = &tree_.shapeOf(node, values_);
        count = shape->size();
    } else if (container.isFlat()) {
        count = container.size - 1;
    } else {
        for (ulong32 i = node + 1; i < node + container.size; i += tree_.node(i).span())
            ++count;
    }
    plans_.push_back(node, count, room_, shape, values);
    room_ += sizeOfHead(shape != nullptr) + sizeOfSlots(shape != nullptr, count);
    nodesLeft_ -= std::min(nodesLeft_, count + 1);
}

void TreeMaker::planChildren(std::size_t i) {
    const Plan plan = plans_[i];
    if (tree_.node(plan.node).isFlat()) return;
    if (plan.shape != nullptr) {
        for (ulong32 k = 0; k < plan.count; ++k)
            planChild(values_[plan.values + plan.shape->place(k)]);
        return;
    }
    const ulong32 end = plan.node + tree_.node(plan.node).size;
    for (ulong32 node = plan.node + 1; node < end; node += tree_.node(node).span())
        planChild(node);
}

void TreeMaker::planChild(ulong32 node) {
    const Node& child = tree_.node(node);
    if (child.isContainer() && child.size <= nodesLeft_) plan(node);
}

// The next container of the array that the unit belongs to, if it is lazy and small.
const JsonUnit* TreeMaker::planNext(const JsonUnit* unit) {
    while ((unit->word_ & JsonUnit::kFollowed) != 0) {
        ++unit;
        if (!JsonUnit::isLazy(unit->word_)) return nullptr;
        const LazyUnit next = lazyAt(*unit);
        if (!next.content().isContainer()) continue;
        if (next.content().size > nodesLeft_) return nullptr;
        plan(next.node);
        return unit;
    }
    return nullptr;
}

template <class T>
T* TreeMaker::makeValue(const Plan& plan) noexcept {
    T* const value = ::new (at(plan)) T();
    value->__FirstRef();
    value->place_ = static_cast<unsigned short>(plan.offset / alignof(void*));
    return value;
}

JsonValue* TreeMaker::makePlanned(const Plan& plan) noexcept {
    if (plan.shape != nullptr) {
        auto* const object = makeValue<JsonObject>(plan);
        fillPairs(plan, object + 1, *object);
        return object;
    }
    auto* const array = makeValue<JsonArray>(plan);
    fillUnits(plan, array + 1, *array);
    return array;
}

// The value of a container that is made in the same block, or the place of one that is not made.
TreeMaker::Word TreeMaker::wordOf(const void* unit, ulong32 node, Word marks) noexcept {
    if (next_ == plans_.size() || plans_[next_].node != node) return wordFor(unit, node, marks);
    return JsonUnit::wordOf(reinterpret_cast<JsonValue*>(at(plans_[next_++])));
}

void TreeMaker::fillUnits(const Plan& plan, void* room, const JsonArray& array) noexcept {
    auto* const units = static_cast<JsonUnit*>(room);
    ulong32 node = plan.node + 1;
    for (ulong32 i = 0; i < plan.count; ++i, node += tree_.node(node).span()) {
        auto* const unit = ::new (units + i) JsonUnit();
        unit->word_ = wordOf(unit, node, i + 1 < plan.count ? JsonUnit::kFollowed : 0);
    }
    array.units_ = units;
    array.size_ = array.capacity_ = plan.count;
}

void TreeMaker::fillPairs(const Plan& plan, void* room, const JsonObject& object) noexcept {
    auto* const pairs = static_cast<Pair*>(room);
    auto** const order = reinterpret_cast<Pair**>(pairs + plan.count);
    for (ulong32 i = 0; i < plan.count; ++i) {
        auto* const pair = order[i] = ::new (pairs + i) Pair(plan.shape->key(i), JsonUnit());
        const ulong32 node = values_[plan.values + plan.shape->place(i)];
        if (tree_.node(node).size != 0) pair->second.word_ = wordOf(&pair->second, node, 0);
    }
    object.pairs_ = order;
    object.read_ = pairs;
    object.size_ = object.sorted_ = object.readSize_ = object.capacity_ = plan.count;
}

template <class T, class Fill>
void TreeMaker::makeSlotsOf(const T& root, Fill fill) {
    plan(0);
    // There is no place for the root itself.
    room_ -= sizeof(T);
    for (std::size_t i = 0; i < plans_.size(); ++i)
        planChildren(i);
    block_ = newBlock(room_, plans_.size(), tree_);
    next_ = 1;
    fill(plans_[0], block_ + 1);
    for (std::size_t i = 1; i < plans_.size(); ++i)
        makePlanned(plans_[i]);
    root.ownsSlots_ = true;
    root.isUnmade_ = false;
}

void TreeMaker::makeSlots(const JsonArray& root) {
    TreeMaker maker(*root.block()->tree);
    maker.makeSlotsOf(root,
                      [&](const Plan& plan, void* room) { maker.fillUnits(plan, room, root); });
}

void TreeMaker::makeSlots(const JsonObject& root) {
    TreeMaker maker(*root.block()->tree);
    maker.makeSlotsOf(root,
                      [&](const Plan& plan, void* room) { maker.fillPairs(plan, room, root); });
}

}  // namespace qor::json
