#include "json/tree_builder.h"

namespace qor::json {

void TreeBuilder::close() {
    const Open ended = open_.back();
    JsonValue* const* const values = values_.data() + ended.firstValue;
    const std::size_t count = values_.size() - ended.firstValue;
    JsonValue* value = nullptr;
    if (ended.object) {
        value = makeObject(values, keys_.data() + ended.firstKey, count);
    } else {
        value = makeArray(values, count);
    }
    values_.resize(ended.firstValue);
    values_.back() = value;
    keys_.resize(ended.firstKey);
    open_.pop_back();
}

JsonArray* TreeBuilder::makeArray(JsonValue* const* values, std::size_t count) {
    auto* const array = make<JsonArray>(sizeof(JsonArray) + count * sizeof(JsonUnit));
    array->units_ = reinterpret_cast<JsonUnit*>(array + 1);
    for (std::size_t i = 0; i < count; ++i)
        ::new (array->units_ + i) JsonUnit(Handle<JsonValue>::adopt(values[i]));
    array->size_ = array->capacity_ = static_cast<ulong32>(count);
    return array;
}

JsonObject* TreeBuilder::makeObject(JsonValue* const* values, const istr* keys, std::size_t count) {
    using Pair = JsonObject::value_type;
    auto* const object =
        make<JsonObject>(sizeof(JsonObject) + count * (sizeof(Pair) + sizeof(Pair*)));
    std::unique_ptr<JsonValue> guard(object);
    auto* const pairs = reinterpret_cast<Pair*>(object + 1);
    object->pairs_ = reinterpret_cast<Pair**>(pairs + count);
    object->within_ = object->capacity_ = static_cast<ulong32>(count);
    for (std::size_t i = 0; i < count; ++i) {
        object->pairs_[i] = ::new (pairs + i) Pair(keys[i], JsonUnit());
        ++object->size_;
    }
    for (std::size_t i = 0; i < count; ++i)
        pairs[i].second.value_ = Handle<JsonValue>::adopt(values[i]);
    object->flag_ = true;
    guard.release();
    return object;
}

}  // namespace qor::json
