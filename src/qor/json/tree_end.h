#ifndef QOR_SRC_JSON_TREE_END_H
#define QOR_SRC_JSON_TREE_END_H

#include "json/flat_tree.h"
#include "qor/json/json_unit.h"

namespace qor::json {

// Takes trees down, however deep they are, without memory of its own: while the value of a slot is
// taken down, the slot, which is empty then, holds the way back up.
class TreeEnd : noncopyable {
public:
    // Destroys a value whose last share was released.
    static void destroy(JsonValue* value) noexcept;
    // What is in an array or an object, which stays.
    static void clear(JsonArray& array) noexcept {
        if (array.size_ != 0) TreeEnd().takeDown(&array);
    }
    static void clear(JsonObject& object) noexcept {
        if (object.size_ != 0) TreeEnd().takeDown(&object);
    }

private:
    // Gives up the shares that values had in their trees. Those of one tree that follow each other
    // cost one count.
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
    // False if values in it are to be taken down first.
    bool finish(JsonValue* value) noexcept;
    template <class T>
    void end(T& value) noexcept;
    // Whether a value in a block has memory outside of it.
    static bool ownsMemory(const JsonText& text) noexcept;
    static bool ownsMemory(const JsonArray& array) noexcept;
    static bool ownsMemory(const JsonObject& object) noexcept;

    template <class Call>
    static auto withContainer(JsonValue* value, Call call) noexcept;
    static JsonUnit& lastSlot(const JsonArray& array) noexcept;
    static JsonUnit& lastSlot(const JsonObject& object) noexcept;
    static void dropLast(JsonArray& array) noexcept;
    static void dropLast(JsonObject& object) noexcept;
    // The last slot whose value was created; later slots are dropped. Null if there is none.
    static JsonUnit* lastMade(JsonArray& array) noexcept;
    static JsonUnit* lastMade(JsonObject& object) noexcept;

    Shares shares_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_TREE_END_H
