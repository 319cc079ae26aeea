#include "qor/json/json_unit.h"

#include <ostream>

#include "qor/base/base_type_convert.h"
#include "qor/base/mlcheck.h"
#include "qor/json/qor_json_parser.h"
#include "qor/util/base64.h"

namespace qor::json {

const JsonUnit& JsonUnit::null() noexcept {
    static const JsonUnit unit;
    return unit;
}

void JsonUnit::decode(istr text) {
    value_ = JsonParser::from(text);
}

String JsonUnit::encode(bool pretty, bool skipNull, int level) const {
    return JsonFormatter(value_.get(), pretty, skipNull, level).toString();
}

void JsonUnit::dump(std::ostream& os) const {
    os << (isNull() ? String("null") : value_->toString());
}

JsonUnit& JsonUnit::child(istr name) {
    return objectValue().get(name);
}

const JsonUnit& JsonUnit::child(istr name) const {
    const JsonObject* const object = objectValue();
    const JsonUnit* const unit = object != nullptr ? object->get(name) : nullptr;
    return unit != nullptr ? *unit : null();
}

JsonUnit& JsonUnit::newChild() {
    return arrayValue().newChild();
}

template <class T>
T* JsonUnit::valueOf(JsonValue::Kind kind) const noexcept {
    JsonValue* const value = value_.get();
    return value != nullptr && value->kind_ == kind ? static_cast<T*>(value) : nullptr;
}

template <class T>
T& JsonUnit::makeValue(JsonValue::Kind kind) {
    if (T* const value = valueOf<T>(kind)) return *value;
    T* made = nullptr;
    if constexpr (std::same_as<T, JsonBoolean>) {
        made = checkedNew<T>(__FILE__, __LINE__, "qor::json::JsonUnit::JsonUnit", false);
    } else {
        made = checkedNew<T>(__FILE__, __LINE__, "qor::json::JsonUnit::JsonUnit");
    }
    value_ = made;
    return *made;
}

JsonBoolean& JsonUnit::booleanValue() {
    return makeValue<JsonBoolean>(JsonValue::Kind::Boolean);
}
JsonNumber& JsonUnit::numberValue() {
    return makeValue<JsonNumber>(JsonValue::Kind::Number);
}
JsonString& JsonUnit::stringValue() {
    return makeValue<JsonString>(JsonValue::Kind::String);
}
JsonObject& JsonUnit::objectValue() {
    return makeValue<JsonObject>(JsonValue::Kind::Object);
}
JsonArray& JsonUnit::arrayValue() {
    return makeValue<JsonArray>(JsonValue::Kind::Array);
}

const JsonBoolean* JsonUnit::booleanValue() const noexcept {
    return valueOf<JsonBoolean>(JsonValue::Kind::Boolean);
}
const JsonNumber* JsonUnit::numberValue() const noexcept {
    return valueOf<JsonNumber>(JsonValue::Kind::Number);
}
const JsonString* JsonUnit::stringValue() const noexcept {
    return valueOf<JsonString>(JsonValue::Kind::String);
}
const JsonObject* JsonUnit::objectValue() const noexcept {
    return valueOf<JsonObject>(JsonValue::Kind::Object);
}
const JsonArray* JsonUnit::arrayValue() const noexcept {
    return valueOf<JsonArray>(JsonValue::Kind::Array);
}
const JsonText* JsonUnit::numberText() const noexcept {
    return numberValue();
}

// A new value is made with its text, and so in one block.
template <class T>
void JsonUnit::setText(JsonValue::Kind kind, istr text) {
    if (T* const value = valueOf<T>(kind)) {
        value->setValue(text);
    } else {
        value_ = T::make(text);
    }
}

void JsonUnit::setNumber(istr text) {
    setText<JsonNumber>(JsonValue::Kind::Number, text);
}

JsonUnit& JsonUnit::operator<<(istr text) {
    setText<JsonString>(JsonValue::Kind::String, text);
    return *this;
}

JsonUnit& JsonUnit::operator<<(iwstr text) {
    Bytes utf8;
    wstringToUtf8(text, utf8);
    return *this << istr(utf8);
}

JsonUnit& JsonUnit::operator<<(const Bytes& bytes) {
    String text;
    Base64::encode(bytes, text, false);
    return *this << istr(text);
}

const JsonUnit& JsonUnit::operator>>(std::string& target) const {
    if (const JsonString* const value = stringValue()) {
        target.assign(std::string_view(value->text()));
    }
    return *this;
}

const JsonUnit& JsonUnit::operator>>(istr& target) const noexcept {
    if (const JsonString* const value = stringValue()) target = value->text();
    return *this;
}

const JsonUnit& JsonUnit::operator>>(const char*& target) const {
    if (const JsonString* const value = stringValue()) target = value->getValue().c_str();
    return *this;
}

const JsonUnit& JsonUnit::operator>>(std::wstring& target) const {
    if (const JsonString* const value = stringValue()) utf8ToWstring(value->text(), target);
    return *this;
}

const JsonUnit& JsonUnit::operator>>(Bytes& target) const {
    if (const JsonString* const value = stringValue()) Base64::decode(value->text(), target);
    return *this;
}

const JsonUnit& JsonUnit::operator>>(Time& target) const {
    if (numberValue() == nullptr) return *this;
    long long milliSeconds = 0;
    *this >> milliSeconds;
    target = Time::milliSeconds(milliSeconds);
    return *this;
}

}  // namespace qor::json
