#ifndef QOR_SRC_JSON_TREE_MAKER_H
#define QOR_SRC_JSON_TREE_MAKER_H

#include "json/flat_tree.h"
#include "qor/base/inline_vector.h"
#include "qor/json/json_unit.h"

namespace qor::json {

// The block and the node of a lazy unit.
struct LazyUnit {
    Block* block;  // in which the unit is
    ulong32 node;

    FlatTree& tree() const noexcept { return *block->tree; }
    Node content() const noexcept { return tree().node(node); }
    // The text of the node; creates nothing.
    istr text() const noexcept { return tree().textOf(content()); }
};

// Creates the values of a flat tree, in its pages. A container is created with its units, and with
// as many of the containers in it, and of those after it in the same array, as there is room for;
// the other values of units are created later. If memory runs out, nothing is changed.
class TreeMaker : noncopyable {
public:
    // The largest distance from the start of its block that a unit can store. For a container with
    // more units, std::bad_alloc is raised.
    static constexpr std::size_t kMostRoom = JsonUnit::kDistance;

    // The unit must be lazy.
    static LazyUnit lazyAt(const JsonUnit& unit) noexcept {
        const char* const at = reinterpret_cast<const char*>(&unit);
        const auto distance = static_cast<std::size_t>(unit.word_ & JsonUnit::kDistance);
        return {reinterpret_cast<Block*>(const_cast<char*>(at) - distance),
                static_cast<ulong32>(unit.word_ >> JsonUnit::kNodeShift)};
    }
    // Creates the value of a lazy unit.
    static void make(const JsonUnit& unit);
    // Create the units of a root.
    static void makeSlots(const JsonArray& root);
    static void makeSlots(const JsonObject& root);

    // Moves a unit, which may be lazy, to memory in a block of the same tree.
    static void relocate(JsonUnit& from, void* to, Block* block) noexcept;

private:
    using Pair = JsonObject::value_type;
    using Word = JsonUnit::Word;

    // A container that will be created.
    struct Container {
        ulong32 node;
        ulong32 count;       // the number of its units
        const Shape* shape;  // of an object; null for an array
        ulong32 values;      // of a deep object: the index in nodes_ of its first value
    };
    // The memory that is filled at once, unless the first container needs more. Containers nested
    // deeper than kMostDepth are created later.
    static constexpr std::size_t kRoomAtOnce = 8 * 1024;
    static constexpr unsigned kMostDepth = 32;

    explicit TreeMaker(FlatTree& tree) noexcept : tree_(tree) {}

    static JsonValue* makeScalar(const LazyUnit& at, bool viewed);
    static JsonValue* makeInTree(const LazyUnit& at, istr text);
    static const JsonUnit* next(const JsonUnit& unit) noexcept;

    void makeContainers(const JsonUnit& first);

    Container look(ulong32 node);
    ulong32 countOf(ulong32 array) const noexcept;
    // Call these before and after creating values. In between, only look() can raise. `size` is
    // exactly what the first container takes: a page that is larger than usual is then full, and no
    // value is so far from its start that place_ could not store the distance.
    void openRoom(std::size_t size);
    void closeRoom() noexcept;
    void* take(std::size_t size) noexcept { return std::exchange(at_, at_ + size); }

    JsonValue* make(const Container& container, unsigned depth) noexcept;
    bool hasRoom(bool object, ulong32 count) noexcept;
    // Null if there is no room for the container.
    JsonValue* tryMake(ulong32 node, unsigned depth) noexcept;
    template <class T, class... Args>
    T* makeValue(Args... args) noexcept;
    JsonUnit* takeUnits(const JsonArray& array, ulong32 count) noexcept;
    void fillUnits(const JsonArray& array, const Container& of, unsigned depth) noexcept;
    void fillFlat(const JsonArray& array, ulong32 node) noexcept;
    void fillPairs(const JsonObject& object, const Container& of, unsigned depth) noexcept;
    Word wordFor(const JsonUnit& unit, ulong32 node, Word marks, unsigned depth) noexcept;
    Word placeWord(const JsonUnit* unit, ulong32 node, Word marks) const noexcept;
    Word lazyWord(const JsonUnit* unit, ulong32 node, Word marks) const noexcept;
    static Word kindWord(JsonKind kind) noexcept {
        return static_cast<Word>(kind) << JsonUnit::kDistanceBits;
    }

    FlatTree& tree_;
    Page* page_ = nullptr;
    char* at_ = nullptr;  // the start of the free memory in the page
    char* end_ = nullptr;
    std::size_t values_ = 0;  // the number of values created
    InlineVector<ulong32, 256> nodes_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_MAKER_H
