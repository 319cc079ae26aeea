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

namespace qor::json {

class JsonArray;
class JsonObject;

// A place for a value; without one it is a JSON null. A copy of a unit shares the value: a change
// through one unit is visible through the other, but setting a value of another kind replaces the
// value of this unit only. A value must not become a part of itself.
//
//     JsonUnit unit;
//     unit["name"] << "Ann";          // the unit becomes an object
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
    // Then `other` is null.
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

    // A unit that is always null.
    static const JsonUnit& null() noexcept;

    // As JsonParser::from and JsonValue::encode. If an exception is raised, the unit is unchanged.
    void decode(istr text);
    String encode(bool pretty = false, bool skipNull = true, int level = 0) const;
    String toString(bool pretty = false, bool skipNull = true, int level = 0) const {
        return encode(pretty, skipNull, level);
    }
    // Writes the value's toString.
    void dump(std::ostream& os) const;

    Handle<JsonValue> value() const { return Handle<JsonValue>(made()); }
    bool isNull() const noexcept { return word_ == 0; }
    void setNull() noexcept {
        if (word_ != 0) Handle<JsonValue>::adopt(takeMade());
    }

    // The unit of the key. For the first two, this unit becomes an object, and the key is added if
    // it is missing; the reference is valid as long as the object. The const ones return null() if
    // the key is missing.
    JsonUnit& child(istr name);
    JsonUnit& operator[](istr name) { return child(name); }
    const JsonUnit& child(istr name) const;
    const JsonUnit& operator[](istr name) const { return child(name); }
    // This unit becomes an array; appends a null unit, which is valid until the next append.
    JsonUnit& newChild();

    // The value of that kind. A value of another kind is replaced by a new one: false, the number
    // 0, an empty text, array or object.
    JsonBoolean& booleanValue();
    JsonNumber& numberValue();
    JsonString& stringValue();
    JsonObject& objectValue();
    JsonArray& arrayValue();
    // Null if the value is of another kind.
    const JsonBoolean* booleanValue() const;
    const JsonNumber* numberValue() const;
    const JsonString* stringValue() const;
    const JsonObject* objectValue() const;
    const JsonArray* arrayValue() const;

    // Set the value: a bool as a boolean, numbers and characters as a number, text as a string.
    // Floating point has six significant digits; a long has 32 bits. Bytes are written as Base64,
    // wide text as UTF-8, a Time as its milliseconds.
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

    // Read the value. If it is of another kind, the target is unchanged. A number with invalid text
    // gives 0; text after a number is ignored: 1.5 is read as the integer 1.
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
    // Terminated; valid until the value is set.
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

    // One of:
    // - 0 for null.
    // - A pointer to a value; the unit is one of its owners.
    // - In a parsed tree, a value that is not created yet ("lazy"): from the highest bit, 32 bits
    //   for the index of its node, 3 for its kind, and the rest for the distance from this unit
    //   back to the start of its block. That is a multiple of 8, and its three low bits are the
    //   marks kLazy, kViewed and kFollowed.
    // - A short number, as text in the upper bytes; the lowest byte is kShort and the size.
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
    // Takes the ownership of the value from the unit, which is then null.
    JsonValue* takeMade() noexcept {
        const Word word = std::exchange(word_, 0);
        return isPointer(word) ? valueOf(word) : nullptr;
    }
    // The value, which is created if it is lazy or short.
    JsonValue* made() const {
        if (!isPointer(word_)) [[unlikely]]
            make();
        return valueOf(word_);
    }
    void make() const;
    // The kind of the value, created or not.
    JsonKind kind() const noexcept {
        if (isLazy(word_)) return static_cast<JsonKind>(word_ >> kDistanceBits & 7);
        if (isShort(word_)) return JsonKind::Number;
        return word_ != 0 ? valueOf(word_)->kind_ : JsonKind::Null;
    }
    // Sets `text` to the value's text. Returns false, and leaves it unchanged, for another kind.
    bool readText(JsonKind kind, istr& text) const {
        return this->kind() == kind && (text = scalarText(), true);
    }
    bool readNumber(istr& text) const { return readText(JsonKind::Number, text); }
    bool readString(istr& text) const { return readText(JsonKind::String, text); }
    istr scalarText() const;
    void view(istr& text) const;
    bool readBoolean(bool& target) const noexcept;

    // Short numbers: their text, and whether a text fits into one.
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

    // Aligned to 8 on every machine.
    alignas(8) mutable Word word_ = 0;
};

}  // namespace qor::json

// Arrays and objects.
#include "qor/json/json_container.h"

#endif  // QOR_JSON_JSON_UNIT_H
