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

// The values of a JSON tree (RFC 8259), except arrays and objects, which are in
// qor/json/json_container.h. docs/formats.md describes the format and its differences from the
// standard.

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

// A value of a JSON tree. Handles share it; a JSON null is a null Handle. Only one thread at a time
// may use a tree, also for reading, since the values of a parsed tree are created at their first
// use. Handles may be passed to other threads.
//
// The stack use of building, writing and deleting a tree does not depend on its depth. Operations
// that create values may raise std::bad_alloc; the tree is then unchanged.
class QOR_API __attribute__((aligned(8))) JsonValue : public Shared {
public:
    // The kind of a value. Null is the kind of a unit or a view without a value, and of a class of
    // the program that derives from JsonValue.
    enum class Kind : unsigned char { Null, Boolean, Number, String, Array, Object };

    JsonValue(const JsonValue&) = delete;
    JsonValue& operator=(const JsonValue&) = delete;
    ~JsonValue() override;
    // For arrays and objects as toJson.
    virtual String toString() const;

    // The value as text; see JsonFormatter.
    String encode(bool pretty, bool skipNull, int level) const;
    // In one line, without keys whose value is null.
    String toJson() const { return encode(false, true, 0); }
    // In many lines. Deliberate (compatibility): all lines except the first are indented by one
    // level more than needed.
    String toFormatted() const { return encode(true, true, 1); }
    // The same, including keys whose value is null.
    String toFormattedSample() const { return encode(true, false, 1); }

    // Record the value in the leak table.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
    // Called if a constructor raises.
    static void operator delete(void* block) noexcept;
    static void operator delete(void* block, const char* file, unsigned line,
                                const char* func) noexcept;
    // Deletes the whole tree, without recursion.
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

    // The block in which the value was created, at place_; null for a value with its own memory.
    Block* block() const noexcept;

    // These fit into the rest of the base class's last word.
    Kind kind_ : 3 = Kind::Null;
    bool isTrue_ : 1 = false;             // the value of a boolean
    mutable bool isString_ : 1 = false;   // the text is in a String
    bool isInTree_ : 1 = false;           // the text is a part of the tree's text
    mutable bool isUnmade_ : 1 = false;   // a parsed container whose units are not created yet
    mutable bool ownsSlots_ : 1 = false;  // a container whose units are in their own block
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
    // Valid until the value is set.
    const String& getValue() const { return isString_ ? *string_ : makeString(); }
    // The same without creating a String: valid until the value is set or getValue is called.
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
    // For a text of this size, which is stored after the value in the same block.
    JsonText(Kind kind, ulong32 size) noexcept : JsonValue(kind), size_(size) {}

    // A longer text is stored in a String from the start.
    static constexpr unsigned long kMostHere = 4096;
    // The size of a value with a text of this size after it.
    static constexpr std::size_t sizeWith(unsigned long size) noexcept;

    // Creates a value in its own block, together with the text.
    template <class T>
    static T* makeWith(istr text);
    static String* newString(istr text);
    char* here() const noexcept;
    const char*& inTree() const noexcept {
        return *reinterpret_cast<const char**>(const_cast<JsonText*>(this) + 1);
    }
    const String& makeString() const;
    void dropString() noexcept;
    // Owns the String, which must have been created by newString.
    void hold(String* string) const noexcept {
        string_ = string;
        isString_ = true;
    }

    // If isString_, the String. Otherwise the size; the text follows it directly, or, if isInTree_,
    // a pointer to the text follows the value.
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

// A number, as the text that was read or will be written. It is not checked that the text is a
// number.
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

// A text: any bytes, by convention in the configured code page.
class QOR_API JsonString final : public JsonText {
public:
    // `text` is the text itself, without escapes.
    explicit JsonString(istr text = istr()) : JsonText(Kind::String, text) {}
    // Unescapes the text and sets it; see unescape.
    void fromString(istr text);
    // Unescapes the text and returns a new value; null for the word null. The caller owns it.
    static JsonString* from(istr text);
    // Escaped and in quotes.
    String toString() const override;

    // The text in double quotes, with a backslash before each double quote, backslash and solidus,
    // and with \b \f \n \r \t for these five control characters. All other bytes are written
    // unchanged. A missing value gives null without quotes.
    static String escape(const Optional<String>& value);
    // The reverse, for text with or without quotes around it. \u and the four bytes after it (fewer
    // at the end) are one wide character, converted to the configured code page; U+FFFF if they
    // are not all hexadecimal digits; nothing for \u0000. The two halves of a surrogate pair are
    // two invalid characters. Any other backslash is dropped together with the byte after it. The
    // word null, without quotes, gives an unset value.
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
