#ifndef QOR_JSON_JSON_VALUE_H
#define QOR_JSON_JSON_VALUE_H

#include <cstddef>
#include <new>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/mlcheck.h"
#include "qor/mt/handle.h"
#include "qor/mt/shared.h"
#include "qor/util/optional.h"

// The values of a JSON tree but its arrays and objects, which stand in qor/json/json_unit.h.
// docs/formats.md has the format.

namespace qor::json {

class JsonUnit;
class JsonBoolean;
class JsonNumber;
class JsonString;
class JsonArray;
class JsonObject;
class TreeBuilder;
class TreeEnd;

// A value of a JSON tree. It is shared by Handles; a JSON null is a Handle without a value. A tree
// belongs to one thread at a time: reading it counts too, since texts and orders are made when they
// are first asked for. Handles may go from thread to thread.
//
// Making a tree of any depth, showing it and deleting it take no more of the stack than a flat one.
class QOR_API JsonValue : public Shared {
public:
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
    friend TreeBuilder;
    friend TreeEnd;

    enum class Kind : unsigned char { Other, Boolean, Number, String, Array, Object };
    explicit JsonValue(Kind kind) noexcept : Shared(OwnAllocation()), kind_(kind) {}

    // These fill what the base leaves of its last word.
    Kind kind_ : 3 = Kind::Other;
    mutable bool flag_ : 1 = false;  // what a kind has to remember
    bool ownsBlock_ : 1 = false;     // an array or an object whose slots have a block of their own
    unsigned short place_ = 0;       // in a block of its tree, see TreeMemory; 0 for one of its own
};

class QOR_API JsonBoolean final : public JsonValue {
public:
    explicit JsonBoolean(bool value) noexcept : JsonValue(Kind::Boolean) { setValue(value); }

    void setValue(bool value) noexcept { flag_ = value; }
    bool getValue() const noexcept { return flag_; }
    // True for everything but "false".
    void fromString(istr text) noexcept { setValue(text != "false"); }

    String toString() const override;
};

// What JsonNumber and JsonString share: a text. It stands behind the value in the same block, until
// it is set or a String is asked for.
class QOR_API JsonText : public JsonValue {
public:
    ~JsonText() override {
        if (flag_) dropString();
    }

    void setValue(istr text);
    // Good until the value is set.
    const String& getValue() const { return flag_ ? *string_ : makeString(); }
    // The same without a String: good until the value is set or getValue is called.
    istr text() const noexcept { return flag_ ? istr(*string_) : istr(here(), size_); }

private:
    friend JsonNumber;
    friend JsonString;
    friend JsonUnit;
    friend TreeBuilder;
    friend TreeEnd;

    JsonText(Kind kind, istr text);
    // So much text stands behind the value, in room that it was made with.
    JsonText(Kind kind, ulong32 size) noexcept : JsonValue(kind), size_(size) {}

    // A longer text than this is a String from the start.
    static constexpr unsigned long kMostHere = 4096;
    // Of the whole value with a text of so many bytes behind it.
    static constexpr std::size_t sizeWith(unsigned long size) noexcept;

    // A value in a block of its own, with the text in it.
    template <class T>
    static T* makeWith(istr text);
    static String* newString(istr text);
    char* here() const noexcept;
    const String& makeString() const;
    void dropString() noexcept;
    // Takes the String, which was made by newString.
    void hold(String* string) const noexcept {
        string_ = string;
        flag_ = true;
    }

    // The String if flag_ is set. Else the size, and right behind it the text.
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

// A number, as the text that it was read from or is to be written as. Whether the text is a number
// is never asked.
class QOR_API JsonNumber final : public JsonText {
public:
    explicit JsonNumber(istr text = istr("0", 1)) : JsonText(Kind::Number, text) {}
    void fromString(istr text) { setValue(text); }
    String toString() const override;

private:
    friend JsonText;
    friend JsonUnit;
    friend TreeBuilder;
    static JsonNumber* make(istr text);
    explicit JsonNumber(ulong32 size) noexcept : JsonText(Kind::Number, size) {}
};

// A text: any bytes, in the configured code page by custom.
class QOR_API JsonString final : public JsonText {
public:
    // The text itself, with nothing escaped.
    explicit JsonString(istr text = istr()) : JsonText(Kind::String, text) {}
    // What the text stands for, see unescape.
    void fromString(istr text);
    // A new value of what the text stands for; null for the word null.
    static JsonString* from(istr text);
    // Escaped and in quotes.
    String toString() const override;

    // The text in double quotes, with a backslash in front of each double quote, backslash and
    // solidus, and with \b \f \n \r \t for these five control characters. All other bytes go out
    // as they are. No value is null, without quotes.
    static String escape(const Optional<String>& value);
    // The reverse, of text with or without quotes around it. \u and four hexadecimal digits are one
    // wide character, in the configured code page; the two halves of a surrogate pair are two
    // characters, and none. Another backslash vanishes together with the byte behind it. The word
    // null, without quotes, is no value.
    static Optional<String> unescape(istr text);

private:
    friend JsonText;
    friend JsonUnit;
    friend TreeBuilder;
    static JsonString* make(istr text);
    explicit JsonString(ulong32 size) noexcept : JsonText(Kind::String, size) {}
};

// Writes a value, with the keys of an object in ascending order. In one line there is a blank
// behind each opening bracket and comma, and in front of each closing bracket.
class QOR_API JsonFormatter {
public:
    // The value may be null, and outlives the formatter. `level` is the one of the opening bracket,
    // in steps of four blanks; it counts in the pretty form alone. `skipNull` leaves out the keys
    // of objects that hold null; an array keeps its nulls.
    JsonFormatter(const JsonValue* value, bool pretty, bool skipNull, int level) noexcept
        : value_(value), pretty_(pretty), skipNull_(skipNull), level_(level) {}

    // Appends. Keys go out as they are, in quotes: one with a quote or a backslash in it does not
    // read back as itself.
    void format(String& out) const;
    String toString() const;

private:
    class Output;
    class Run;
    static void indent(Output& out, bool pretty, long long level);

    const JsonValue* value_;
    bool pretty_;
    bool skipNull_;
    int level_;
};

}  // namespace qor::json

#endif  // QOR_JSON_JSON_VALUE_H
