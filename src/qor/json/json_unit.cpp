#include "qor/json/json_unit.h"

#include <cstring>
#include <ostream>
#include <utility>

#include "json/escape.h"
#include "json/tree_maker.h"
#include "mt/shared_count.h"
#include "platform/first_use.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/byte_order.h"
#include "qor/base/mlcheck.h"
#include "qor/json/qor_json_parser.h"
#include "qor/util/base64.h"

namespace qor::json {

const JsonUnit& JsonUnit::null() noexcept {
    static const JsonUnit unit;
    return unit;
}

namespace {
const platform::MadeAtLoad madeAtLoad([] { JsonUnit::null(); });
}  // namespace

void JsonUnit::decode(istr text) {
    *this = JsonUnit(JsonParser::from(text));
}

String JsonUnit::encode(bool pretty, bool skipNull, int level) const {
    return JsonFormatter(made(), pretty, skipNull, level).toString();
}

void JsonUnit::dump(std::ostream& os) const {
    os << (isNull() ? String("null") : made()->toString());
}

// A value of another kind is replaced last: the name may be a part of it, and it stays if memory
// runs out.
JsonUnit& JsonUnit::child(istr name) {
    if (kind() == JsonKind::Object) return objectValue().get(name);
    JsonUnit object;
    JsonUnit& added = object.objectValue().get(name);
    *this = std::move(object);
    return added;
}

const JsonUnit& JsonUnit::child(istr name) const {
    const JsonObject* const object = objectValue();
    const JsonUnit* const unit = object != nullptr ? object->get(name) : nullptr;
    return unit != nullptr ? *unit : null();
}

JsonUnit& JsonUnit::newChild() {
    if (kind() == JsonKind::Array) return arrayValue().newChild();
    JsonUnit array;
    JsonUnit& added = array.arrayValue().newChild();
    *this = std::move(array);
    return added;
}

void JsonUnit::make() const {
    if (isLazy(word_)) return TreeMaker::make(*this);
    JsonValue* const number = JsonNumber::make(shortText());
    SharedCount::takeFirst(*number);
    word_ = wordOf(number);
}

// The text is in the bytes of the word in memory: after the mark on a little-endian machine, before
// it on a big-endian one.
istr JsonUnit::shortText() const noexcept {
    const auto* const bytes = reinterpret_cast<const char*>(&word_);
    return istr(bytes + (kLowByteFirst ? 1 : 0), word_ >> kSizeShift & (sizeof(Word) - 1));
}

void JsonUnit::setShort(istr text) noexcept {
    Word word = 0;
    auto* const bytes = reinterpret_cast<char*>(&word);
    std::memcpy(bytes + (kLowByteFirst ? 1 : 0), text.data(), text.size());
    setNull();
    word_ = word | kShort | Word(text.size()) << kSizeShift;
}

// The text of a number or a string.
istr JsonUnit::scalarText() const {
    if (isLazy(word_)) {
        const istr text = TreeMaker::lazyAt(*this).text();
        if (*text != '"') return text;
        const istr content = withoutQuotes(text);
        if (!isEscaped(content)) return content;
    }
    if (isShort(word_)) return shortText();
    return static_cast<const JsonText*>(made())->text();
}

bool JsonUnit::readBoolean(bool& target) const noexcept {
    if (kind() != JsonKind::Boolean) return false;
    if (isLazy(word_)) {
        target = TreeMaker::lazyAt(*this).text()[0] == 't';
    } else {
        target = static_cast<const JsonBoolean*>(valueOf(word_))->getValue();
    }
    return true;
}

template <class T>
T& JsonUnit::makeValue(JsonKind kind) {
    if (T* const value = valueAs<T>(kind)) return *value;
    T* made = nullptr;
    if constexpr (std::same_as<T, JsonBoolean>) {
        made = checkedNew<T>(__FILE__, __LINE__, "qor::json::JsonUnit::JsonUnit", false);
    } else {
        made = checkedNew<T>(__FILE__, __LINE__, "qor::json::JsonUnit::JsonUnit");
    }
    *this = JsonUnit(Handle<JsonValue>(made));
    return *made;
}

JsonBoolean& JsonUnit::booleanValue() {
    return makeValue<JsonBoolean>(JsonKind::Boolean);
}
JsonNumber& JsonUnit::numberValue() {
    return makeValue<JsonNumber>(JsonKind::Number);
}
JsonString& JsonUnit::stringValue() {
    return makeValue<JsonString>(JsonKind::String);
}
JsonObject& JsonUnit::objectValue() {
    return makeValue<JsonObject>(JsonKind::Object);
}
JsonArray& JsonUnit::arrayValue() {
    return makeValue<JsonArray>(JsonKind::Array);
}

// A new value is created together with its text, in one block.
template <class T>
void JsonUnit::setText(JsonKind kind, istr text) {
    // A value that is not created yet has no other owner, and can be replaced.
    T* const value = isPointer(word_) ? valueAs<T>(kind) : nullptr;
    if (value != nullptr) {
        value->setValue(text);
    } else if (kind == JsonKind::Number && fitsShort(text)) {
        setShort(text);
    } else {
        *this = JsonUnit(Handle<JsonValue>(T::make(text)));
    }
}

void JsonUnit::setNumber(istr text) {
    setText<JsonNumber>(JsonKind::Number, text);
}

JsonUnit& JsonUnit::operator<<(istr text) {
    setText<JsonString>(JsonKind::String, text);
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
    JsonConversion::read(*this, target);
    return *this;
}

// kViewed: the value, when it is created, must refer to the tree's text, so that the view stays
// valid.
void JsonUnit::view(istr& text) const {
    text = scalarText();
    if (isLazy(word_)) word_ |= kViewed;
}

const JsonUnit& JsonUnit::operator>>(const char*& target) const {
    if (const JsonString* const value = stringValue()) target = value->getValue().c_str();
    return *this;
}

const JsonUnit& JsonUnit::operator>>(std::wstring& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

const JsonUnit& JsonUnit::operator>>(Bytes& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

const JsonUnit& JsonUnit::operator>>(Time& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

}  // namespace qor::json
