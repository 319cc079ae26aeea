#ifndef QOR_SRC_JSON_ADDED_PAIR_H
#define QOR_SRC_JSON_ADDED_PAIR_H

#include <memory>

#include "base/name_index.h"
#include "base/node_memory.h"
#include "qor/json/json_container.h"

namespace qor::json {

// A pair that was added to an object by the program, with its key.
struct JsonObject::Added : JsonObject::value_type {
    explicit Added(istr text) : value_type(key, JsonUnit()), key(text) {}

    struct Destroy {
        void operator()(Added* pair) const noexcept { destroy(pair); }
    };
    using Owner = std::unique_ptr<Added, Destroy>;

    static Owner make(istr key) {
        void* const block = newNode(sizeof(Added), kFunc);
        try {
            return Owner(::new (block) Added(key));
        } catch (...) {
            deleteNode(block, kFunc);
            throw;
        }
    }
    static void destroy(value_type* pair) noexcept {
        auto* const added = static_cast<Added*>(pair);
        std::destroy_at(added);
        deleteNode(added, kFunc);
    }

    static constexpr const char* kFunc = "qor::json::JsonObject::get";

    String key;
};

struct KeyOfPair {
    istr operator()(const JsonObject::value_type* pair) const noexcept { return istr(pair->first); }
};
class JsonObject::Index : public NameIndex<value_type, KeyOfPair> {
public:
    using NameIndex::NameIndex;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_ADDED_PAIR_H
