#include "json/flat_tree.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>

#include "base/node_memory.h"
#include "base/text_hash.h"
#include "json/key_prefix.h"
#include "qor/base/byte_order.h"

namespace qor::json {

namespace {

constexpr const char* kMaker = "qor::json::JsonParser::from";
constexpr const char* kPageMaker = "qor::json::JsonUnit::value";
constexpr const char* kEnder = "qor::json::JsonValue::~JsonValue";

constexpr std::size_t kRootRoom = std::max(sizeof(JsonArray), sizeof(JsonObject));

template <class T>
constexpr std::size_t aligned(std::size_t size) noexcept {
    return (size + alignof(T) - 1) / alignof(T) * alignof(T);
}

void deleteBlock(void* block) noexcept {
    deleteNode(block, kEnder);
}

// Compares n bytes; a word must be readable after both texts. Most keys are short: a few words are
// compared without a function call.
bool areEqual(const char* left, const char* right, std::size_t n) noexcept {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    const auto differ = [=](std::size_t at) {
        return loadLowByteFirst<std::uint64_t>(left + at) ^
               loadLowByteFirst<std::uint64_t>(right + at);
    };
    if (n < kWord) {
        // Shifts out the bytes after the texts.
        return n == 0 || differ(0) << 8 * (kWord - n) == 0;
    }
    if (n <= 2 * kWord) return (differ(0) | differ(n - kWord)) == 0;
    if (n <= 4 * kWord)
        return (differ(0) | differ(kWord) | differ(n - 2 * kWord) | differ(n - kWord)) == 0;
    return std::memcmp(left, right, n) == 0;
}

}  // namespace

// Finds shapes by their hash and by their number. Shapes are only added, so no lock is needed.
class ShapeTable : noncopyable {
public:
    using Slot = std::atomic<Shape*>;

    static ShapeTable* make(std::size_t nodes) {
        // Few buckets are enough: most trees have many objects of few shapes, or few objects with
        // many keys. If each object has keys of its own, a list has about ten shapes.
        const std::size_t buckets = std::bit_ceil(std::max<std::size_t>(nodes / 32, 8));
        const std::size_t size = sizeof(ShapeTable) + buckets * sizeof(Slot);
        void* const block = newNode(size, kMaker);
        auto* const table = ::new (block) ShapeTable(buckets);
        std::uninitialized_value_construct_n(table->buckets(), buckets);
        return table;
    }
    static void destroy(ShapeTable* table) noexcept {
        if (table == nullptr) return;
        for (std::size_t i = 0; i <= table->mask_; ++i)
            Shape::destroyList(table->buckets()[i].load(std::memory_order_acquire));
        for (auto& chunk : table->chunks_)
            deleteBlock(chunk.load(std::memory_order_acquire));
        deleteBlock(table);
    }

    // The shape with this number, which must not be 0.
    const Shape& of(ulong32 number) const noexcept {
        const Place place = placeOf(number);
        return *chunks_[place.chunk].load(std::memory_order_acquire)[place.at];
    }
    // The cached shape of the last object with keys of these sizes.
    Slot& recent(ulong32 count, ulong32 firstSize, ulong32 lastSize) noexcept {
        return recent_[(count * 31 + firstSize * 7 + lastSize) % std::size(recent_)];
    }
    const Shape* find(const FlatTree& tree, const FlatTree::Values& values,
                      std::uint64_t hash) noexcept {
        const Shape* shape = bucketOf(hash).load(std::memory_order_acquire);
        while (shape != nullptr && !(shape->hash_ == hash && shape->fits(tree, values)))
            shape = shape->next_;
        return shape;
    }
    void add(Shape* shape) noexcept {
        setNumber(*shape);
        shape->pushTo(bucketOf(shape->hash_));
    }

private:
    // The shapes by number are in chunks, each twice as large as the previous one.
    static constexpr ulong32 kFirstChunk = 8;
    static constexpr std::size_t kChunks = 17;
    static_assert((kFirstChunk << kChunks) > Node::kMostShapes);
    struct Place {
        std::size_t chunk;
        ulong32 at;
    };
    static Place placeOf(ulong32 number) noexcept {
        const auto chunk = static_cast<std::size_t>(std::bit_width(number / kFirstChunk + 1)) - 1;
        return {chunk, number - kFirstChunk * ((1U << chunk) - 1)};
    }

    explicit ShapeTable(std::size_t buckets) noexcept : mask_(buckets - 1) {}
    Slot* buckets() noexcept { return reinterpret_cast<Slot*>(this + 1); }
    Slot& bucketOf(std::uint64_t hash) noexcept { return buckets()[hash & mask_]; }

    // If memory runs out, or if there are too many shapes, the shape gets no number.
    void setNumber(Shape& shape) noexcept try {
        const ulong32 number = numbers_.fetch_add(1, std::memory_order_relaxed) + 1;
        if (number > Node::kMostShapes) {
            numbers_.store(Node::kMostShapes, std::memory_order_relaxed);
            return;
        }
        const Place place = placeOf(number);
        chunkOf(place.chunk)[place.at] = &shape;
        shape.number_ = number;
    } catch (const std::bad_alloc&) {
    }
    const Shape** chunkOf(std::size_t i) {
        if (const Shape** const chunk = chunks_[i].load(std::memory_order_acquire)) return chunk;
        const std::size_t size = (kFirstChunk << i) * sizeof(Shape*);
        auto** const made = static_cast<const Shape**>(newNode(size, kMaker));
        const Shape** other = nullptr;
        if (chunks_[i].compare_exchange_strong(other, made, std::memory_order_acq_rel)) return made;
        deleteBlock(made);
        return other;
    }

    std::size_t mask_;
    std::atomic<ulong32> numbers_{0};
    std::atomic<const Shape**> chunks_[kChunks] = {};
    Slot recent_[64] = {};
};

void Block::end() noexcept {
    if (isTree()) return FlatTree::destroy(tree);
    if (tree != nullptr) tree->giveUp(1);
    deleteBlock(this);
}

// A block for the tree and its root, with `room` bytes for nodes and text after them.
void* FlatTree::newBlock(std::size_t room) {
    return newNode(sizeof(FlatTree) + kRootRoom + room + kPadding, kMaker);
}

char* FlatTree::memoryOf(void* block) noexcept {
    return static_cast<char*>(block) + sizeof(FlatTree) + kRootRoom;
}

FlatTree* FlatTree::makeIn(std::size_t room, istr text, istr more, Node* nodes, std::size_t count) {
    void* const block = newBlock(room + text.size() + more.size());
    char* const memory = memoryOf(block);
    if (room != 0) {
        std::memcpy(memory, nodes, count * sizeof(Node));
        nodes = reinterpret_cast<Node*>(memory);
    }
    std::memcpy(memory + room, text.data(), text.size());
    return construct(block, text.size(), more, nodes, room);
}

// The text is already in the block, after `room` bytes.
FlatTree* FlatTree::construct(void* block, std::size_t textSize, istr more, Node* nodes,
                              std::size_t room) noexcept {
    const std::size_t size = textSize + more.size();
    char* const copy = memoryOf(block) + room;
    if (!more.empty()) std::memcpy(copy + textSize, more.data(), more.size());
    std::memset(copy + size, 0, kPadding);
    auto* const tree = ::new (block) FlatTree({copy, size, nodes}, room == 0);
    tree->makeRoot();
    return tree;
}

void FlatTree::makeRoot() noexcept {
    JsonValue* value = nullptr;
    if (nodes[0].isObject()) {
        value = ::new (root()) JsonObject();
    } else {
        value = ::new (root()) JsonArray();
    }
    value->isUnmade_ = true;
    value->place_ = sizeof(FlatTree) / alignof(JsonValue);
}

FlatTree* FlatTree::make(istr text, istr more, std::span<Node> nodes) {
    return makeIn(nodes.size_bytes(), text, more, nodes.data(), nodes.size());
}

FlatTree* FlatTree::makeAround(istr text, istr more, std::span<Node> nodes) {
    FlatTree* const tree = makeIn(0, text, more, nodes.data(), nodes.size());
    blockAllocated(nodes.data(), __FILE__, __LINE__, kMaker);
    return tree;
}

FlatTree* FlatTree::makeOf(Draft& draft, std::size_t textSize, istr more,
                           std::span<Node> nodes) noexcept {
    blockAllocated(nodes.data(), __FILE__, __LINE__, kMaker);
    return construct(std::exchange(draft.block_, nullptr), textSize, more, nodes.data(), 0);
}

FlatTree::Draft::~Draft() {
    if (block_ != nullptr) deleteBlock(block_);
}

void FlatTree::destroy(FlatTree* tree) noexcept {
    Shape::destroyList(tree->listed_.load(std::memory_order_acquire));
    ShapeTable::destroy(tree->shapes_.load(std::memory_order_acquire));
    for (Page* page = tree->pages_.load(std::memory_order_acquire); page != nullptr;)
        deleteBlock(std::exchange(page, page->previous));
    if (tree->ownsNodes_) deleteBlock(tree->nodes);
    std::destroy_at(tree);
    deleteBlock(tree);
}

// The rest of a page that is too small is not used any more. For a large container, the page is
// kept and the container gets its own one.
Page& FlatTree::takePage(std::size_t size) {
    Page* const spare = takeSpare();
    if (spare != nullptr && spare->room() >= size) return *spare;
    if (spare == nullptr || size <= kLargeInPage)
        return *makePage(std::max(size, std::min(nodes[0].size * kBytesOfNode, kMostOfPage)));
    Page* const own = makePage(size);
    leavePage(*spare);
    return *own;
}

Page* FlatTree::takeSpare() noexcept {
    for (auto& place : spares_) {
        if (place.load(std::memory_order_relaxed) == nullptr) continue;
        if (Page* const spare = place.exchange(nullptr, std::memory_order_acquire)) return spare;
    }
    return nullptr;
}

void FlatTree::leavePage(Page& page) noexcept {
    if (page.room() == 0) return;
    for (auto& place : spares_) {
        Page* none = nullptr;
        if (place.load(std::memory_order_relaxed) == nullptr &&
            place.compare_exchange_strong(none, &page, std::memory_order_release,
                                          std::memory_order_relaxed))
            return;
    }
}

Page* FlatTree::makePage(std::size_t room) {
    void* const block = newNode(sizeof(Page) + room, kPageMaker);
    char* const first = static_cast<char*>(block) + sizeof(Page);
    auto* const page = ::new (block) Page{{{0}, this}, nullptr, first, first + room};
    page->previous = pages_.load(std::memory_order_relaxed);
    while (!pages_.compare_exchange_weak(page->previous, page, std::memory_order_acq_rel)) {
    }
    return page;
}

ShapeTable& FlatTree::shapes() {
    ShapeTable* const table = shapes_.load(std::memory_order_acquire);
    return table != nullptr ? *table : makeShapes();
}

[[gnu::noinline]] ShapeTable& FlatTree::makeShapes() {
    ShapeTable* const made = ShapeTable::make(nodes[0].size);
    ShapeTable* other = nullptr;
    if (shapes_.compare_exchange_strong(other, made, std::memory_order_acq_rel)) return *made;
    ShapeTable::destroy(made);
    return *other;
}

// The calls for a known shape are inlined.
[[gnu::flatten]] const Shape& FlatTree::shapeOf(Node& object, const Values& values) {
    const Node before = object.load(std::memory_order_acquire);
    if (const ulong32 number = before.shape(); number != 0) return shapes().of(number);
    const Shape& shape = nodes[0].size <= kFewNodes ? listedShapeOf(values) : tabledShapeOf(values);
    if (shape.number_ != 0) object.storeBegin(before.begin + 4 * shape.number_);
    return shape;
}

const Shape& FlatTree::listedShapeOf(const Values& values) {
    for (const Shape* shape = listed_.load(std::memory_order_acquire); shape != nullptr;
         shape = shape->next_) {
        if (shape->fits(*this, values)) return *shape;
    }
    Shape* const made = Shape::make(*this, values, 0);
    made->pushTo(listed_);
    return *made;
}

const Shape& FlatTree::tabledShapeOf(const Values& values) {
    const ulong32 count = values.count;
    const auto sizeOf = [&](ulong32 i) { return i < count ? values.key(*this, i).size : 0; };
    ShapeTable::Slot& recent = shapes().recent(count, sizeOf(0), sizeOf(count - 1));
    const Shape* const known = recent.load(std::memory_order_acquire);
    if (known != nullptr && known->fits(*this, values)) return *known;
    const Shape& shape = foundShapeOf(values);
    recent.store(const_cast<Shape*>(&shape), std::memory_order_release);
    return shape;
}

[[gnu::noinline]] const Shape& FlatTree::foundShapeOf(const Values& values) {
    TextHash hash;
    for (ulong32 i = 0; i < values.count; ++i)
        hash.add(textOf(values.key(*this, i)));
    ShapeTable& table = shapes();
    if (const Shape* const found = table.find(*this, values, hash.value())) return *found;
    Shape* const made = Shape::make(*this, values, hash.value());
    table.add(made);
    return *made;
}

void Shape::pushTo(std::atomic<Shape*>& list) noexcept {
    next_ = list.load(std::memory_order_relaxed);
    while (!list.compare_exchange_weak(next_, this, std::memory_order_acq_rel)) {
    }
}

void Shape::destroyList(Shape* first) noexcept {
    while (first != nullptr)
        destroy(std::exchange(first, first->next_));
}

[[gnu::noinline]] Shape* Shape::make(const FlatTree& tree, const Values& values,
                                     std::uint64_t hash) {
    const ulong32 count = values.count;
    const std::size_t size =
        sizeof(Shape) + count * (sizeof(String) + sizeof(Node) + sizeof(ulong32));
    void* const block = newNode(size, kMaker);
    const auto release = [](Shape* shape) { destroy(shape); };
    std::unique_ptr<Shape, decltype(release)> shape(::new (block) Shape(count, hash));
    shape->setKeys(tree, values);
    return shape.release();
}

void Shape::setKeys(const FlatTree& tree, const Values& values) {
    const auto keyOf = [&](ulong32 i) { return tree.textOf(values.key(tree, i)); };
    struct Keyed {
        std::uint64_t prefix;
        ulong32 i;
    };
    InlineVector<Keyed, 64> order;
    for (ulong32 i = 0; i < count_; ++i)
        order.push_back(keyPrefix(keyOf(i)), i);
    std::sort(order.begin(), order.end(), [&](const Keyed& left, const Keyed& right) {
        if (left.prefix != right.prefix) return left.prefix < right.prefix;
        const int compared = keyOf(left.i).compare(keyOf(right.i));
        return compared != 0 ? compared < 0 : left.i < right.i;
    });
    auto* const keys = const_cast<String*>(this->keys());
    auto* const places = const_cast<ulong32*>(this->places());
    auto* const nodes = const_cast<Node*>(this->nodes());
    for (const auto& [prefix, i] : order) {
        const istr key = keyOf(i);
        if (size_ == 0 || istr(keys[size_ - 1]) != key) {
            ::new (keys + size_) String(key);
            ++size_;
        }
        places[size_ - 1] = i;
        nodes[i] = values.key(tree, i);
    }
}

bool Shape::fits(const FlatTree& tree, const Values& values) const noexcept {
    if (values.count != count_) return false;
    const Node* const nodes = this->nodes();
    const char* const text = tree.text;
    for (ulong32 i = 0; i < count_; ++i) {
        const Node key = values.key(tree, i);
        if (key.size != nodes[i].size) return false;
        if (!areEqual(text + key.begin, text + nodes[i].begin, key.size)) return false;
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
