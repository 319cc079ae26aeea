#ifndef QOR_SRC_JSON_TREE_MAKER_H
#define QOR_SRC_JSON_TREE_MAKER_H

#include "json/flat_tree.h"
#include "qor/base/inline_vector.h"
#include "qor/json/json_unit.h"

namespace qor::json {

// What a unit that is not made yet refers to.
struct LazyUnit {
    Block* block;  // that the unit is in
    ulong32 node;

    FlatTree& tree() const noexcept { return *block->tree; }
    Node content() const noexcept { return tree().node(node); }
    // Of the node, without making anything.
    istr text() const noexcept { return tree().textOf(content()); }
};

// Makes the values of a flat tree, in its pages. A container is made with its slots, and with as
// many of the containers in it, and of those that follow it in the same array, as there is room
// for; the other values in the slots are made later. Nothing changes if memory runs out.
class TreeMaker : noncopyable {
public:
    // The greatest distance from the start of its block that a unit can store. A container with
    // more units than fit raises std::bad_alloc.
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

    // A container that will be created.
    struct Container {
        ulong32 node;
        ulong32 count;       // of its slots
        const Shape* shape;  // of an object
        ulong32 values;      // of a deep object: where in nodes_ those of its values begin
    };
    // The room that is filled at once, unless the first container needs more. Deeper containers are
    // created later.
    static constexpr std::size_t kRoomAtOnce = 8 * 1024;
    static constexpr unsigned kMostDepth = 32;

    explicit TreeMaker(FlatTree& tree) noexcept : tree_(tree) {}

    static JsonValue* makeScalar(const LazyUnit& at, bool viewed);
    static JsonValue* makeInTree(const LazyUnit& at, istr text);
    static const JsonUnit* next(const JsonUnit& unit) noexcept;

    void makeContainers(const JsonUnit& first);

    Container look(ulong32 node);
    ulong32 countOf(ulong32 array) const noexcept;
    // Between these two only shapes can raise.
    void openRoom(std::size_t size);
    void closeRoom() noexcept;
    void* take(std::size_t size) noexcept { return std::exchange(at_, at_ + size); }

    JsonValue* make(const Container& container, unsigned depth) noexcept;
    bool hasRoom(bool object, ulong32 count) noexcept;
    // Null if there is no room for it.
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
    char* at_ = nullptr;  // the free room in the page
    char* end_ = nullptr;
    std::size_t values_ = 0;  // that were made
    InlineVector<ulong32, 256> nodes_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_MAKER_H
