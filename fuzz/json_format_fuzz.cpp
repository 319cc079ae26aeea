// A JSON tree that is built by code and written in either layout reads back unchanged, except for
// nulls in arrays. All keys are such that the format keeps them.

#include <vector>

#include "choices.h"
#include "qor/json/json_unit.h"
#include "qor/json/qor_json_parser.h"
#include "repeated.h"
#include "require.h"

namespace {

using namespace qor;
using namespace qor::json;

std::string keyOf(Choices& choices) {
    std::string key = choices.bytes(24);
    std::erase_if(key, [](char c) { return c == '"' || c == '\\'; });
    return key.empty() ? "k" : key;
}

// Whether two trees are equal, at all levels, if the nulls in the arrays of the first are left out.
void compare(const JsonUnit& left, const JsonUnit& right) {
    if (const JsonArray* const array = left.arrayValue()) {
        const JsonArray* const other = right.arrayValue();
        require(other != nullptr);
        unsigned at = 0;
        for (const JsonUnit& child : *array) {
            if (child.isNull()) continue;
            require(at < other->size());
            compare(child, other->at(at++));
        }
        return require(at == other->size());
    }
    if (const JsonObject* const object = left.objectValue()) {
        const JsonObject* const other = right.objectValue();
        require(other != nullptr);
        auto at = other->begin();
        for (const auto& [key, child] : *object) {
            require(at != other->end() && at->first == key && other->get(key) == &at->second);
            compare(child, at->second);
            ++at;
        }
        return require(at == other->end());
    }
    require(left.encode() == right.encode());
    require((left.stringValue() == nullptr) == (right.stringValue() == nullptr));
}

constexpr unsigned kMostOpen = 200;

void build(Choices& choices, JsonUnit& root) {
    std::vector<JsonUnit*> open{&root};
    if (choices.byte() % 2 == 0) {
        root.objectValue();
    } else {
        root.arrayValue();
    }
    while (!choices.atEnd()) {
        const unsigned action = choices.byte() % 8;
        if (action < 2 && open.size() > 1) {
            open.pop_back();
            continue;
        }
        const bool inObject = std::as_const(*open.back()).objectValue() != nullptr;
        JsonUnit& child = inObject ? (*open.back())[keyOf(choices)] : open.back()->newChild();
        switch (action) {
            case 2:
                child << (choices.byte() % 2 == 0);
                break;
            case 3:
                child << choices.byte() * 1000003LL - 5000000;
                break;
            case 4:
                child.setNull();
                break;
            case 5:
                child.arrayValue();
                break;
            case 6:
                child.objectValue();
                break;
            default:
                child << choices.bytes(24);
        }
        // The elements of an array move when one is appended: nothing is appended to an array while
        // a unit in it is open.
        if ((action == 5 || action == 6) && open.size() < kMostOpen) open.push_back(&child);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input = fuzz::repeated(data, size);
    Choices choices((istr(input)));
    JsonUnit root;
    build(choices, root);
    for (const bool pretty : {false, true}) {
        JsonUnit read;
        read.decode(root.encode(pretty, false, 0));
        compare(root, read);
        JsonUnit again;
        again.decode(read.encode(!pretty, false, 3));
        compare(read, again);
    }
    return 0;
}
