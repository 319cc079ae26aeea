#ifndef QOR_SRC_JSON_TREE_BUILDER_H
#define QOR_SRC_JSON_TREE_BUILDER_H

#include <cstring>
#include <forward_list>
#include <memory>
#include <vector>

#include "json/tree_memory.h"
#include "qor/json/json_unit.h"
#include "qor/util/simple_value.h"

namespace qor::json {

// Puts a tree together in the order of its text. Arrays and objects are made when they end, when
// their size is known; until then their values wait on a stack.
class TreeBuilder : noncopyable {
public:
    explicit TreeBuilder(std::size_t textSize) : memory_(textSize) {
        // Enough for a short message.
        values_.reserve(32);
        keys_.reserve(16);
        open_.reserve(8);
    }
    ~TreeBuilder() {
        for (JsonValue* const value : values_)
            Handle<JsonValue>::adopt(value);
    }

    void open(bool object) {
        // A place for what it becomes.
        values_.push_back(nullptr);
        open_.push_back({values_.size(), keys_.size(), object});
    }
    bool inObject() const noexcept { return open_.back().object; }
    bool isRoot() const noexcept { return open_.size() == 1; }
    // Ends the innermost array or object.
    void close();
    // Ends the root.
    Handle<JsonValue> finish() {
        close();
        return Handle<JsonValue>::adopt(std::exchange(values_.front(), nullptr));
    }

    // The key of the next value. The text outlives the builder.
    void addKey(istr key) { keys_.push_back(key); }
    void addKey(String&& key) { keys_.push_back(ownKeys_.emplace_front(std::move(key))); }
    void addNull() {
        if (inObject()) values_.push_back(nullptr);
    }
    void addBoolean(bool value) {
        values_.push_back(nullptr);
        values_.back() = make<JsonBoolean>(sizeof(JsonBoolean), value);
    }
    void addNumber(istr text) { addText<JsonNumber>(text); }
    void addString(istr text) { addText<JsonString>(text); }

private:
    struct Open {
        std::size_t firstValue;
        std::size_t firstKey;
        bool object;
    };

    template <class T, class... Args>
    T* make(std::size_t size, Args... args) {
        const TreeMemory::Room room = memory_.take(size);
        T* const value = ::new (room.at) T(args...);
        value->place_ = room.place;
        value->__FirstRef();
        return value;
    }
    template <class T>
    void addText(istr text) {
        values_.push_back(nullptr);
        if (text.size() > JsonText::kMostHere) [[unlikely]] {
            T* const value = make<T>(sizeof(T), 0U);
            values_.back() = value;
            value->hold(JsonText::newString(text));
        } else {
            T* const value =
                make<T>(JsonText::sizeWith(text.size()), static_cast<ulong32>(text.size()));
            simple_value::copy(value->here(), text.data(), text.size());
            values_.back() = value;
        }
    }
    JsonArray* makeArray(JsonValue* const* values, std::size_t count);
    JsonObject* makeObject(JsonValue* const* values, const istr* keys, std::size_t count);

    std::vector<JsonValue*> values_;
    std::vector<istr> keys_;
    std::vector<Open> open_;
    std::forward_list<String> ownKeys_;
    TreeMemory memory_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_BUILDER_H
