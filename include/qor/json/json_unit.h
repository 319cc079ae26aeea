#ifndef QOR_JSON_JSON_UNIT_H
#define QOR_JSON_JSON_UNIT_H

#include <concepts>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_time.h"
#include "qor/json/json_value.h"
#include "qor/util/BinaryStream.h"

// The slot for a value, and the values that are made of slots.

namespace qor::json {

class JsonArray;
class JsonObject;

// A slot that holds a value, or none for a JSON null. A copy shares the value: what is written
// through one is seen through the other, unless it is of another kind, which replaces the value of
// the one slot. A value must not become a part of itself.
//
//     JsonUnit unit;
//     unit["name"] << "Ann";          // makes an object of the unit
//     unit["age"] << 30;
//     long age = 0;
//     std::as_const(unit)["age"] >> age;
class QOR_API JsonUnit {
public:
    JsonUnit() noexcept = default;
    JsonUnit(Handle<JsonValue> value) noexcept : value_(std::move(value)) {}

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

    Handle<JsonValue> value() const noexcept { return value_; }
    bool isNull() const noexcept { return !value_; }
    void setNull() noexcept { value_.reset(); }

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
    const JsonBoolean* booleanValue() const noexcept;
    const JsonNumber* numberValue() const noexcept;
    const JsonString* stringValue() const noexcept;
    const JsonObject* objectValue() const noexcept;
    const JsonArray* arrayValue() const noexcept;

    // Write a value, of the kind that the type goes by: bool by the boolean, numbers and characters
    // by the number, text by the text. Floating point has six significant digits; a long has 32
    // bits. Bytes go as Base64, wide text as UTF-8, a Time as its milliseconds.
    template <WireScalar T>
    JsonUnit& operator<<(const T& value) {
        if constexpr (NumberWrapper<T>) {
            return *this << value.value();
        } else if constexpr (std::same_as<T, bool>) {
            booleanValue().setValue(value);
        } else {
            String text;
            formatNumber(static_cast<Number<T>>(value), text);
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

    // Read the value. One of another kind leaves the target as it was. Text that is no number gives
    // 0, and of one with more behind it that is not looked at: "1.5" is the integer 1.
    template <WireScalar T>
    const JsonUnit& operator>>(T& target) const {
        if constexpr (NumberWrapper<T>) {
            return *this >> target.value();
        } else if constexpr (std::same_as<T, bool>) {
            if (const JsonBoolean* const value = booleanValue()) target = value->getValue();
        } else if (const JsonText* const value = numberText()) {
            Number<T> number{};
            parseNumber(value->text(), number);
            target = static_cast<T>(number);
        }
        return *this;
    }
    const JsonUnit& operator>>(std::string& target) const;
    // A view of the value, good until that is set or asked for its String.
    const JsonUnit& operator>>(istr& target) const noexcept;
    // Good until the value is set.
    const JsonUnit& operator>>(const char*& target) const;
    const JsonUnit& operator>>(std::wstring& target) const;
    const JsonUnit& operator>>(Bytes& target) const;
    const JsonUnit& operator>>(Time& target) const;

private:
    friend TreeBuilder;
    friend TreeEnd;
    friend JsonFormatter;

    // What a number is written and read as: a character by its value, a wide one by its code.
    template <class T>
    using Number = std::conditional_t<
        std::same_as<T, char> || std::same_as<T, signed char>, short,
        std::conditional_t<std::same_as<T, unsigned char>, unsigned short,
                           std::conditional_t<std::same_as<T, wchar_t>, long32, T>>>;

    const JsonText* numberText() const noexcept;
    void setNumber(istr text);
    template <class T>
    T* valueOf(JsonValue::Kind kind) const noexcept;
    template <class T>
    T& makeValue(JsonValue::Kind kind);
    template <class T>
    void setText(JsonValue::Kind kind, istr text);

    Handle<JsonValue> value_;
};

// An array: units one behind the other.
class QOR_API JsonArray final : public JsonValue {
public:
    using value_type = JsonUnit;
    using iterator = JsonUnit*;
    using const_iterator = const JsonUnit*;

    JsonArray() noexcept : JsonValue(Kind::Array) {}
    ~JsonArray() override;

    // Append. References and iterators are good until the next append.
    void add(const JsonUnit& unit);
    // A null unit.
    JsonUnit& newChild();

    unsigned long size() const noexcept { return size_; }
    // Unchecked.
    JsonUnit& at(unsigned i) noexcept { return units_[i]; }
    const JsonUnit& at(unsigned i) const noexcept { return units_[i]; }
    iterator begin() noexcept { return units_; }
    iterator end() noexcept { return units_ + size_; }
    const_iterator begin() const noexcept { return units_; }
    const_iterator end() const noexcept { return units_ + size_; }

private:
    friend TreeBuilder;
    friend TreeEnd;

    void grow();

    JsonUnit* units_ = nullptr;
    ulong32 size_ = 0;
    ulong32 capacity_ = 0;
};

// An object: a map from keys to units, in the order of the keys. Of a key that stood more than once
// in the text that was read, the last one is there.
//
// Units stay where they are, so a reference is good as long as the object is. An iterator is good
// until a key is added. Finding a key and adding one take O(log n), and the first iteration behind
// that O(n).
class QOR_API JsonObject final : public JsonValue {
public:
    using key_type = String;
    using mapped_type = JsonUnit;
    using value_type = std::pair<const String, JsonUnit>;

    // Gives the pairs themselves.
    template <class Pair>
    class Iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = JsonObject::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = Pair*;
        using reference = Pair&;

        Iterator() noexcept = default;
        explicit Iterator(JsonObject::value_type* const* at) noexcept : at_(at) {}
        operator Iterator<const Pair>() const noexcept { return Iterator<const Pair>(at_); }

        Pair& operator*() const noexcept { return **at_; }
        Pair* operator->() const noexcept { return *at_; }
        Iterator& operator++() noexcept {
            ++at_;
            return *this;
        }
        Iterator& operator--() noexcept {
            --at_;
            return *this;
        }
        Iterator operator++(int) noexcept { return Iterator(at_++); }
        Iterator operator--(int) noexcept { return Iterator(at_--); }
        bool operator==(const Iterator& other) const noexcept = default;

    private:
        JsonObject::value_type* const* at_ = nullptr;
    };
    using iterator = Iterator<value_type>;
    using const_iterator = Iterator<const value_type>;

    JsonObject() noexcept : JsonValue(Kind::Object) {}
    ~JsonObject() override;

    // Replaces the unit under the key, which is made if there is none.
    void put(istr key, const JsonUnit& unit) { get(key) = unit; }
    // A key that is not there is made, with a null unit.
    JsonUnit& get(istr key);
    // Null for a key that is not there.
    const JsonUnit* get(istr key) const noexcept;

    iterator begin() noexcept { return iterator(inOrder()); }
    iterator end() noexcept { return iterator(inOrder() + size_); }
    const_iterator begin() const noexcept { return const_iterator(inOrder()); }
    const_iterator end() const noexcept { return const_iterator(inOrder() + size_); }

private:
    friend TreeBuilder;
    friend TreeEnd;
    friend JsonFormatter;

    struct ByKey {
        using is_transparent = void;
        bool operator()(const value_type* left, const value_type* right) const noexcept {
            return istr(left->first) < istr(right->first);
        }
        bool operator()(const value_type* left, istr right) const noexcept {
            return istr(left->first) < right;
        }
        bool operator()(istr left, const value_type* right) const noexcept {
            return left < istr(right->first);
        }
    };
    using Index = std::set<value_type*, ByKey>;
    // So many pairs are moved to make room between them.
    static constexpr ulong32 kMoved = 1024;

    value_type* const* inOrder() const noexcept {
        if (flag_) putInOrder();
        return pairs_;
    }
    void putInOrder() const noexcept;
    void sortAsRead() const noexcept;
    value_type* find(istr key) const noexcept;
    void grow();
    void add(value_type* pair);
    bool isWithin(const value_type* pair) const noexcept {
        const auto* const first = reinterpret_cast<const value_type*>(this + 1);
        return std::greater_equal<>()(pair, first) && std::less<>()(pair, first + within_);
    }

    // All pairs. Those of an object that was read stand behind it in its block. With flag_ set they
    // are in no order: that of the text, where keys may stand twice, if there is no index.
    mutable value_type** pairs_ = nullptr;
    mutable ulong32 size_ = 0;
    ulong32 capacity_ = 0;
    ulong32 within_ = 0;  // pairs behind the object
    // Of an object that keys were added to in no order.
    std::unique_ptr<Index> index_;
};

}  // namespace qor::json

#endif  // QOR_JSON_JSON_UNIT_H
