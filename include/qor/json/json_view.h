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

// Read-only access to JSON. It creates no values, so that reading a whole document takes a fraction
// of the time of JsonUnit.
//
//     const JsonDocument document = JsonDocument::from(text);
//     for (const auto& [name, contact] : document.root().members()) {
//         long age = 0;
//         contact["age"] >> age;
//     }

namespace qor::json {

class JsonElements;
class JsonMembers;

// A value in a document; for a JSON null and a missing value, a null view. Pass it by value. The
// view and its texts are valid as long as a JsonDocument of its tree exists.
//
// Any number of threads may read a document by views at the same time. Stack use and time do not
// depend on the depth of nesting.
class QOR_API JsonView {
public:
    // A null view.
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

    // The elements of an array, except nulls, which are dropped when a text is read; the members of
    // an object. Other values have none.
    JsonElements elements() const noexcept;
    // Raises std::bad_alloc.
    JsonMembers members() const;
    // The number of elements or members; 0 for other values. Takes linear time if some of them are
    // containers that are not empty. May raise std::bad_alloc for an object.
    unsigned long size() const;

    // Element i; null if there is none, and for a value of another kind. Takes linear time if the
    // array has containers that are not empty.
    JsonView at(unsigned long i) const noexcept;
    // The value of the key, the last one if the key is repeated; null if the key is missing, and
    // for a value of another kind. Takes linear time; to find many keys, use members().
    JsonView child(istr key) const noexcept;
    JsonView operator[](istr key) const noexcept { return child(key); }

    // The text of a string, or of a number as it was read; null for other kinds. It is not
    // terminated.
    istr text() const noexcept {
        istr text;
        return readString(text) || readNumber(text) ? text : istr();
    }

    // Read the value as JsonUnit::operator>> does: if it is of another kind, the target is
    // unchanged. There is no operator for const char*, since the texts of a document are not
    // terminated.
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

    // The value as text; see JsonFormatter.
    String encode(bool pretty = false, bool skipNull = true, int level = 0) const;
    // As the functions of JsonValue.
    String toJson() const { return encode(false, true, 0); }
    String toFormatted() const { return encode(true, true, 1); }
    String toFormattedSample() const { return encode(true, false, 1); }

private:
    friend JsonConversion;
    friend class JsonDocument;
    friend JsonElements;
    friend JsonMembers;

    // The node must not be null.
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
    bool readBoolean(bool& target) const noexcept {
        istr scalar;
        if (!readText(scalar) || Node::scalarKind(scalar) != JsonKind::Boolean) return false;
        target = *scalar == 't';
        return true;
    }

    const NodeTree* tree_ = nullptr;
    const Node* node_ = nullptr;
};

// A parsed JSON text. Copies share the tree, which is freed with the last copy, on any thread,
// without visiting its nodes. No thread may assign to an object while another thread uses it.
class QOR_API JsonDocument {
public:
    // An empty document: its root is null.
    JsonDocument() noexcept = default;
    // Parses the object or array at the start of the text, and keeps a copy of the text. Accepts
    // the same texts and raises the same exceptions as JsonParser::from. Strings with escapes are
    // stored a second time, unescaped; std::bad_alloc is also raised if both do not fit.
    static JsonDocument from(istr text);

    JsonView root() const noexcept;

private:
    explicit JsonDocument(Handle<JsonValue> root) noexcept : root_(std::move(root)) {}

    Handle<JsonValue> root_;  // keeps the tree alive, and is not used otherwise
};

// The iterator of the two ranges below. It returns items by value, which Range::itemAt(owner,
// place) creates; Range::next(place) is the next place.
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

// The members of an object in ascending order of their keys, compared byte by byte. If a key is
// repeated, the last one is used. The keys are valid as long as the tree, iterators as long as this
// object.
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

    // The member whose value is at this place among the values in the text.
    JsonMember member(ulong32 place) const noexcept {
        const Node* const value = first_ + (isListed_ ? values_[place] : 2 * place);
        return {tree_->textOf(value[-1]), JsonView::ofMember(tree_, value)};
    }

    // More members need an allocation, if some of them are containers that are not empty.
    static constexpr std::size_t kFew = 64;

    const NodeTree* tree_ = nullptr;
    // The node of the first value, or, if isListed_, the first node of the tree.
    const Node* first_ = nullptr;
    // For each key in order, the place of its value among those in the text.
    const ulong32* places_ = nullptr;
    unsigned long size_ = 0;
    bool isListed_ = false;
    // If isListed_, the nodes of the values in the order of the text.
    InlineVector<ulong32, kFew> values_;
};

inline JsonElements JsonView::elements() const noexcept {
    return isArray() ? JsonElements(tree_, node_) : JsonElements();
}

inline JsonMembers JsonView::members() const {
    return isObject() ? JsonMembers(tree_, node_) : JsonMembers();
}

}  // namespace qor::json

#endif  // QOR_JSON_JSON_VIEW_H
