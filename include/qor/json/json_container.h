#ifndef QOR_JSON_JSON_CONTAINER_H
#define QOR_JSON_JSON_CONTAINER_H

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>

#include "qor/json/json_unit.h"

// The values that consist of units: arrays and objects.

namespace qor::json {

// An array of units.
class QOR_API JsonArray final : public JsonValue {
public:
    using value_type = JsonUnit;
    using iterator = JsonUnit*;
    using const_iterator = const JsonUnit*;

    JsonArray() noexcept : JsonValue(Kind::Array) {}
    ~JsonArray() override;

    // Append a unit. References and iterators are valid until the next append.
    void add(const JsonUnit& unit);
    // Appends a null unit and returns it.
    JsonUnit& newChild();

    unsigned long size() const { return made().size_; }
    // Unchecked.
    JsonUnit& at(unsigned i) { return made().units_[i]; }
    const JsonUnit& at(unsigned i) const { return made().units_[i]; }
    iterator begin() { return made().units_; }
    iterator end() {
        const JsonArray& array = made();
        return array.units_ + array.size_;
    }
    const_iterator begin() const { return made().units_; }
    const_iterator end() const {
        const JsonArray& array = made();
        return array.units_ + array.size_;
    }

private:
    friend FlatTree;
    friend TreeMaker;
    friend TreeEnd;
    friend JsonFormatter;

    const JsonArray& made() const {
        if (isUnmade_) [[unlikely]]
            makeUnits();
        return *this;
    }
    void makeUnits() const;
    Block* blockOfUnits() const noexcept;
    void grow();

    mutable JsonUnit* units_ = nullptr;
    mutable ulong32 size_ = 0;
    mutable ulong32 capacity_ = 0;
};

// An object: a map from keys to units, in the order of the keys. If a parsed text has a key several
// times, the last one is used.
//
// References to units are valid as long as the object. Iterators are valid until a key is added.
// Finding a key and adding one take O(log n). After keys were added out of order to an object with
// many keys, they take constant time on average, and the first iteration takes O(n log n).
class QOR_API JsonObject final : public JsonValue {
public:
    using key_type = String;
    using mapped_type = JsonUnit;
    // The object owns the key, which is valid as long as the object.
    using value_type = std::pair<const String&, JsonUnit>;

    // Dereferences to the pairs themselves.
    template <class Pair>
    class Iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = JsonObject::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = Pair*;
        using reference = Pair&;

        Iterator() noexcept = default;
        operator Iterator<const Pair>() const noexcept { return Iterator<const Pair>(at_, pair_); }

        Pair& operator*() const noexcept { return at_ != nullptr ? **at_ : *pair_; }
        Pair* operator->() const noexcept { return &**this; }
        Iterator& operator++() noexcept { return moveBy(1); }
        Iterator& operator--() noexcept { return moveBy(-1); }
        Iterator operator++(int) noexcept {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        Iterator operator--(int) noexcept {
            const Iterator before = *this;
            --*this;
            return before;
        }
        bool operator==(const Iterator& other) const noexcept = default;

    private:
        friend JsonObject;
        template <class Other>
        friend class Iterator;
        Iterator(JsonObject::value_type* const* at, JsonObject::value_type* pair) noexcept
            : at_(at), pair_(pair) {}
        Iterator& moveBy(std::ptrdiff_t n) noexcept {
            if (at_ != nullptr) {
                at_ += n;
            } else {
                pair_ += n;
            }
            return *this;
        }

        // As in JsonObject: at_ into the pointers to the pairs; or, if that is null, pair_ into the
        // block of pairs.
        JsonObject::value_type* const* at_ = nullptr;
        JsonObject::value_type* pair_ = nullptr;
    };
    using iterator = Iterator<value_type>;
    using const_iterator = Iterator<const value_type>;

    JsonObject() noexcept : JsonValue(Kind::Object) {}
    ~JsonObject() override;

    // Sets the unit of the key, which is added if it is missing.
    void put(istr key, const JsonUnit& unit);
    // The unit of the key, which is added with a null unit if it is missing.
    JsonUnit& get(istr key);
    // Null if the key is missing.
    const JsonUnit* get(istr key) const;

    iterator begin() { return iteratorAt<value_type>(0); }
    iterator end() { return iteratorAt<value_type>(inOrder().size_); }
    const_iterator begin() const { return iteratorAt<const value_type>(0); }
    const_iterator end() const { return iteratorAt<const value_type>(inOrder().size_); }

private:
    friend FlatTree;
    friend TreeMaker;
    friend TreeEnd;
    friend JsonFormatter;

    struct Added;
    class Index;
    struct DeleteIndex {
        void operator()(Index* index) const noexcept;
    };
    // Up to this number, keys are sorted as they are added.
    static constexpr ulong32 kFew = 16;

    const JsonObject& made() const {
        if (isUnmade_) [[unlikely]]
            makePairs();
        return *this;
    }
    void makePairs() const;
    const JsonObject& inOrder() const {
        if (made().sorted_ != size_) [[unlikely]]
            sort();
        return *this;
    }
    template <class Pair>
    Iterator<Pair> iteratorAt(ulong32 i) const {
        if (inOrder().hasPointers()) return Iterator<Pair>(pairs_ + i, nullptr);
        return Iterator<Pair>(nullptr, read_ + i);
    }
    // False for a parsed object to which no key was added.
    bool hasPointers() const noexcept { return capacity_ != 0; }
    value_type* pairAt(ulong32 i) const noexcept { return hasPointers() ? pairs_[i] : read_ + i; }
    void sort() const noexcept;
    ulong32 lowerBound(istr key) const noexcept;
    value_type* pairOf(istr key, ulong32 place) const noexcept;
    JsonUnit& getByIndex(istr key);
    void makeIndex();
    void reserveOne();
    bool wasRead(const value_type* pair) const noexcept {
        return std::greater_equal<>()(pair, read_) && std::less<>()(pair, read_ + readSize_);
    }

    // The parsed pairs are in one block, in order; each added pair has its own block.
    mutable value_type* read_ = nullptr;
    mutable ulong32 readSize_ = 0;
    mutable ulong32 size_ = 0;  // of all pairs
    // Pointers to all pairs; the first sorted_ ones are in order.
    value_type** pairs_ = nullptr;
    ulong32 capacity_ = 0;
    mutable ulong32 sorted_ = 0;
    // Only for objects with many keys, some of which were added out of order.
    std::unique_ptr<Index, DeleteIndex> index_;
};

inline const JsonBoolean* JsonUnit::booleanValue() const {
    return valueAs<JsonBoolean>(JsonKind::Boolean);
}
inline const JsonNumber* JsonUnit::numberValue() const {
    return valueAs<JsonNumber>(JsonKind::Number);
}
inline const JsonString* JsonUnit::stringValue() const {
    return valueAs<JsonString>(JsonKind::String);
}
inline const JsonObject* JsonUnit::objectValue() const {
    return valueAs<JsonObject>(JsonKind::Object);
}
inline const JsonArray* JsonUnit::arrayValue() const {
    return valueAs<JsonArray>(JsonKind::Array);
}

}  // namespace qor::json

#endif  // QOR_JSON_JSON_CONTAINER_H
