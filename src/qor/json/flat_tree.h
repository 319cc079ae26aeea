#ifndef QOR_SRC_JSON_FLAT_TREE_H
#define QOR_SRC_JSON_FLAT_TREE_H

#include <atomic>
#include <cstddef>
#include <cstring>
#include <span>

#include "qor/base/base_type_string.h"
#include "qor/base/inline_vector.h"
#include "qor/base/interface.h"
#include "qor/json/json_node.h"
#include "qor/json/json_unit.h"

namespace qor::json {

static_assert(alignof(JsonUnit) == alignof(JsonValue));

class FlatTree;
class Shape;
class ShapeTable;

// The start of memory that contains units: the block of a tree, a page of it, or the units of an
// array that has grown. Except for pages, it has a reference count, and is freed when that becomes
// 0, on any thread.
struct Block {
    alignas(JsonValue) std::atomic<std::size_t> shares;
    FlatTree* tree;  // the tree of which units here own a reference; null if none does

    // Whether this is the block of a tree, with its root value.
    bool isTree() const noexcept { return this == reinterpret_cast<const Block*>(tree); }
    void giveUp(std::size_t count) noexcept {
        if (shares.fetch_sub(count, std::memory_order_acq_rel) == count) end();
    }

private:
    void end() noexcept;
};

// Memory of a tree, in which its values are created one after the other. It is freed with the tree.
struct Page : Block {
    std::size_t room() const noexcept { return static_cast<std::size_t>(end - next); }

    Page* previous;
    char* next;  // the start of the free memory
    char* end;
};

// A parsed tree. One thread at a time may create values from it, but several threads may use those
// that were taken out, each thread its own, and create what these contain; any thread may use
// views, which create no values. The text is never changed. Any thread may add shapes and pages,
// and store the shape of an object in its node. Each value in the tree's memory owns a reference to
// the tree. The tree is the block of its root value.
class alignas(JsonValue) FlatTree : public Block, public NodeTree, noncopyable {
public:
    // The new tree has one reference. The root value is created in it, an array or an object as the
    // first node says. The positions of nodes refer to `text` or, from its end on, to `more`.
    static FlatTree* make(istr text, istr more, std::span<Node> nodes);
    // The same, but owns the nodes' memory, which operator new allocated, unless it raises.
    static FlatTree* makeAround(istr text, istr more, std::span<Node> nodes);
    // The same, with a text that was copied to `draft`, for which fits() is true. Does not raise.
    class Draft;
    static FlatTree* makeOf(Draft& draft, std::size_t textSize, istr more,
                            std::span<Node> nodes) noexcept;
    static void destroy(FlatTree* tree) noexcept;

    JsonValue* root() noexcept { return reinterpret_cast<JsonValue*>(this + 1); }
    JsonKind kindOf(const Node& node) const noexcept;
    // The node must not be a container.
    JsonKind scalarKindOf(const Node& node) const noexcept;
    istr wholeText() const noexcept { return istr(text, textSize); }
    // Whether the strings in the text are unescaped.
    bool isUnescaped() const noexcept { return isUnescaped_; }
    void setUnescaped() noexcept { isUnescaped_ = true; }
    // This number of bytes can be read after the text of a tree.
    static constexpr std::size_t kPadding = 32;
    // Copies a part of the tree's text and returns the end of the copy. Up to kPadding more bytes
    // may be written, for which there must be room.
    static char* copyText(char* to, istr text) noexcept {
        if (text.size() > kPadding) {
            std::memcpy(to, text.data(), text.size());
        } else {
            std::memcpy(to, text.data(), kPadding);
        }
        return to + text.size();
    }

    // The nodes of an object's values, in the order of the text; the node before a value is its
    // key. If the object is not deep, they are every second node; otherwise they are in `list`.
    struct Values {
        ulong32 operator[](ulong32 i) const noexcept {
            return list != nullptr ? list[i] : first + 2 * i;
        }
        Node key(const FlatTree& tree, ulong32 i) const noexcept {
            return tree.node((*this)[i] - 1);
        }

        const ulong32* list;
        ulong32 first;
        ulong32 count;
    };
    // The shape of an object. Appends the indexes of the nodes of its values, in the order of the
    // text.
    template <std::size_t N>
    const Shape& shapeOf(ulong32 object, InlineVector<ulong32, N>& values);
    Values shallowValues(ulong32 object) const noexcept {
        return {nullptr, object + 2, nodes[object].size / 2};
    }
    // The same for an object that is not deep.
    const Shape& shapeOfShallow(ulong32 object) {
        return shapeOf(nodes[object], shallowValues(object));
    }

    // A page with room for `size` bytes, used only by the caller until leavePage.
    Page& takePage(std::size_t size);
    void leavePage(Page& page) noexcept;

private:
    FlatTree(const NodeTree& content, bool ownsNodes) noexcept
        : Block{{1}, this}, NodeTree(content), ownsNodes_(ownsNodes) {}
    Page* takeSpare() noexcept;
    Page* makePage(std::size_t room);
    static FlatTree* makeIn(std::size_t room, istr text, istr more, Node* nodes, std::size_t count);
    static FlatTree* construct(void* block, std::size_t textSize, istr more, Node* nodes,
                               std::size_t room) noexcept;
    static void* newBlock(std::size_t room);
    static char* memoryOf(void* block) noexcept;
    void makeRoot() noexcept;
    const Shape& shapeOf(Node& object, const Values& values);
    const Shape& listedShapeOf(const Values& values);
    const Shape& tabledShapeOf(const Values& values);
    const Shape& foundShapeOf(const Values& values);
    ShapeTable& shapes();
    ShapeTable& makeShapes();

    // In a tree of up to this number of nodes, a list of all shapes takes less time and memory than
    // a table.
    static constexpr ulong32 kFewNodes = 64;
    // The size of a page: about that of all values of a small tree, at most kMostOfPage unless a
    // single container needs more.
    static constexpr std::size_t kBytesOfNode = 16, kMostOfPage = 64 * 1024 - 64;
    static constexpr std::size_t kLargeInPage = 2 * 1024;

    bool ownsNodes_;
    bool isUnescaped_ = false;
    std::atomic<Shape*> listed_{nullptr};
    std::atomic<ShapeTable*> shapes_{nullptr};
    std::atomic<Page*> pages_{nullptr};  // all pages, the last one first
    // The pages in which the next values are created: one for each thread that creates values at
    // the same time. If there are more threads, the rests of some pages are not used.
    std::atomic<Page*> spares_[8] = {};
};

// The memory of a tree whose text is copied during the parse.
class FlatTree::Draft : noncopyable {
public:
    // A draft without memory.
    Draft() noexcept = default;
    // With room for `moreSize` bytes after the text.
    Draft(std::size_t textSize, std::size_t moreSize)
        : block_(newBlock(textSize + moreSize)), textSize_(textSize), room_(textSize + moreSize) {}
    ~Draft();

    // The memory to which the text is copied; null without memory.
    char* text() const noexcept { return block_ != nullptr ? memoryOf(block_) : nullptr; }
    // Whether the text and the bytes after it leave little of the memory unused.
    bool fits(std::size_t textSize, std::size_t moreSize) const noexcept {
        return block_ != nullptr && textSize + moreSize <= room_ &&
               textSize >= textSize_ - textSize_ / kUnusedPart;
    }
    // At most 1 / kUnusedPart of a tree's memory may be unused.
    static constexpr std::size_t kUnusedPart = 8;

private:
    friend FlatTree;

    void* block_ = nullptr;
    std::size_t textSize_ = 0;
    std::size_t room_ = 0;
};

// The sorted keys of a parsed object. Objects with the same keys in the same order of the text
// share a shape.
class Shape : noncopyable {
public:
    // The number of keys; a repeated key counts once.
    ulong32 size() const noexcept { return size_; }
    const String& key(ulong32 i) const noexcept { return keys()[i]; }
    // The place of the key's value among the values in the order of the text; for a repeated key,
    // that of the last one.
    ulong32 place(ulong32 i) const noexcept { return places()[i]; }
    // The places of all keys.
    const ulong32* places() const noexcept {
        return reinterpret_cast<const ulong32*>(nodes() + count_);
    }

private:
    friend ShapeTable;
    friend FlatTree;

    Shape(ulong32 count, std::uint64_t hash) noexcept : hash_(hash), count_(count) {}
    ~Shape();
    using Values = FlatTree::Values;
    static Shape* make(const FlatTree& tree, const Values& values, std::uint64_t hash);
    static void destroy(Shape* shape) noexcept;
    static void destroyList(Shape* first) noexcept;
    void pushTo(std::atomic<Shape*>& list) noexcept;
    void setKeys(const FlatTree& tree, const Values& values);
    bool fits(const FlatTree& tree, const Values& values) const noexcept;

    const String* keys() const noexcept { return reinterpret_cast<const String*>(this + 1); }
    // The layout in memory: the Shape, room for count_ keys, the key nodes of the first object with
    // this shape in the order of the text, and the places.
    const Node* nodes() const noexcept { return reinterpret_cast<const Node*>(keys() + count_); }

    std::uint64_t hash_;
    Shape* next_ = nullptr;
    ulong32 number_ = 0;  // in the table; 0 if it has none
    ulong32 count_;       // the number of keys in the text, repeated ones included
    ulong32 size_ = 0;
};

inline JsonKind FlatTree::kindOf(const Node& node) const noexcept {
    if (node.isContainer()) return node.isObject() ? JsonKind::Object : JsonKind::Array;
    return scalarKindOf(node);
}

inline JsonKind FlatTree::scalarKindOf(const Node& node) const noexcept {
    return Node::scalarKind(textOf(node));
}

template <std::size_t N>
const Shape& FlatTree::shapeOf(ulong32 object, InlineVector<ulong32, N>& values) {
    const std::size_t before = values.size();
    const ulong32 end = object + nodes[object].size;
    for (ulong32 i = object + 2; i < end; i += 1 + node(i).span())
        values.push_back(i);
    const auto count = static_cast<ulong32>(values.size() - before);
    return shapeOf(nodes[object], {values.data() + before, 0, count});
}

}  // namespace qor::json

#endif  // QOR_SRC_JSON_FLAT_TREE_H
