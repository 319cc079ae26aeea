#ifndef QOR_JSON_JSON_VALUE_H
#define QOR_JSON_JSON_VALUE_H

#include <cstddef>
#include <new>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/mlcheck.h"
#include "qor/json/json_formatter.h"
#include "qor/mt/handle.h"
#include "qor/mt/shared.h"
#include "qor/util/optional.h"

// The values of a JSON tree but its arrays and objects, which are in qor/json/json_container.h.
// docs/formats.md has the format.

namespace qor::json {

class JsonUnit;
class JsonView;
class JsonDocument;
class JsonBoolean;
class JsonNumber;
class JsonString;
class JsonArray;
class JsonObject;
class FlatTree;
class TreeMaker;
class TreeEnd;
struct Block;

// A value of a JSON tree. It is shared by Handles; a JSON null is a Handle without a value. A tree
// belongs to one thread at a time, also for reading, since the values of a parsed tree are created
// at their first use. Handles may be passed to other threads.
//
// The stack use of building, showing and deleting a tree does not depend on its depth. Operations
// that create values may raise std::bad_alloc; the tree is unchanged then.
class QOR_API __attribute__((aligned(8))) JsonValue : public Shared {
public:
    // The kind of a value. Null is the kind of a unit or a view without a value, and of a value
    // whose class is not one of this library's.
    enum class Kind : unsigned char { Null, Boolean, Number, String, Array, Object };

    JsonValue(const JsonValue&) = delete;
    JsonValue& operator=(const JsonValue&) = delete;
    ~JsonValue() override;
    // Of an array or an object, as toJson.
    virtual String toString() const;

    // As JsonFormatter writes it.
    String encode(bool pretty, bool skipNull, int level) const;
    // In one line, without the keys that hold null.
    String toJson() const { return encode(false, true, 0); }
    // In many lines. All but the first are indented by one level more than their bracket.
    String toFormatted() const { return encode(true, true, 1); }
    // The same with the keys that hold null.
    String toFormattedSample() const { return encode(true, false, 1); }

    // Tell the leak table.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
    // For a constructor that raises.
    static void operator delete(void* block) noexcept;
    static void operator delete(void* block, const char* file, unsigned line,
                                const char* func) noexcept;
    // Takes the whole tree down.
    static void operator delete(JsonValue* value, std::destroying_delete_t) noexcept;

protected:
    JsonValue() noexcept : Shared(OwnAllocation()) {}

private:
    friend class JsonBoolean;
    friend class JsonText;
    friend class JsonNumber;
    friend class JsonString;
    friend class JsonArray;
    friend class JsonObject;
    friend class JsonUnit;
    friend class JsonFormatter;
    friend JsonDocument;
    friend FlatTree;
    friend TreeMaker;
    friend TreeEnd;

    explicit JsonValue(Kind kind) noexcept : Shared(OwnAllocation()), kind_(kind) {}

    // The block that the value was made in, at place_; null for a value with memory of its own.
    Block* block() const noexcept;

    // These use the rest of the base's last word.
    Kind kind_ : 3 = Kind::Null;
    bool isTrue_ : 1 = false;             // a boolean
    mutable bool isString_ : 1 = false;   // a text in a String
    bool isInTree_ : 1 = false;           // a text that the value's tree has
    mutable bool isUnmade_ : 1 = false;   // a container of a tree that was read, without slots yet
    mutable bool ownsSlots_ : 1 = false;  // a container whose slots are in a block of their own
    unsigned short place_ = 0;            // in units of the alignment
};

using JsonKind = JsonValue::Kind;

class QOR_API JsonBoolean final : public JsonValue {
public:
    explicit JsonBoolean(bool value) noexcept : JsonValue(Kind::Boolean) { setValue(value); }

    void setValue(bool value) noexcept { isTrue_ = value; }
    bool getValue() const noexcept { return isTrue_; }
    // True for everything but "false".
    void fromString(istr text) noexcept { setValue(text != "false"); }

    String toString() const override;
};

// The common base of JsonNumber and JsonString: a text. It follows the value in the same block, or
// is a part of the parsed text, until it is set or its String is requested.
class QOR_API JsonText : public JsonValue {
public:
    ~JsonText() override {
        if (isString_) dropString();
    }

    void setValue(istr text);
    // Good until the value is set.
    const String& getValue() const { return isString_ ? *string_ : makeString(); }
    // The same without a String: good until the value is set or getValue is called.
    istr text() const noexcept {
        if (isString_) return istr(*string_);
        return istr(isInTree_ ? inTree() : here(), size_);
    }

private:
    friend JsonNumber;
    friend JsonString;
    friend JsonUnit;
    friend TreeMaker;
    friend TreeEnd;

    JsonText(Kind kind, istr text);
    // A text of this size follows the value, in room that it was made with.
    JsonText(Kind kind, ulong32 size) noexcept : JsonValue(kind), size_(size) {}

    // A longer text than this is a String from the start.
    static constexpr unsigned long kMostHere = 4096;
    // The size of a value with a text of this size after it.
    static constexpr std::size_t sizeWith(unsigned long size) noexcept;

    // A value in a block of its own, with the text in it.
    template <class T>
    static T* makeWith(istr text);
    static String* newString(istr text);
    char* here() const noexcept;
    const char*& inTree() const noexcept {
        return *reinterpret_cast<const char**>(const_cast<JsonText*>(this) + 1);
    }
    const String& makeString() const;
    void dropString() noexcept;
    // Takes the String, which was made by newString.
    void hold(String* string) const noexcept {
        string_ = string;
        isString_ = true;
    }

    // The String if isString_ is set. Else the size, followed at once by the text, or, with
    // isInTree_ set, by a pointer to it after the value.
    union {
        mutable String* string_;
        ulong32 size_;
    };
};

inline char* JsonText::here() const noexcept {
    return reinterpret_cast<char*>(const_cast<ulong32*>(&size_)) + sizeof size_;
}

constexpr std::size_t JsonText::sizeWith(unsigned long size) noexcept {
    constexpr std::size_t kRoom = sizeof(String*) - sizeof(ulong32);
    return sizeof(JsonText) + (size > kRoom ? size - kRoom : 0);
}

// A number, as the text that was read or will be written. The text is not checked to be a number.
class QOR_API JsonNumber final : public JsonText {
public:
    explicit JsonNumber(istr text = istr("0", 1)) : JsonText(Kind::Number, text) {}
    void fromString(istr text) { setValue(text); }
    String toString() const override;

private:
    friend JsonText;
    friend JsonUnit;
    friend TreeMaker;
    static JsonNumber* make(istr text);
    explicit JsonNumber(ulong32 size) noexcept : JsonText(Kind::Number, size) {}
};

// A text: any bytes, in the configured code page by custom.
class QOR_API JsonString final : public JsonText {
public:
    // The text itself, with nothing escaped.
    explicit JsonString(istr text = istr()) : JsonText(Kind::String, text) {}
    // Sets the unescaped text, see unescape.
    void fromString(istr text);
    // A new value of the unescaped text; null for the word null.
    static JsonString* from(istr text);
    // Escaped and in quotes.
    String toString() const override;

    // The text in double quotes, with a backslash before each double quote, backslash and solidus,
    // and with \b \f \n \r \t for these five control characters. All other bytes are written
    // unchanged. A missing value gives null without quotes.
    static String escape(const Optional<String>& value);
    // The reverse, of text with or without quotes around it. \u and four hexadecimal digits are one
    // wide character, converted to the configured code page; the two halves of a surrogate pair
    // count as two invalid characters. Any other backslash is dropped together with the byte after
    // it. The word null, without quotes, is no value.
    static Optional<String> unescape(istr text);

private:
    friend JsonText;
    friend JsonUnit;
    friend TreeMaker;
    static JsonString* make(istr text);
    explicit JsonString(ulong32 size) noexcept : JsonText(Kind::String, size) {}
};

}  // namespace qor::json

#endif  // QOR_JSON_JSON_VALUE_H
