#include "json/tree_end.h"

#include <memory>
#include <new>

#include "base/node_memory.h"
#include "json/added_pair.h"
#include "mt/shared_count.h"

namespace qor::json {

namespace {

constexpr const char* kEnder = "qor::json::JsonValue::~JsonValue";

}  // namespace

static_assert(sizeof(JsonUnit) >= sizeof(JsonValue*) && alignof(JsonUnit) >= alignof(JsonValue*));

JsonUnit& TreeEnd::lastSlot(const JsonArray& array) noexcept {
    return array.units_[array.size_ - 1];
}
JsonUnit& TreeEnd::lastSlot(const JsonObject& object) noexcept {
    return object.pairAt(object.size_ - 1)->second;
}

void TreeEnd::dropLast(JsonArray& array) noexcept {
    --array.size_;
}
void TreeEnd::dropLast(JsonObject& object) noexcept {
    --object.size_;
    if (!object.hasPointers()) return;
    JsonObject::value_type* const pair = object.pairs_[object.size_];
    if (!object.wasRead(pair)) JsonObject::Added::destroy(pair);
}

JsonUnit* TreeEnd::lastMade(JsonArray& array) noexcept {
    ulong32 size = array.size_;
    while (size != 0 && !array.units_[size - 1].isMade())
        --size;
    array.size_ = size;
    return size != 0 ? array.units_ + (size - 1) : nullptr;
}
JsonUnit* TreeEnd::lastMade(JsonObject& object) noexcept {
    if (!object.hasPointers()) {
        ulong32 size = object.size_;
        while (size != 0 && !object.read_[size - 1].second.isMade())
            --size;
        object.size_ = size;
        return size != 0 ? &object.read_[size - 1].second : nullptr;
    }
    for (; object.size_ != 0; dropLast(object)) {
        JsonUnit& slot = lastSlot(object);
        if (slot.isMade()) return &slot;
    }
    return nullptr;
}

template <class Call>
auto TreeEnd::withContainer(JsonValue* value, Call call) noexcept {
    if (value->kind_ == JsonKind::Array) return call(static_cast<JsonArray&>(*value));
    return call(static_cast<JsonObject&>(*value));
}

bool TreeEnd::ownsMemory(const JsonText&) noexcept {
    return true;
}
bool TreeEnd::ownsMemory(const JsonArray& array) noexcept {
    return array.ownsSlots_;
}
bool TreeEnd::ownsMemory(const JsonObject& object) noexcept {
    return object.hasPointers() || object.index_ != nullptr;
}

template <class T>
void TreeEnd::end(T& value) noexcept {
    Block* const block = value.block();
    if (block == nullptr) {
        std::destroy_at(&value);
        deleteNode(&value, kEnder);
        return;
    }
    // For most parsed containers the destructor would do nothing.
    if (ownsMemory(value)) std::destroy_at(&value);
    shares_.giveUp(block->tree);
}

bool TreeEnd::finish(JsonValue* value) noexcept {
    const auto endIfEmpty = [this](auto& container) {
        if (lastMade(container) != nullptr) return false;
        end(container);
        return true;
    };
    switch (value->kind_) {
        case JsonKind::Number:
            end(static_cast<JsonNumber&>(*value));
            return true;
        case JsonKind::String:
            end(static_cast<JsonString&>(*value));
            return true;
        case JsonKind::Array:
        case JsonKind::Object:
            return withContainer(value, endIfEmpty);
        case JsonKind::Boolean:
        case JsonKind::Null:
            break;
    }
    // Perhaps a class of the program, of which `value` may not be the first base.
    void* const block = dynamic_cast<void*>(value);
    std::destroy_at(value);
    deleteNode(block, kEnder);
    return true;
}

// Calls would take much of the time, so they are inlined.
[[gnu::flatten]] void TreeEnd::takeDown(JsonValue* top) noexcept {
    JsonValue* open = top;
    JsonValue* around = nullptr;
    for (;;) {
        JsonUnit* const slot =
            withContainer(open, [](auto& container) { return lastMade(container); });
        JsonValue* ended = nullptr;
        if (slot == nullptr) {
            if (around == nullptr) return;
            ended = std::exchange(open, around);
            around = withContainer(open, [](auto& container) {
                JsonUnit& wayBack = lastSlot(container);
                JsonValue* const value = *std::launder(reinterpret_cast<JsonValue**>(&wayBack));
                ::new (&wayBack) JsonUnit();
                return value;
            });
        } else if (JsonValue* const value = slot->takeMade();
                   SharedCount::release(*value) && !finish(value)) {
            ::new (slot) JsonValue*(around);
            around = std::exchange(open, value);
            continue;
        }
        withContainer(open, [](auto& container) { dropLast(container); });
        if (ended != nullptr) finish(ended);
    }
}

void TreeEnd::destroy(JsonValue* value) noexcept {
    TreeEnd run;
    if (run.finish(value)) return;
    run.takeDown(value);
    run.finish(value);
}

}  // namespace qor::json
