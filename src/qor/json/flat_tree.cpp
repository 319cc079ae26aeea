#include "json/flat_tree.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>
#include <vector>

#include "base/node_memory.h"
#include "base/text_hash.h"

namespace qor::json {

namespace {

constexpr const char* kMaker = "qor::json::JsonParser::from";
constexpr const char* kEnder = "qor::json::JsonValue::~JsonValue";

constexpr std::size_t kRootRoom = std::max(sizeof(JsonArray), sizeof(JsonObject));

template <class T>
constexpr std::size_t aligned(std::size_t size) noexcept {
    return (size + alignof(T) - 1) / alignof(T) * alignof(T);
}

void deleteBlock(void* block) noexcept {
    deleteNode(block, __FILE__, __LINE__, kEnder);
}

}  // namespace

// Shapes by their hash. They are only added, so they are found without a lock.
class ShapeTable : noncopyable {
public:
    static ShapeTable* make(std::size_t nodes) {
        // A tree has many objects of few shapes, or few objects of many keys.
        const std::size_t buckets = std::bit_ceil(std::clamp<std::size_t>(nodes / 32, 8, 1 << 16));
        const std::size_t size = sizeof(ShapeTable) + buckets * sizeof(Bucket);
        void* const block = newNode(size, __FILE__, __LINE__, kMaker);
        auto* const table = ::new (block) ShapeTable(buckets);
        std::uninitialized_value_construct_n(table->buckets(), buckets);
        return table;
    }
    static void destroy(ShapeTable* table) noexcept {
        if (table == nullptr) return;
        for (std::size_t i = 0; i <= table->mask_; ++i) {
            for (Shape* shape = table->buckets()[i].load(std::memory_order_acquire);
                 shape != nullptr;)
                Shape::destroy(std::exchange(shape, shape->next_));
        }
        deleteBlock(table);
    }

    const Shape* find(const FlatTree& tree, const ulong32* values, ulong32 count,
                      std::uint64_t hash) noexcept {
        const Shape* shape = bucketOf(hash).load(std::memory_order_acquire);
        while (shape != nullptr && !(shape->hash_ == hash && shape->fits(tree, values, count)))
            shape = shape->next_;
        return shape;
    }
    void add(Shape* shape) noexcept {
        Bucket& bucket = bucketOf(shape->hash_);
        shape->next_ = bucket.load(std::memory_order_relaxed);
        while (!bucket.compare_exchange_weak(shape->next_, shape, std::memory_order_acq_rel)) {
        }
    }

private:
    using Bucket = std::atomic<Shape*>;

    explicit ShapeTable(std::size_t buckets) noexcept : mask_(buckets - 1) {}
    Bucket* buckets() noexcept { return reinterpret_cast<Bucket*>(this + 1); }
    Bucket& bucketOf(std::uint64_t hash) noexcept { return buckets()[hash & mask_]; }

    std::size_t mask_;
};

void Block::end() noexcept {
    if (tree == this) return FlatTree::destroy(tree);
    if (tree != nullptr) tree->giveUp(1);
    deleteBlock(this);
}

FlatTree* FlatTree::makeIn(std::size_t room, istr text, istr more, const Node* nodes,
                           std::size_t count) {
    static constexpr char kPadding[sizeof(std::uint64_t)] = {};
    const std::size_t size = text.size() + more.size();
    void* const block = newNode(sizeof(FlatTree) + kRootRoom + room + size + sizeof kPadding,
                                __FILE__, __LINE__, kMaker);
    char* const memory = static_cast<char*>(block) + sizeof(FlatTree) + kRootRoom;
    if (room != 0) {
        std::memcpy(memory, nodes, count * sizeof(Node));
        nodes = reinterpret_cast<const Node*>(memory);
    }
    char* const copy = memory + room;
    std::memcpy(copy, text.data(), text.size());
    if (!more.empty()) std::memcpy(copy + text.size(), more.data(), more.size());
    std::memcpy(copy + size, kPadding, sizeof kPadding);
    auto* const tree = ::new (block) FlatTree(copy, nodes, room == 0);
    tree->makeRoot();
    return tree;
}

void FlatTree::makeRoot() noexcept {
    JsonValue* value = nullptr;
    if (nodes_[0].isObject()) {
        value = ::new (root()) JsonObject();
    } else {
        value = ::new (root()) JsonArray();
    }
    value->isUnmade_ = true;
    value->place_ = sizeof(FlatTree) / alignof(void*);
}

FlatTree* FlatTree::make(istr text, istr more, std::span<const Node> nodes) {
    return makeIn(nodes.size_bytes(), text, more, nodes.data(), nodes.size());
}

FlatTree* FlatTree::makeAround(istr text, istr more, std::span<const Node> nodes) {
    FlatTree* const tree = makeIn(0, text, more, nodes.data(), nodes.size());
    blockAllocated(const_cast<Node*>(nodes.data()), __FILE__, __LINE__, kMaker);
    return tree;
}

void FlatTree::destroy(FlatTree* tree) noexcept {
    ShapeTable::destroy(tree->shapes_.load(std::memory_order_acquire));
    if (tree->ownsNodes_) deleteBlock(const_cast<Node*>(tree->nodes_));
    std::destroy_at(tree);
    deleteBlock(tree);
}

ShapeTable& FlatTree::shapes() {
    if (ShapeTable* const table = shapes_.load(std::memory_order_acquire)) return *table;
    ShapeTable* const made = ShapeTable::make(nodes_[0].size);
    ShapeTable* other = nullptr;
    if (shapes_.compare_exchange_strong(other, made, std::memory_order_acq_rel)) return *made;
    ShapeTable::destroy(made);
    return *other;
}

const Shape& FlatTree::shapeOf(const ulong32* values, std::size_t count) {
    const auto size = static_cast<ulong32>(count);
    std::atomic<const Shape*>& recent = recentOf(values, count);
    const Shape* const known = recent.load(std::memory_order_acquire);
    if (known != nullptr && known->fits(*this, values, size)) return *known;
    const Shape& shape = sharedShapeOf(values, size);
    recent.store(&shape, std::memory_order_release);
    return shape;
}

const Shape& FlatTree::sharedShapeOf(const ulong32* values, ulong32 count) {
    TextHash hash;
    for (ulong32 i = 0; i < count; ++i)
        hash.add(text(nodes_[values[i] - 1]));
    ShapeTable& table = shapes();
    if (const Shape* const shape = table.find(*this, values, count, hash.value())) return *shape;
    Shape* const shape = Shape::make(*this, values, count, hash.value());
    table.add(shape);
    return *shape;
}

Shape* Shape::make(const FlatTree& tree, const ulong32* values, ulong32 count, std::uint64_t hash) {
    const std::size_t size = sizeof(Shape) + count * (sizeof(String) + 2 * sizeof(ulong32));
    void* const block = newNode(size, __FILE__, __LINE__, kMaker);
    const auto release = [](Shape* shape) { destroy(shape); };
    std::unique_ptr<Shape, decltype(release)> shape(::new (block) Shape(count, hash));
    shape->setKeys(tree, values);
    return shape.release();
}

void Shape::setKeys(const FlatTree& tree, const ulong32* values) {
    const auto keyOf = [&](ulong32 i) { return tree.text(tree.node(values[i] - 1)); };
    std::vector<ulong32> order(count_);
    std::iota(order.begin(), order.end(), 0U);
    std::sort(order.begin(), order.end(), [&](ulong32 left, ulong32 right) {
        const int compared = keyOf(left).compare(keyOf(right));
        return compared != 0 ? compared < 0 : left < right;
    });
    auto* const keys = const_cast<String*>(this->keys());
    auto* const places = const_cast<ulong32*>(this->places());
    auto* const ranks = const_cast<ulong32*>(this->ranks());
    for (const ulong32 i : order) {
        const istr key = keyOf(i);
        if (size_ == 0 || istr(keys[size_ - 1]) != key) {
            ::new (keys + size_) String(key);
            ++size_;
        }
        places[size_ - 1] = i;
        ranks[i] = size_ - 1;
    }
}

bool Shape::fits(const FlatTree& tree, const ulong32* values, ulong32 count) const noexcept {
    if (count != count_) return false;
    for (ulong32 i = 0; i < count_; ++i) {
        if (istr(key(ranks()[i])) != tree.text(tree.node(values[i] - 1))) return false;
    }
    return true;
}

Shape::~Shape() {
    std::destroy_n(const_cast<String*>(keys()), size_);
}

void Shape::destroy(Shape* shape) noexcept {
    shape->~Shape();
    deleteBlock(shape);
}

}  // namespace qor::json
