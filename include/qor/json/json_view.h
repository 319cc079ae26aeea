#ifndef QOR_JSON_JSON_VIEW_H
#define QOR_JSON_JSON_VIEW_H

#include <cstddef>
#include <iterator>
#include <string>

#include "qor/base/inline_vector.h"
#include "qor/base/interface.h"
#include "qor/json/json_conversion.h"
#include "qor/json/json_node.h"
#include "qor/json/json_value.h"

// Read-only JSON: no values of the tree are created, so that reading all of a document takes a
// fraction of the time of JsonUnit.
//
//     const JsonDocument document = JsonDocument::from(text);
//     for (const auto& [name, contact] : document.root().members()) {
//         long age = 0;
//         contact["age"] >> age;
//     }

namespace qor::json {

class JsonElements;
class JsonMembers;

// A value in a document, or none for a JSON null and for a missing value. It is passed by value. It
// and its texts are valid as long as a JsonDocument of its tree lives.
//
// Any number of threads may read a document by views at the same time. No cost depends on the depth
// of nesting.
class QOR_API JsonView {
public:
    // Of null.
    JsonView() noexcept = default;

    JsonKind kind() const noexcept {
        if (node_ == nullptr) return JsonKind::Null;
        const Node node = node_->load();
        if (node.isContainer()) return node.isObject() ? JsonKind::Object : JsonKind::Array;
        return Node::scalarKind(tree_->textOf(node));
    }
    bool isNull() const noexcept { return node_ == nullptr; }
    bool isBoolean() const noexcept { return kind() == JsonKind::Boolean; }
    bool isNumber() const noexcept { return kind() == JsonKind::Number; }
    bool isString() const noexcept { return kind() == JsonKind::String; }
    bool isArray() const noexcept { return node_ != nullptr && node_->load().isArray(); }
    bool isObject() const noexcept { return node_ != nullptr && node_->load().isObject(); }

    // The elements of an array but those that are null, which a reader drops, and the members of an
    // object. Other values have none.
    JsonElements elements() const noexcept;
    // Raises std::bad_alloc.
    JsonMembers members() const;
    // Of either, which takes the time of a walk over them if there are containers in them that are
    // not empty. May raise std::bad_alloc for an object.
    unsigned long size() const;

    // An element. Null if there is none, and for a value of another kind. Takes a walk over those
    // before it if there are containers in the array that are not empty.
    JsonView at(unsigned long i) const noexcept;
    // The member under the key: the last one if there are more. Null if there is none, and for a
    // value of another kind. Takes a walk over the members; members() finds many in less time.
    JsonView child(istr key) const noexcept;
    JsonView operator[](istr key) const noexcept { return child(key); }

    // The text of a string, and of a number as it was read; null for other kinds. No zero follows
    // it.
    istr text() const noexcept {
        istr text;
        return readString(text) || readNumber(text) ? text : istr();
    }

    // Read the value by the rules of JsonUnit::operator>>: one of another kind leaves the target as
    // it was. There is none for a const char*, since no zero follows the texts of a document.
    template <WireScalar T>
    const JsonView& operator>>(T& target) const {
        JsonConversion::read(*this, target);
        return *this;
    }
    const JsonView& operator>>(istr& target) const noexcept {
        readString(target);
        return *this;
    }
    const JsonView& operator>>(std::string& target) const;
    const JsonView& operator>>(std::wstring& target) const;
    const JsonView& operator>>(Bytes& target) const;
    const JsonView& operator>>(Time& target) const;

    // As JsonFormatter writes the value.
    String encode(bool pretty = false, bool skipNull = true, int level = 0) const;
    // As those of JsonValue.
    String toJson() const { return encode(false, true, 0); }
    String toFormatted() const { return encode(true, true, 1); }
    String toFormattedSample() const { return encode(true, false, 1); }

private:
    friend JsonConversion;
    friend class JsonDocument;
    friend JsonElements;
    friend JsonMembers;

    // Of a node that is not null.
    JsonView(const NodeTree* tree, const Node* node) noexcept : tree_(tree), node_(node) {}
    static JsonView ofMember(const NodeTree* tree, const Node* value) noexcept {
        return value->isNull() ? JsonView() : JsonView(tree, value);
    }

    ulong32 index() const noexcept { return static_cast<ulong32>(node_ - tree_->nodes); }

    // The text of a scalar.
    bool readText(istr& text) const noexcept {
        if (node_ == nullptr) return false;
        const Node node = node_->load();
        if (node.isContainer()) return false;
        text = tree_->textOf(node);
        return true;
    }
    bool readString(istr& text) const noexcept {
        istr quoted;
        if (!readText(quoted) || *quoted != '"') return false;
        text = istr(quoted.data() + 1, quoted.size() - 2);
        return true;
    }
    bool readNumber(istr& text) const noexcept {
        istr scalar;
        if (!readText(scalar) || Node::scalarKind(scalar) != JsonKind::Number) return false;
        text = scalar;
        return true;
    }
    void readBoolean(bool& target) const noexcept {
        istr scalar;
        if (!readText(scalar) || Node::scalarKind(scalar) != JsonKind::Boolean) return;
        target = *scalar == 't';
    }

    const NodeTree* tree_ = nullptr;
    const Node* node_ = nullptr;
};

// A JSON text that was read. Copies share the tree, which is freed with the last of them by a few
// calls, by whichever thread. One object may be assigned by no thread while another uses it.
class QOR_API JsonDocument {
public:
    // Of nothing: its root is null.
    JsonDocument() noexcept = default;
    // Parses the object or array at the start of the text, and keeps a copy of it. Accepts and
    // raises the same as JsonParser::from. Strings with escapes are stored a second time,
    // unescaped; std::bad_alloc is also raised if both do not fit.
    static JsonDocument from(istr text);

    JsonView root() const noexcept;

private:
    explicit JsonDocument(Handle<JsonValue> root) noexcept : root_(std::move(root)) {}

    Handle<JsonValue> root_;  // which is never used, but has a share of the tree
};

// The iterators of the two ranges below, which return items by value. The range provides them by
// `itemAt(owner, place)` and `next(place)`.
template <class Range, class Item, class Owner, class Place>
class JsonIterator {
public:
    using iterator_concept = std::forward_iterator_tag;
    using iterator_category = std::input_iterator_tag;
    using value_type = Item;
    using difference_type = std::ptrdiff_t;
    using reference = Item;
    using pointer = void;

    JsonIterator() noexcept = default;
    Item operator*() const noexcept { return Range::itemAt(owner_, place_); }
    JsonIterator& operator++() noexcept {
        place_ = Range::next(place_);
        return *this;
    }
    JsonIterator operator++(int) noexcept {
        const JsonIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const JsonIterator& other) const noexcept { return place_ == other.place_; }

private:
    friend Range;
    JsonIterator(const Owner* owner, const Place* place) noexcept : owner_(owner), place_(place) {}

    const Owner* owner_ = nullptr;
    const Place* place_ = nullptr;
};

// The elements of an array, as views.
class JsonElements {
public:
    using iterator = JsonIterator<JsonElements, JsonView, NodeTree, Node>;
    using const_iterator = iterator;

    iterator begin() const noexcept { return {tree_, first_}; }
    iterator end() const noexcept { return {tree_, end_}; }

private:
    friend JsonView;
    friend iterator;
    JsonElements() noexcept = default;
    JsonElements(const NodeTree* tree, const Node* array) noexcept
        : tree_(tree), first_(array + 1), end_(array + array->size) {}

    static JsonView itemAt(const NodeTree* tree, const Node* node) noexcept { return {tree, node}; }
    static const Node* next(const Node* node) noexcept { return node + node->load().span(); }

    const NodeTree* tree_ = nullptr;
    const Node* first_ = nullptr;
    const Node* end_ = nullptr;
};

struct JsonMember {
    istr key;
    JsonView value;
};

// The members of an object in ascending order of their keys, byte by byte. Of a key that is there
// more than once the last one counts. The keys are good as long as the tree. Iterators are good as
// long as this object.
class QOR_API JsonMembers : noncopyable {
public:
    using iterator = JsonIterator<JsonMembers, JsonMember, JsonMembers, ulong32>;
    using const_iterator = iterator;

    iterator begin() const noexcept { return {this, places_}; }
    iterator end() const noexcept { return {this, places_ + size_}; }
    unsigned long size() const noexcept { return size_; }
    // As JsonView::child, by a binary search.
    JsonView child(istr key) const noexcept;

private:
    friend JsonView;
    friend iterator;
    JsonMembers() noexcept = default;
    JsonMembers(const NodeTree* tree, const Node* object);

    static JsonMember itemAt(const JsonMembers* members, const ulong32* place) noexcept {
        return members->member(*place);
    }
    static const ulong32* next(const ulong32* place) noexcept { return place + 1; }

    // Of the value that is at this place in the text.
    JsonMember member(ulong32 place) const noexcept {
        const Node* const value = first_ + (isListed_ ? values_[place] : 2 * place);
        return {tree_->textOf(value[-1]), JsonView::ofMember(tree_, value)};
    }

    // More members need memory if some of them are containers that are not empty.
    static constexpr std::size_t kFew = 64;

    const NodeTree* tree_ = nullptr;
    const Node* first_ = nullptr;      // that of the first value; of all nodes for listed ones
    const ulong32* places_ = nullptr;  // of the values among those in the text, by their keys
    unsigned long size_ = 0;
    bool isListed_ = false;
    InlineVector<ulong32, kFew> values_;  // their nodes, if they are no two apart
};

inline JsonElements JsonView::elements() const noexcept {
    return isArray() ? JsonElements(tree_, node_) : JsonElements();
}

inline JsonMembers JsonView::members() const {
    return isObject() ? JsonMembers(tree_, node_) : JsonMembers();
}

}  // namespace qor::json

#endif  // QOR_JSON_JSON_VIEW_H
