#include "json/tree_end.h"

#include <memory>
#include <new>

namespace qor::json {

namespace {

constexpr const char* kEnder = "qor::json::JsonValue::~JsonValue";

}  // namespace

static_assert(sizeof(JsonUnit) == sizeof(JsonValue*) && alignof(JsonUnit) == alignof(JsonValue*));

ulong32& TreeEnd::sizeOf(JsonValue* value) noexcept {
    return isArray(value) ? static_cast<JsonArray*>(value)->size_
                          : static_cast<JsonObject*>(value)->size_;
}

JsonUnit& TreeEnd::slotOf(JsonValue* value, ulong32 i) noexcept {
    return isArray(value) ? static_cast<JsonArray*>(value)->units_[i]
                          : static_cast<JsonObject*>(value)->pairs_[i]->second;
}

void TreeEnd::closeSlot(JsonValue* value, ulong32 i) noexcept {
    if (isArray(value)) return;
    auto* const object = static_cast<JsonObject*>(value);
    JsonObject::value_type* const pair = object->pairs_[i];
    std::destroy_at(&pair->first);
    if (!object->isWithin(pair)) deleteBlock(pair, "qor::json::JsonObject::~JsonObject");
}

template <class T>
void TreeEnd::end(T* value) noexcept {
    const TreeMemory::Place place = value->place_;
    std::destroy_at(value);
    if (place != 0) {
        rooms_.add(value, place);
    } else {
        deleteBlock(value, kEnder);
    }
}

bool TreeEnd::finish(JsonValue* value) noexcept {
    using Kind = JsonValue::Kind;
    switch (value->kind_) {
        case Kind::Boolean:
            end(static_cast<JsonBoolean*>(value));
            return false;
        case Kind::Number:
            end(static_cast<JsonNumber*>(value));
            return false;
        case Kind::String:
            end(static_cast<JsonString*>(value));
            return false;
        case Kind::Array:
            if (static_cast<JsonArray*>(value)->size_ != 0) return true;
            end(static_cast<JsonArray*>(value));
            return false;
        case Kind::Object:
            if (static_cast<JsonObject*>(value)->size_ != 0) return true;
            end(static_cast<JsonObject*>(value));
            return false;
        case Kind::Other:
            break;
    }
    // A class of the user, with whatever bases.
    void* const block = dynamic_cast<void*>(value);
    std::destroy_at(value);
    deleteBlock(block, kEnder);
    return false;
}

void TreeEnd::takeDown(JsonValue* top) noexcept {
    JsonValue* open = top;
    JsonValue* around = nullptr;
    for (;;) {
        ulong32& size = sizeOf(open);
        if (size == 0) {
            if (around == nullptr) return;
            finish(open);
            open = around;
            const ulong32 i = sizeOf(open);
            around = *std::launder(reinterpret_cast<JsonValue**>(&slotOf(open, i)));
            closeSlot(open, i);
            continue;
        }
        const ulong32 i = --size;
        JsonUnit& slot = slotOf(open, i);
        // The slot's share is given up here, and the slot itself is not destroyed.
        JsonValue* const value = slot.value_.get();
        if (value != nullptr && value->__LastSubRef() && finish(value)) {
            ::new (&slot) JsonValue*(around);
            around = open;
            open = value;
            continue;
        }
        closeSlot(open, i);
    }
}

void TreeEnd::destroy(JsonValue* value) noexcept {
    TreeEnd run;
    if (!run.finish(value)) return;
    run.takeDown(value);
    run.finish(value);
}

}  // namespace qor::json
