#include <algorithm>
#include <vector>

#include "inspect/readers.h"
#include "qor/json/json_unit.h"
#include "qor/json/qor_json_parser.h"

namespace tools {

namespace {

using qor::json::JsonArray;
using qor::json::JsonObject;
using qor::json::JsonUnit;

// The message of the parser for content without zeros, which would end the message. For the parser
// a zero is a character like \1.
std::string faultOf(istr content) {
    std::string text(content);
    std::replace(text.begin(), text.end(), '\0', '\1');
    try {
        qor::json::JsonParser::from(istr(text));
    } catch (const qor::json::DecodeException& e) {
        return e.msg();
    }
    return {};
}

// Raises BadContent. The message of the parser ends with the rest of the input; its length gives
// the offset of the fault.
[[noreturn]] void raiseBad(istr content) {
    constexpr std::string_view kSeparator = " : ";
    const std::string message = faultOf(content);
    const std::size_t at = message.find(kSeparator);
    if (at == message.npos) throw BadContent(placeOf(content, 0) + ": " + message);
    const std::size_t rest = message.size() - at - kSeparator.size();
    throw BadContent(placeOf(content, content.size() - rest) + ": " +
                     reasonOf(message.substr(0, at)));
}

void showScalar(const Label& label, const JsonUnit& unit, Sink& sink) {
    if (unit.isNull()) return sink.leaf(label, {Kind::Null, {}});
    // Reading into a view succeeds only for a text, and creates no value.
    istr text(nullptr, 1);
    unit >> text;
    if (!text.is_null() || text.size() == 0) return sink.leaf(label, {Kind::Text, text});
    const qor::String other = unit.encode();
    const bool isBoolean = other == "true" || other == "false";
    sink.leaf(label, {isBoolean ? Kind::Boolean : Kind::Number, other});
}

// An array or an object whose items are being emitted.
struct Open {
    const JsonUnit* next = nullptr;
    const JsonUnit* end = nullptr;
    JsonObject::const_iterator pair{};
    JsonObject::const_iterator lastPair{};
    bool isObject = false;
};

}  // namespace

std::string readJson(istr content, Sink& sink) {
    qor::Handle<qor::json::JsonValue> value;
    try {
        value = qor::json::JsonParser::from(content);
    } catch (const qor::json::DecodeException&) {
        raiseBad(content);
    }
    const JsonUnit root(value);
    std::vector<Open> open;
    const auto enter = [&](const Label& label, const JsonUnit& unit) {
        if (const JsonObject* const object = unit.objectValue()) {
            sink.begin(label, Shape::Map, false);
            open.push_back({nullptr, nullptr, object->begin(), object->end(), true});
        } else if (const JsonArray* const array = unit.arrayValue()) {
            sink.begin(label, Shape::List, false);
            open.push_back({array->begin(), array->end(), {}, {}, false});
        } else {
            showScalar(label, unit, sink);
        }
    };
    enter({}, root);
    while (!open.empty()) {
        Open& level = open.back();
        if (level.isObject && level.pair != level.lastPair) {
            const auto& [key, unit] = *level.pair++;
            enter({key, {}}, unit);
        } else if (!level.isObject && level.next != level.end) {
            enter({}, *level.next++);
        } else {
            sink.end();
            open.pop_back();
        }
    }
    sink.finish();
    return {};
}

}  // namespace tools
