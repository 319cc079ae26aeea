#ifndef QOR_SRC_JSON_TREE_MAKER_H
#define QOR_SRC_JSON_TREE_MAKER_H

#include "base/inline_vector.h"
#include "json/flat_tree.h"
#include "qor/json/json_unit.h"

namespace qor::json {

// What a unit that is not made yet refers to.
struct LazyUnit {
    Block* block;  // that the unit is in
    ulong32 node;

    FlatTree& tree() const noexcept { return *block->tree; }
    const Node& content() const noexcept { return tree().node(node); }
    // Of the node, without making anything.
    istr text() const noexcept { return tree().text(content()); }
};

// Makes the values of a flat tree. A container is made with its slots, and with as many of the
// containers in it, and of those that follow it in the same array, as a block of moderate size
// takes; the other values in the slots are made later. Nothing changes if memory runs out.
class TreeMaker : noncopyable {
public:
    // A unit can tell no greater distance from the start of its block. A container with more units
    // than fit raises std::bad_alloc.
    static constexpr std::size_t kMostRoom = JsonUnit::kDistance;

    // The unit must be lazy.
    static LazyUnit lazyAt(const JsonUnit& unit) noexcept {
        const char* const at = reinterpret_cast<const char*>(&unit);
        const auto distance = static_cast<std::size_t>(unit.word_ & JsonUnit::kDistance);
        return {reinterpret_cast<Block*>(const_cast<char*>(at) - distance),
                static_cast<ulong32>(unit.word_ >> JsonUnit::kNodeShift)};
    }
    // Makes the value of a lazy unit.
    static void make(const JsonUnit& unit);
    // Make the slots of a root.
    static void makeSlots(const JsonArray& root);
    static void makeSlots(const JsonObject& root);

    // Moves a unit, which may be lazy, to memory in a block of the same tree.
    static void relocate(JsonUnit& from, void* to, Block* block) noexcept;

private:
    using Pair = JsonObject::value_type;
    using Word = JsonUnit::Word;

    // A container that is going to be made; a flat array needs no plan.
    struct Plan {
        const Shape* shape;  // of an object
        ulong32 count;       // of its slots
        ulong32 children;    // how many of the containers in it are made too, the first ones
        ulong32 nodes;       // of an object: where in nodes_ those of its values begin
    };
    // A block is made for no more nodes than this, unless its first container has more, and not
    // for what is nested more deeply.
    static constexpr ulong32 kMostNodes = 512;
    static constexpr unsigned kMostDepth = 32;

    explicit TreeMaker(FlatTree& tree) noexcept : tree_(tree) {}

    static JsonValue* makeScalar(const LazyUnit& at, bool viewed);
    static JsonValue* makeInTree(const LazyUnit& at, istr text);
    static const JsonUnit* next(const JsonUnit& unit) noexcept;

    void makeContainers(const JsonUnit& first);
    template <class T, class Fill>
    void makeSlotsOf(const T& root, Fill fill);

    // First all containers of the block are planned; from makeBlock on nothing raises any more.
    bool includes(ulong32 node, unsigned depth);
    void plan(ulong32 node, unsigned depth);
    Plan planArray(ulong32 node, unsigned depth);
    Plan planObject(ulong32 node, unsigned depth);
    void makeBlock();
    JsonValue* make(ulong32 node) noexcept;
    template <class T>
    T* makeValue() noexcept;
    void fillUnits(const JsonArray& array, ulong32 node, const Plan& plan) noexcept;
    void fillPairs(const JsonObject& object, const Plan& plan) noexcept;
    Word lazyWord(const void* unit, ulong32 node, Word marks) const noexcept;
    void* take(std::size_t size) noexcept { return std::exchange(at_, at_ + size); }

    FlatTree& tree_;
    Block* block_ = nullptr;
    char* at_ = nullptr;                // the free room in the block
    std::size_t room_ = sizeof(Block);  // of what is planned
    std::size_t values_ = 0;            // that are planned
    ulong32 nodesLeft_ = kMostNodes;
    std::size_t next_ = 0;  // the plan of the container that is made next
    InlineVector<Plan, 64> plans_;
    InlineVector<ulong32, 256> nodes_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_MAKER_H
