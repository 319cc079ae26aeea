#ifndef QOR_JSON_JSON_NODE_H
#define QOR_JSON_JSON_NODE_H

#include <atomic>
#include <cstddef>

#include "qor/base/base_type_string.h"
#include "qor/json/json_value.h"

// The form of a parsed JSON tree in memory. Programs use JsonView.

namespace qor::json {

// A parsed tree consists of its text and, in the order of the text, a node for each value and each
// key; a key is followed by its value. Array elements that are null have no node.
struct Node {
    // Marks of containers, in `begin`: the kind, properties of the content, and for an object the
    // number of its shape, once that is known.
    static constexpr ulong32 kMarks = 0xFFF00000, kArray = kMarks, kObject = kMarks + 4;
    static constexpr ulong32 kFlat = 1;  // has no container
    static constexpr ulong32 kDeep = 2;  // has a container that is not empty
    static constexpr ulong32 kMostShapes = (npos32 - kObject) / 4;
    // The largest size of a text, so that a position is never a mark.
    static constexpr ulong32 kMaxText = kMarks - 64;

    // Key or scalar: the position of its text. Container: its mark.
    ulong32 begin;
    // Key or scalar: the size of its text, including the quotes of a string; 0 for null. Container:
    // the number of its nodes, itself included.
    ulong32 size;

    bool isContainer() const noexcept { return begin >= kMarks; }
    bool isObject() const noexcept { return begin >= kObject; }
    bool isArray() const noexcept { return isContainer() && !isObject(); }
    bool isNull() const noexcept { return size == 0; }
    // These are for containers.
    bool isFlat() const noexcept { return (begin & kFlat) != 0; }
    bool isFlatArray() const noexcept { return begin == kArray + kFlat; }
    // If false, each value in it has one node.
    bool isDeep() const noexcept { return (begin & kDeep) != 0; }
    // For objects: the number of the shape; 0 if it is not known.
    ulong32 shape() const noexcept { return (begin - kObject) / 4; }
    ulong32 span() const noexcept { return isContainer() ? size : 1; }

    // The kind of a scalar with this text.
    static JsonKind scalarKind(istr text) noexcept {
        if (*text <= '9') return *text == '"' ? JsonKind::String : JsonKind::Number;
        const bool isBoolean = text == "true" || text == "false";
        return isBoolean ? JsonKind::Boolean : JsonKind::Number;
    }

    // Access to nodes of a tree: any thread may store the shape of an object in its node at any
    // time.
    Node load(std::memory_order order = std::memory_order_relaxed) const noexcept {
        return {std::atomic_ref(const_cast<ulong32&>(begin)).load(order), size};
    }
    void storeBegin(ulong32 mark) noexcept {
        std::atomic_ref(begin).store(mark, std::memory_order_release);
    }
};
static_assert(sizeof(Node) == 8);

struct NodeTree {
    Node node(ulong32 i) const noexcept { return nodes[i].load(); }
    // The text of a key or a scalar.
    istr textOf(const Node& node) const noexcept {
        // Tells the compiler that the view needs no test: a tree has no other values.
        if (text == nullptr || node.size > Node::kMaxText) __builtin_unreachable();
        return istr(text + node.begin, node.size);
    }

    const char* text;
    std::size_t textSize;
    Node* nodes;
};

}  // namespace qor::json

#endif  // QOR_JSON_JSON_NODE_H
