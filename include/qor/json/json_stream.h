#ifndef QOR_JSON_JSON_STREAM_H
#define QOR_JSON_JSON_STREAM_H

#include <iosfwd>
#include <utility>

#include "qor/base/interface.h"
#include "qor/json/json_unit.h"
#include "qor/json/qor_json_parser.h"

// The streams that write and read user types as JSON. Use them through qor/json/json_T.h.

namespace qor::json {

// The largest depth of nested objects that can be read. Each level uses the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// A codec passes the names of its type to these. JSON ignores them.
struct CodecHooks {
    void leave() const noexcept {}
    void enterSuper() const noexcept {}
    void leaveSuper() const noexcept {}
};

// Reads from a unit: its own, or another one, which must outlive the stream. Use a stream from one
// thread only.
class QOR_API JsonInputStream : public CodecHooks, noncopyable {
public:
    // Its unit is null.
    JsonInputStream() noexcept = default;
    explicit JsonInputStream(const JsonUnit& unit) noexcept : external_(&unit) {}
    // Parses the text. Raises DecodeException.
    explicit JsonInputStream(istr text) { own_.decode(text); }

    // As JsonUnit::operator>>: if the value is missing or of another kind, the target is unchanged.
    template <class T>
    requires requires(const JsonUnit& unit, T& target) { unit >> target; }
    const JsonInputStream& operator>>(T& target) const {
        unit() >> target;
        return *this;
    }

    // JsonUnit::null() for a missing child. An alias that is not empty replaces the name.
    const JsonUnit& child(istr name) const { return unit().child(name); }
    const JsonUnit& child(istr name, istr alias) const {
        return child(alias.empty() ? name : alias);
    }
    const JsonUnit& operator[](istr name) const { return child(name); }
    // Get the children of the unit. Return false, and leave the iterators unchanged, if it is of
    // another kind.
    bool getArrayChildren(JsonArray::const_iterator& begin, JsonArray::const_iterator& end) const;
    bool getObjectChildren(JsonObject::const_iterator& begin,
                           JsonObject::const_iterator& end) const;

    const JsonUnit& unit() const noexcept { return external_ != nullptr ? *external_ : own_; }
    long dumping() const noexcept { return 0; }

    void enter(istr, istr, istr, istr) const noexcept {}

private:
    const JsonUnit* external_ = nullptr;
    JsonUnit own_;
};

// Writes to a unit: its own, or another one, which must outlive the stream. Use a stream from one
// thread only.
class QOR_API JsonOutputStream : public CodecHooks, noncopyable {
public:
    JsonOutputStream() noexcept = default;
    explicit JsonOutputStream(JsonUnit& unit) noexcept : external_(&unit) {}

    template <class T>
    requires requires(JsonUnit& unit, const T& value) { unit << value; }
    JsonOutputStream& operator<<(const T& value) {
        unit() << value;
        return *this;
    }

    // As JsonUnit::child: the unit becomes an object, and the key is added if it is missing. An
    // alias that is not null or empty replaces the name.
    JsonUnit& child(istr name) { return unit().child(name); }
    JsonUnit& child(istr name, const char* alias, int) {
        return child(istr(alias).empty() ? name : istr(alias));
    }
    JsonUnit& operator[](istr name) { return child(name); }
    // The unit becomes an array; appends the other stream's value, which both then share.
    void add(const JsonOutputStream& other) {
        // The other unit may be a part of the value that an array replaces.
        JsonUnit added = other.unit();
        unit().newChild() = std::move(added);
    }

    JsonUnit& unit() noexcept { return external_ != nullptr ? *external_ : own_; }
    const JsonUnit& unit() const noexcept { return external_ != nullptr ? *external_ : own_; }
    String str(bool pretty = false, bool skipNull = true, int level = 0) const {
        return unit().encode(pretty, skipNull, level);
    }

    // A number for the caller; it has no effect.
    void dumping(long number) noexcept { dumping_ = static_cast<long32>(number); }
    long dumping() const noexcept { return dumping_; }

    void enter(istr, istr, istr, istr) const noexcept {}

private:
    JsonUnit* external_ = nullptr;
    JsonUnit own_;
    long32 dumping_ = 0;
};

// A stream that either writes or reads, so that one codec serves both directions:
//
//     if (s.encoding()) s.jos()["name"] << name_; else s.jis()["name"] >> name_;
//
// or simply field(s, {"name", 1}, name_).
class QOR_API JsonStream : public CodecHooks {
public:
    // For writing: to its own unit, or to that of `out`.
    JsonStream() noexcept : encoding_(true) {}
    explicit JsonStream(JsonOutputStream& out) noexcept : encoding_(true), jos_(out.unit()) {}
    // For reading: the unit of `in`, or a text. The latter raises DecodeException.
    explicit JsonStream(const JsonInputStream& in) noexcept : encoding_(false), jis_(in.unit()) {}
    explicit JsonStream(istr text) : encoding_(false), jis_(text) {}

    bool encoding() const noexcept { return encoding_; }
    JsonInputStream& jis() noexcept { return jis_; }
    const JsonInputStream& jis() const noexcept { return jis_; }
    JsonOutputStream& jos() noexcept { return jos_; }
    const JsonOutputStream& jos() const noexcept { return jos_; }

    // The unit that is written or read.
    const JsonUnit& unit() const noexcept { return encoding_ ? jos_.unit() : jis_.unit(); }
    String encode(bool pretty = false, bool skipNull = true, int level = 0) const {
        return unit().encode(pretty, skipNull, level);
    }
    String str(bool pretty = false, bool skipNull = true, int level = 0) const {
        return encode(pretty, skipNull, level);
    }

    void enter(istr type, istr name, istr className, istr superName) const noexcept {
        if (encoding_) jos_.enter(type, name, className, superName);
    }

private:
    bool encoding_;
    JsonInputStream jis_;
    JsonOutputStream jos_;
};

// Counts the nesting of the codecs that read on the calling thread. The constructor raises
// DecodeException beyond kMaxDepth.
class QOR_API ReadingDepth : noncopyable {
public:
    ReadingDepth();
    ~ReadingDepth();
};

// The base of types that are written and read through a reference to this class.
class QOR_API JsonCodecInterface : public virtual Interface {
public:
    // Run codecJson on the stream. decodeJson raises DecodeException for objects nested deeper than
    // kMaxDepth.
    virtual void encodeJson(JsonOutputStream& out) const;
    virtual void decodeJson(const JsonInputStream& in);
    virtual void codecJson(JsonStream& s) = 0;

    // The object as text, without the fields that are null.
    String toJson(bool pretty) const;
    // Reads the object from a text. Raises DecodeException; members that were already read are then
    // changed.
    void fromJson(const istr& text);
};

// Writes toJson(true).
QOR_API std::ostream& operator<<(std::ostream& os, const JsonCodecInterface& object);

}  // namespace qor::json

#endif  // QOR_JSON_JSON_STREAM_H
