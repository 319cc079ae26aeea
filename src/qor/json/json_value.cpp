#include "qor/json/json_value.h"

#include <algorithm>

#include "base/node_memory.h"
#include "json/escape.h"
#include "json/tree_end.h"
#include "qor/base/mlcheck.h"

namespace qor::json {

namespace {

constexpr const char* kMaker = "qor::json::JsonValue::JsonValue";

}  // namespace

JsonValue::~JsonValue() = default;

Block* JsonValue::block() const noexcept {
    if (place_ == 0) return nullptr;
    auto* const at = reinterpret_cast<char*>(const_cast<JsonValue*>(this));
    return reinterpret_cast<Block*>(at - place_ * alignof(JsonValue));
}

String JsonValue::toString() const {
    return toJson();
}

String JsonValue::encode(bool pretty, bool skipNull, int level) const {
    return JsonFormatter(this, pretty, skipNull, level).toString();
}

void* JsonValue::operator new(std::size_t size) {
    return newNode(size, kMaker);
}

void* JsonValue::operator new(std::size_t size, const char* file, unsigned line, const char* func) {
    return newNode(size, func, file, line);
}

void JsonValue::operator delete(void* block) noexcept {
    deleteNode(block, kMaker);
}

void JsonValue::operator delete(void* block, const char* file, unsigned line,
                                const char* func) noexcept {
    deleteNode(block, func, file, line);
}

void JsonValue::operator delete(JsonValue* value, std::destroying_delete_t) noexcept {
    TreeEnd::destroy(value);
}

String JsonBoolean::toString() const {
    return isTrue_ ? "true" : "false";
}

JsonText::JsonText(Kind kind, istr text) : JsonValue(kind), size_(0) {
    setValue(text);
}

String* JsonText::newString(istr text) {
    return checkedNew<String>(__FILE__, __LINE__, "qor::json::JsonText::setValue", text);
}

void JsonText::dropString() noexcept {
    checkedDelete(string_, __FILE__, __LINE__, "qor::json::JsonText::~JsonText");
}

void JsonText::setValue(istr text) {
    if (isString_) {
        // A copy first, since the text may be a part of the String.
        *string_ = String(text);
    } else {
        hold(newString(text));
    }
}

template <class T>
T* JsonText::makeWith(istr text) {
    constexpr const char* func = "qor::json::JsonUnit::JsonUnit";
    if (text.is_null()) text = istr();
    if (text.size() > kMostHere) return checkedNew<T>(__FILE__, __LINE__, func, text);
    void* const block = newNode(sizeWith(text.size()), func);
    T* const value = ::new (block) T(static_cast<ulong32>(text.size()));
    std::copy_n(text.data(), text.size(), value->here());
    return value;
}

const String& JsonText::makeString() const {
    hold(newString(text()));
    return *string_;
}

JsonNumber* JsonNumber::make(istr text) {
    return makeWith<JsonNumber>(text);
}

String JsonNumber::toString() const {
    return text();
}

JsonString* JsonString::make(istr text) {
    return makeWith<JsonString>(text);
}

String JsonString::toString() const {
    String out;
    appendEscaped(out, text());
    return out;
}

void JsonString::fromString(istr text) {
    setValue(unescape(text).value());
}

JsonString* JsonString::from(istr text) {
    const Optional<String> value = unescape(text);
    if (!value.isSet()) return nullptr;
    return checkedNew<JsonString>(__FILE__, __LINE__, "qor::json::JsonString::from", value.value());
}

String JsonString::escape(const Optional<String>& value) {
    if (!value.isSet()) return "null";
    String out;
    appendEscaped(out, value.value());
    return out;
}

Optional<String> JsonString::unescape(istr text) {
    if (text == "null") return {};
    if (text.is_null() || text.size() < 2) return String(text);
    String out;
    appendUnescaped(out, withoutQuotes(text));
    return out;
}

}  // namespace qor::json
