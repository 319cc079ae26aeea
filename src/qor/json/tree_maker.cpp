#include "json/tree_maker.h"

#include <cstring>
#include <new>

#include "base/node_memory.h"
#include "json/escape.h"

namespace qor::json {

namespace {

constexpr const char* kMaker = "qor::json::JsonUnit::value";

// Of a container and its slots.
constexpr std::size_t sizeOf(bool object, std::size_t count) noexcept {
    using Pair = JsonObject::value_type;
    if (object) return sizeof(JsonObject) + count * sizeof(Pair);
    return sizeof(JsonArray) + count * sizeof(JsonUnit);
}

}  // namespace

TreeMaker::Word TreeMaker::lazyWord(const void* unit, ulong32 node, Word marks) const noexcept {
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
    TreeMaker maker(at.tree());
    maker.values_ = 1;
    maker.room_ += sizeof(JsonString) + sizeof(const char*);
    maker.makeBlock();
    auto* const value = ::new (maker.block_ + 1) JsonString(static_cast<ulong32>(text.size()));
    value->isInTree_ = true;
    value->inTree() = text.data();
    value->place_ = sizeof(Block) / alignof(JsonValue);
    return value;
}

void TreeMaker::makeContainers(const JsonUnit& first) {
    plan(lazyAt(first).node, kMostDepth);
    std::size_t more = 0;
    for (const JsonUnit* unit = next(first);
         unit != nullptr && includes(lazyAt(*unit).node, kMostDepth); unit = next(*unit))
        ++more;
    makeBlock();
    for (const JsonUnit* unit = &first;; --more) {
        const JsonUnit* const following = more != 0 ? next(*unit) : nullptr;
        unit->word_ = JsonUnit::wordOf(make(lazyAt(*unit).node));
        if (following == nullptr) break;
        unit = following;
    }
}

// The next unit of the same array that is a container, if those before it are not made either.
const JsonUnit* TreeMaker::next(const JsonUnit& unit) noexcept {
    const JsonUnit* at = &unit;
    while (JsonUnit::isLazy(at->word_) && (at->word_ & JsonUnit::kFollowed) != 0) {
        ++at;
        if (JsonUnit::isLazy(at->word_) && lazyAt(*at).content().isContainer()) return at;
    }
    return nullptr;
}

bool TreeMaker::includes(ulong32 node, unsigned depth) {
    if (depth == 0 || tree_.node(node).size > nodesLeft_) return false;
    plan(node, depth);
    return true;
}

// Each level takes some of the stack, to a depth that is limited.
void TreeMaker::plan(ulong32 node, unsigned depth) {
    const Node& container = tree_.node(node);
    ++values_;
    if (container.isFlatArray()) {
        room_ += sizeOf(false, container.size - 1);
        nodesLeft_ -= std::min(nodesLeft_, container.size);
        return;
    }
    // What is in a large container would be too far from the start of the block.
    if (container.size > kMostNodes) depth = 1;
    const std::size_t planned = plans_.size();
    plans_.push_back();
    Plan plan = container.isObject() ? planObject(node, depth) : planArray(node, depth);
    room_ += sizeOf(plan.shape != nullptr, plan.count);
    nodesLeft_ -= std::min(nodesLeft_, plan.count + 1);
    plans_[planned] = plan;
}

TreeMaker::Plan TreeMaker::planArray(ulong32 node, unsigned depth) {
    Plan plan = {nullptr, 0, 0, 0};
    bool including = true;
    for (ulong32 i = node + 1; i < node + tree_.node(node).size; i += tree_.node(i).span()) {
        ++plan.count;
        if (!including || !tree_.node(i).isContainer()) continue;
        including = includes(i, depth - 1);
        if (including) ++plan.children;
    }
    return plan;
}

TreeMaker::Plan TreeMaker::planObject(ulong32 node, unsigned depth) {
    const auto first = static_cast<ulong32>(nodes_.size());
    const Shape& shape = tree_.shapeOf(node, nodes_);
    Plan plan = {&shape, shape.size(), 0, first};
    if (tree_.node(node).isFlat()) return plan;
    for (ulong32 i = 0; i < plan.count; ++i) {
        const ulong32 child = nodes_[first + shape.place(i)];
        if (!tree_.node(child).isContainer()) continue;
        if (!includes(child, depth - 1)) break;
        ++plan.children;
    }
    return plan;
}

void TreeMaker::makeBlock() {
    if (room_ > kMostRoom) throw std::bad_alloc();
    void* const memory = newNode(room_, __FILE__, __LINE__, kMaker);
    tree_.shares.fetch_add(1, std::memory_order_relaxed);
    block_ = ::new (memory) Block{{values_}, &tree_};
    at_ = reinterpret_cast<char*>(block_ + 1);
}

// Values are made in the order in which they were planned.
JsonValue* TreeMaker::make(ulong32 node) noexcept {
    const Node& container = tree_.node(node);
    if (container.isFlatArray()) {
        auto* const array = makeValue<JsonArray>();
        fillUnits(*array, node, {nullptr, container.size - 1, 0, 0});
        return array;
    }
    const Plan& plan = plans_[next_++];
    if (plan.shape != nullptr) {
        auto* const object = makeValue<JsonObject>();
        fillPairs(*object, plan);
        return object;
    }
    auto* const array = makeValue<JsonArray>();
    fillUnits(*array, node, plan);
    return array;
}

template <class T>
T* TreeMaker::makeValue() noexcept {
    T* const value = ::new (take(sizeof(T))) T();
    value->__FirstRef();
    const auto offset = reinterpret_cast<char*>(value) - reinterpret_cast<char*>(block_);
    value->place_ =
        static_cast<unsigned short>(static_cast<std::size_t>(offset) / alignof(JsonValue));
    return value;
}

void TreeMaker::fillUnits(const JsonArray& array, ulong32 node, const Plan& plan) noexcept {
    auto* const units = static_cast<JsonUnit*>(take(plan.count * sizeof(JsonUnit)));
    array.units_ = units;
    array.size_ = array.capacity_ = plan.count;
    if (plan.count == 0) return;
    ulong32 children = plan.children;
    ++node;
    for (ulong32 i = 0; i < plan.count; ++i, node += tree_.node(node).span()) {
        auto* const unit = ::new (units + i) JsonUnit();
        if (children != 0 && tree_.node(node).isContainer()) {
            --children;
            unit->word_ = JsonUnit::wordOf(make(node));
        } else {
            unit->word_ = lazyWord(unit, node, JsonUnit::kFollowed);
        }
    }
    JsonUnit& last = units[plan.count - 1];
    if (JsonUnit::isLazy(last.word_)) last.word_ &= ~JsonUnit::kFollowed;
}

void TreeMaker::fillPairs(const JsonObject& object, const Plan& plan) noexcept {
    auto* const pairs = static_cast<Pair*>(take(plan.count * sizeof(Pair)));
    object.read_ = pairs;
    object.size_ = object.sorted_ = object.readSize_ = plan.count;
    ulong32 children = plan.children;
    for (ulong32 i = 0; i < plan.count; ++i) {
        auto* const pair = ::new (pairs + i) Pair(plan.shape->key(i), JsonUnit());
        const ulong32 node = nodes_[plan.nodes + plan.shape->place(i)];
        if (tree_.node(node).size == 0) continue;  // null
        JsonUnit& unit = pair->second;
        if (children != 0 && tree_.node(node).isContainer()) {
            --children;
            unit.word_ = JsonUnit::wordOf(make(node));
        } else {
            unit.word_ = lazyWord(&unit, node, 0);
        }
    }
}

template <class T, class Fill>
void TreeMaker::makeSlotsOf(const T& root, Fill fill) {
    plan(0, kMostDepth);
    // There is no place for the root itself, but for its slots, which have its share.
    room_ -= sizeof(T);
    makeBlock();
    const bool planned = !tree_.node(0).isFlatArray();
    fill(planned ? plans_[next_++] : Plan{nullptr, tree_.node(0).size - 1, 0, 0});
    root.ownsSlots_ = true;
    root.isUnmade_ = false;
}

void TreeMaker::makeSlots(const JsonArray& root) {
    TreeMaker maker(*root.block()->tree);
    maker.makeSlotsOf(root, [&](const Plan& plan) { maker.fillUnits(root, 0, plan); });
}

void TreeMaker::makeSlots(const JsonObject& root) {
    TreeMaker maker(*root.block()->tree);
    maker.makeSlotsOf(root, [&](const Plan& plan) { maker.fillPairs(root, plan); });
}

}  // namespace qor::json
