#include "json/tree_maker.h"

#include <cstring>
#include <new>

#include "base/node_memory.h"
#include "json/escape.h"
#include "mt/shared_count.h"

namespace qor::json {

namespace {

constexpr std::size_t sizeOfUnits(bool object, std::size_t count) noexcept {
    return count * (object ? sizeof(JsonObject::value_type) : sizeof(JsonUnit));
}

// The size of a container and its units.
constexpr std::size_t sizeOf(bool object, std::size_t count) noexcept {
    return (object ? sizeof(JsonObject) : sizeof(JsonArray)) + sizeOfUnits(object, count);
}

}  // namespace

// The word of a lazy unit without its kind: the distance from the page, the node and the marks.
TreeMaker::Word TreeMaker::placeWord(const JsonUnit* unit, ulong32 node,
                                     Word marks) const noexcept {
    const auto distance =
        static_cast<Word>(reinterpret_cast<const char*>(unit) - reinterpret_cast<char*>(page_));
    return Word(node) << JsonUnit::kNodeShift | distance | marks | JsonUnit::kLazy;
}

TreeMaker::Word TreeMaker::lazyWord(const JsonUnit* unit, ulong32 node, Word marks) const noexcept {
    return placeWord(unit, node, marks) | kindWord(tree_.kindOf(tree_.node(node)));
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
    SharedCount::takeFirst(*value);
    unit.word_ = JsonUnit::wordOf(value);
}

JsonValue* TreeMaker::makeScalar(const LazyUnit& at, bool viewed) {
    const istr text = at.text();
    switch (at.tree().kindOf(at.content())) {
        case JsonKind::Boolean:
            return new JsonBoolean(text[0] == 't');
        case JsonKind::Number:
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
    maker.openRoom(sizeof(JsonString) + sizeof(const char*));
    auto* const value = maker.makeValue<JsonString>(static_cast<ulong32>(text.size()));
    maker.take(sizeof(const char*));
    value->isInTree_ = true;
    value->inTree() = text.data();
    maker.closeRoom();
    return value;
}

void TreeMaker::makeContainers(const JsonUnit& first) {
    const Container container = look(lazyAt(first).node);
    openRoom(sizeOf(container.shape != nullptr, container.count));
    const JsonUnit* following = next(first);
    first.word_ = JsonUnit::wordOf(make(container, kMostDepth));
    while (following != nullptr) {
        const JsonUnit& unit = *following;
        JsonValue* const value = tryMake(lazyAt(unit).node, kMostDepth);
        if (value == nullptr) break;
        following = next(unit);
        unit.word_ = JsonUnit::wordOf(value);
    }
    closeRoom();
}

// The next unit of the same array that is a container, if the units between are not created yet.
const JsonUnit* TreeMaker::next(const JsonUnit& unit) noexcept {
    const JsonUnit* at = &unit;
    while (JsonUnit::isLazy(at->word_) && (at->word_ & JsonUnit::kFollowed) != 0) {
        ++at;
        if (JsonUnit::isLazy(at->word_) && lazyAt(*at).content().isContainer()) return at;
    }
    return nullptr;
}

void TreeMaker::openRoom(std::size_t size) {
    if (size + sizeof(Page) > kMostRoom) throw std::bad_alloc();
    page_ = &tree_.takePage(size);
    at_ = page_->next;
    end_ = at_ + std::min(page_->room(), std::max(size, kRoomAtOnce));
}

void TreeMaker::closeRoom() noexcept {
    tree_.shares.fetch_add(values_, std::memory_order_relaxed);
    page_->next = at_;
    tree_.leavePage(*page_);
}

TreeMaker::Container TreeMaker::look(ulong32 node) {
    const Node& container = tree_.node(node);
    if (!container.isObject()) return {node, countOf(node), nullptr, 0};
    const auto values = static_cast<ulong32>(nodes_.size());
    const Shape& shape =
        container.isDeep() ? tree_.shapeOf(node, nodes_) : tree_.shapeOfShallow(node);
    return {node, shape.size(), &shape, values};
}

ulong32 TreeMaker::countOf(ulong32 array) const noexcept {
    const ulong32 size = tree_.node(array).size;
    if (!tree_.node(array).isDeep()) return size - 1;
    ulong32 count = 0;
    for (ulong32 i = array + 1; i < array + size; i += tree_.node(i).span())
        ++count;
    return count;
}

// Containers are created in order; after the first one that does not fit, no other one is.
bool TreeMaker::hasRoom(bool object, ulong32 count) noexcept {
    const bool fits = sizeOf(object, count) <= static_cast<std::size_t>(end_ - at_);
    if (!fits) end_ = at_;
    return fits;
}

// Containers are small, so calls would take much of the time: all calls are inlined except the
// recursive ones. Each level uses some stack, so `depth` limits the recursion.
[[gnu::flatten]] JsonValue* TreeMaker::tryMake(ulong32 node, unsigned depth) noexcept try {
    if (depth == 0 || at_ == end_) return nullptr;
    if (tree_.node(node).isFlatArray()) {
        if (!hasRoom(false, tree_.node(node).size - 1)) return nullptr;
        auto* const array = makeValue<JsonArray>();
        fillFlat(*array, node);
        return array;
    }
    const std::size_t before = nodes_.size();
    const Container container = look(node);
    JsonValue* const made =
        hasRoom(container.shape != nullptr, container.count) ? make(container, depth) : nullptr;
    nodes_.resize(before);
    return made;
} catch (const std::bad_alloc&) {
    return nullptr;
}

JsonValue* TreeMaker::make(const Container& container, unsigned depth) noexcept {
    if (container.shape == nullptr) {
        auto* const array = makeValue<JsonArray>();
        fillUnits(*array, container, depth);
        return array;
    }
    auto* const object = makeValue<JsonObject>();
    fillPairs(*object, container, depth);
    return object;
}

template <class T, class... Args>
T* TreeMaker::makeValue(Args... args) noexcept {
    T* const value = ::new (take(sizeof(T))) T(args...);
    SharedCount::takeFirst(*value);
    const auto offset = reinterpret_cast<char*>(value) - reinterpret_cast<char*>(page_);
    value->place_ =
        static_cast<unsigned short>(static_cast<std::size_t>(offset) / alignof(JsonValue));
    ++values_;
    return value;
}

TreeMaker::Word TreeMaker::wordFor(const JsonUnit& unit, ulong32 node, Word marks,
                                   unsigned depth) noexcept {
    if (tree_.node(node).isContainer()) {
        if (JsonValue* const made = tryMake(node, depth - 1)) return JsonUnit::wordOf(made);
    }
    return lazyWord(&unit, node, marks);
}

JsonUnit* TreeMaker::takeUnits(const JsonArray& array, ulong32 count) noexcept {
    auto* const units = static_cast<JsonUnit*>(take(count * sizeof(JsonUnit)));
    array.units_ = units;
    array.size_ = array.capacity_ = count;
    return units;
}

void TreeMaker::fillUnits(const JsonArray& array, const Container& of, unsigned depth) noexcept {
    if (tree_.node(of.node).isFlat()) return fillFlat(array, of.node);
    JsonUnit* unit = takeUnits(array, of.count);
    ulong32 node = of.node + 1;
    for (ulong32 i = 0; i < of.count; ++i, ++unit, node += tree_.node(node).span()) {
        ::new (unit) JsonUnit();
        const Word marks = i + 1 < of.count ? JsonUnit::kFollowed : 0;
        unit->word_ = wordFor(*unit, node, marks, depth);
    }
}

// An array without containers: the nodes of its units are consecutive.
void TreeMaker::fillFlat(const JsonArray& array, ulong32 node) noexcept {
    const FlatTree& tree = tree_;
    const ulong32 count = tree.node(node).size - 1;
    JsonUnit* unit = takeUnits(array, count);
    constexpr Word kNext = Word(1) << JsonUnit::kNodeShift | sizeof(JsonUnit);
    Word word = placeWord(unit, node + 1, JsonUnit::kFollowed);
    const Node* const first = tree.nodes + node + 1;
    for (ulong32 i = 0; i < count; ++i, ++unit, word += kNext) {
        const Word followed = i + 1 < count ? 0 : JsonUnit::kFollowed;
        ::new (unit) JsonUnit();
        unit->word_ = (word ^ followed) | kindWord(tree.scalarKindOf(first[i]));
    }
}

void TreeMaker::fillPairs(const JsonObject& object, const Container& of, unsigned depth) noexcept {
    auto* const pairs = static_cast<Pair*>(take(of.count * sizeof(Pair)));
    object.read_ = pairs;
    object.size_ = object.sorted_ = object.readSize_ = of.count;
    const bool deep = tree_.node(of.node).isDeep();
    for (ulong32 i = 0; i < of.count; ++i) {
        auto* const pair = ::new (pairs + i) Pair(of.shape->key(i), JsonUnit());
        const ulong32 place = of.shape->place(i);
        const ulong32 node = deep ? nodes_[of.values + place] : of.node + 2 + 2 * place;
        if (tree_.node(node).size == 0) continue;  // null
        pair->second.word_ = wordFor(pair->second, node, 0, depth);
    }
}

void TreeMaker::makeSlots(const JsonArray& root) {
    TreeMaker maker(*root.block()->tree);
    const Container container = maker.look(0);
    maker.openRoom(sizeOfUnits(false, container.count));
    maker.fillUnits(root, container, kMostDepth);
    maker.closeRoom();
    root.isUnmade_ = false;
}

void TreeMaker::makeSlots(const JsonObject& root) {
    TreeMaker maker(*root.block()->tree);
    const Container container = maker.look(0);
    maker.openRoom(sizeOfUnits(true, container.count));
    maker.fillPairs(root, container, kMostDepth);
    maker.closeRoom();
    root.isUnmade_ = false;
}

}  // namespace qor::json
