#ifndef QOR_SRC_JSON_TREE_END_H
#define QOR_SRC_JSON_TREE_END_H

#include "json/flat_tree.h"
#include "qor/json/json_unit.h"

namespace qor::json {

// Destroys trees without recursion and without an allocation: while the value of a unit is being
// destroyed, the memory of the unit has a pointer to the enclosing container.
class TreeEnd : noncopyable {
public:
    // Destroys a value whose last reference was released.
    static void destroy(JsonValue* value) noexcept;
    // Destroy the content of an array or an object, but not itself.
    static void clear(JsonArray& array) noexcept {
        if (array.size_ != 0) TreeEnd().takeDown(&array);
    }
    static void clear(JsonObject& object) noexcept {
        if (object.size_ != 0) TreeEnd().takeDown(&object);
    }

private:
    // Releases the references of values to their trees; consecutive ones to the same tree by one
    // atomic operation.
    class Shares : noncopyable {
    public:
        Shares() noexcept = default;
        ~Shares() { flush(); }
        void giveUp(FlatTree* tree) noexcept {
            if (tree != tree_) {
                flush();
                tree_ = tree;
            }
            ++count_;
        }

    private:
        void flush() noexcept {
            if (tree_ != nullptr) tree_->giveUp(count_);
            count_ = 0;
        }
        FlatTree* tree_ = nullptr;
        std::size_t count_ = 0;
    };

    void takeDown(JsonValue* top) noexcept;
    // Destroys a value and returns true; returns false if it still contains values.
    bool finish(JsonValue* value) noexcept;
    template <class T>
    void end(T& value) noexcept;
    // Whether a value in a block owns memory outside it.
    static bool ownsMemory(const JsonText& text) noexcept;
    static bool ownsMemory(const JsonArray& array) noexcept;
    static bool ownsMemory(const JsonObject& object) noexcept;

    template <class Call>
    static auto withContainer(JsonValue* value, Call call) noexcept;
    static JsonUnit& lastSlot(const JsonArray& array) noexcept;
    static JsonUnit& lastSlot(const JsonObject& object) noexcept;
    static void dropLast(JsonArray& array) noexcept;
    static void dropLast(JsonObject& object) noexcept;
    // The last unit whose value was created; null if there is none. Removes the units after it.
    static JsonUnit* lastMade(JsonArray& array) noexcept;
    static JsonUnit* lastMade(JsonObject& object) noexcept;

    Shares shares_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_END_H
