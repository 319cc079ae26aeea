#ifndef QOR_JSON_JSON_UNIT_H
#define QOR_JSON_JSON_UNIT_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_time.h"
#include "qor/json/json_conversion.h"
#include "qor/json/json_value.h"

// The slot for a value.

namespace qor::json {

class JsonArray;
class JsonObject;

// A slot that holds a value, or none for a JSON null. A copy shares the value: a change through one
// is visible through the other, but a value of another kind replaces that of one slot only. A value
// must not become a part of itself.
//
//     JsonUnit unit;
//     unit["name"] << "Ann";          // makes an object of the unit
//     unit["age"] << 30;
//     long age = 0;
//     std::as_const(unit)["age"] >> age;
//
// In a parsed tree, a unit's value is created at its first use by value(), a copy, or one of the
// ...Value() operations. Reading by >> rarely creates values.
class QOR_API JsonUnit {
public:
    JsonUnit() noexcept = default;
    JsonUnit(Handle<JsonValue> value) noexcept : word_(wordOf(value.release())) {}
    JsonUnit(const JsonUnit& other) : JsonUnit(other.value()) {}
    // The other one is null then.
    JsonUnit(JsonUnit&& other) {
        if (isLazy(other.word_)) other.make();
        word_ = std::exchange(other.word_, 0);
    }
    JsonUnit& operator=(const JsonUnit& other) {
        JsonUnit copy(other);
        std::swap(word_, copy.word_);
        return *this;
    }
    JsonUnit& operator=(JsonUnit&& other) {
        JsonUnit moved(std::move(other));
        std::swap(word_, moved.word_);
        return *this;
    }
    ~JsonUnit() { setNull(); }

    // One unit that is null for ever.
    static const JsonUnit& null() noexcept;

    // As JsonParser::from and JsonValue::encode. A failure leaves the unit as it was.
    void decode(istr text);
    String encode(bool pretty = false, bool skipNull = true, int level = 0) const;
    String toString(bool pretty = false, bool skipNull = true, int level = 0) const {
        return encode(pretty, skipNull, level);
    }
    // The value's toString.
    void dump(std::ostream& os) const;

    Handle<JsonValue> value() const { return Handle<JsonValue>(made()); }
    bool isNull() const noexcept { return word_ == 0; }
    void setNull() noexcept {
        if (word_ != 0) Handle<JsonValue>::adopt(takeMade());
    }

    // The unit under the key. The first two make an object of this unit, and the key if there is
    // none; the reference is good as long as the object is. The others give null() for a key that
    // is not there.
    JsonUnit& child(istr name);
    JsonUnit& operator[](istr name) { return child(name); }
    const JsonUnit& child(istr name) const;
    const JsonUnit& operator[](istr name) const { return child(name); }
    // Makes an array of this unit, and appends a null unit, which is good until the next append.
    JsonUnit& newChild();

    // The value of that kind. One of another kind is replaced by a new one: false, the number 0, an
    // empty text, array or object.
    JsonBoolean& booleanValue();
    JsonNumber& numberValue();
    JsonString& stringValue();
    JsonObject& objectValue();
    JsonArray& arrayValue();
    // Null for a value of another kind.
    const JsonBoolean* booleanValue() const;
    const JsonNumber* numberValue() const;
    const JsonString* stringValue() const;
    const JsonObject* objectValue() const;
    const JsonArray* arrayValue() const;

    // Write a value of the type's kind: bool as a boolean, numbers and characters as a number, text
    // as text. Floating point has six significant digits; a long has 32 bits. Bytes are written as
    // Base64, wide text as UTF-8, a Time as its milliseconds.
    template <WireScalar T>
    JsonUnit& operator<<(const T& value) {
        if constexpr (NumberWrapper<T>) {
            return *this << value.value();
        } else if constexpr (std::same_as<T, bool>) {
            booleanValue().setValue(value);
        } else {
            String text;
            formatNumber(JsonConversion::numberOf(value), text);
            setNumber(text);
        }
        return *this;
    }
    JsonUnit& operator<<(istr text);
    JsonUnit& operator<<(const char* text) { return *this << istr(text); }
    JsonUnit& operator<<(const String& text) { return *this << istr(text); }
    JsonUnit& operator<<(const std::string& text) { return *this << istr(text); }
    JsonUnit& operator<<(iwstr text);
    JsonUnit& operator<<(const wchar_t* text) { return *this << iwstr(text); }
    JsonUnit& operator<<(const std::wstring& text) { return *this << iwstr(text); }
    JsonUnit& operator<<(const Bytes& bytes);
    JsonUnit& operator<<(const Time& time) { return *this << time.toMilliSeconds(); }

    // Read the value. A value of another kind leaves the target unchanged. Text that is no number
    // gives 0; text after a number is ignored: "1.5" is the integer 1.
    template <WireScalar T>
    const JsonUnit& operator>>(T& target) const {
        JsonConversion::read(*this, target);
        return *this;
    }
    const JsonUnit& operator>>(std::string& target) const;
    // A view of the value, valid until the value is set or its String is requested.
    const JsonUnit& operator>>(istr& target) const {
        if (kind() == JsonKind::String) view(target);
        return *this;
    }
    // Good until the value is set.
    const JsonUnit& operator>>(const char*& target) const;
    const JsonUnit& operator>>(std::wstring& target) const;
    const JsonUnit& operator>>(Bytes& target) const;
    const JsonUnit& operator>>(Time& target) const;

private:
    friend JsonArray;
    friend JsonConversion;
    friend TreeMaker;
    friend TreeEnd;
    friend JsonFormatter;

    // A pointer to a value that the unit has a share in, or 0. In a tree that was read also the
    // place of a value that is not made yet: from the highest bit on 32 for the index of its node,
    // 3 for its kind, and the rest for the distance from here back to the block that the unit is
    // in, with the marks where a multiple of 8 has zeros. Or a short number, as text in the upper
    // bytes: kShort, and its size after that.
    using Word = std::uint64_t;
    static constexpr Word kLazy = 1;
    static constexpr Word kShort = 2;
    static constexpr unsigned kSizeShift = 3;
    static constexpr Word kViewed = 2;    // there are views of the text
    static constexpr Word kFollowed = 4;  // the next unit belongs to the same array
    static constexpr Word kMarks = 7;
    static constexpr unsigned kDistanceBits = 29, kNodeShift = 32;
    static constexpr Word kDistance = (Word(1) << kDistanceBits) - 1 - kMarks;

    static bool isLazy(Word word) noexcept { return (word & kLazy) != 0; }
    static bool isShort(Word word) noexcept { return (word & (kLazy | kShort)) == kShort; }
    static bool isPointer(Word word) noexcept { return (word & (kLazy | kShort)) == 0; }
    static JsonValue* valueOf(Word word) noexcept {
        return reinterpret_cast<JsonValue*>(static_cast<std::uintptr_t>(word));
    }
    static Word wordOf(JsonValue* value) noexcept {
        return reinterpret_cast<std::uintptr_t>(value);
    }
    bool isMade() const noexcept { return word_ != 0 && isPointer(word_); }
    // The share that the unit has; it has none then.
    JsonValue* takeMade() noexcept {
        const Word word = std::exchange(word_, 0);
        return isPointer(word) ? valueOf(word) : nullptr;
    }
    // The value, which is made if it was not.
    JsonValue* made() const {
        if (!isPointer(word_)) [[unlikely]]
            make();
        return valueOf(word_);
    }
    void make() const;
    // Of the value, made or not.
    JsonKind kind() const noexcept {
        if (isLazy(word_)) return static_cast<JsonKind>(word_ >> kDistanceBits & 7);
        if (isShort(word_)) return JsonKind::Number;
        return word_ != 0 ? valueOf(word_)->kind_ : JsonKind::Null;
    }
    // The value's text, which a number has as it is. False for another kind.
    bool readText(JsonKind kind, istr& text) const {
        return this->kind() == kind && (text = scalarText(), true);
    }
    bool readNumber(istr& text) const { return readText(JsonKind::Number, text); }
    bool readString(istr& text) const { return readText(JsonKind::String, text); }
    istr scalarText() const;
    void view(istr& text) const;
    void readBoolean(bool& target) const noexcept;

    // The text of a short number, or of a value whose text fits into one.
    istr shortText() const noexcept;
    static bool fitsShort(istr text) noexcept { return text.size() < sizeof(Word); }
    void setShort(istr text) noexcept;
    void setNumber(istr text);
    template <class T>
    T* valueAs(JsonKind kind) const {
        return this->kind() == kind ? static_cast<T*>(made()) : nullptr;
    }
    template <class T>
    T& makeValue(JsonKind kind);
    template <class T>
    void setText(JsonKind kind, istr text);

    // A multiple of 8, on every machine.
    alignas(8) mutable Word word_ = 0;
};

}  // namespace qor::json

// The values that are made of slots.
#include "qor/json/json_container.h"

#endif  // QOR_JSON_JSON_UNIT_H
