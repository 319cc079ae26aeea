#ifndef QOR_SRC_JSON_TREE_END_H
#define QOR_SRC_JSON_TREE_END_H

#include "json/tree_memory.h"
#include "qor/json/json_unit.h"

namespace qor::json {

// Takes trees down, however deep they are, without memory of its own: while what is in a slot is
// taken down, the slot, which is empty then, holds the way back up.
class TreeEnd : noncopyable {
public:
    // A value that nobody has a share in any more.
    static void destroy(JsonValue* value) noexcept;
    // What is in an array or an object, which stays.
    static void clear(JsonValue& value) noexcept { TreeEnd().takeDown(&value); }

private:
    void takeDown(JsonValue* top) noexcept;
    // True if the value has slots that are to be emptied first.
    bool finish(JsonValue* value) noexcept;
    template <class T>
    void end(T* value) noexcept;

    static ulong32& sizeOf(JsonValue* value) noexcept;
    static JsonUnit& slotOf(JsonValue* value, ulong32 i) noexcept;
    static void closeSlot(JsonValue* value, ulong32 i) noexcept;
    static bool isArray(const JsonValue* value) noexcept {
        return value->kind_ == JsonValue::Kind::Array;
    }

    TreeMemory::Return rooms_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_END_H
