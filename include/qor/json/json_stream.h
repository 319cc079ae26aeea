#ifndef QOR_JSON_JSON_STREAM_H
#define QOR_JSON_JSON_STREAM_H

#include <iosfwd>
#include <utility>

#include "qor/base/interface.h"
#include "qor/json/json_unit.h"
#include "qor/json/qor_json_parser.h"

// The streams through which user types reach JSON; qor/json/json_T.h has the fields of their
// codecs.

namespace qor::json {

// The greatest depth of nested objects that are read. Each level uses the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// The type's names, given by a codec. JSON has no place for them.
struct CodecHooks {
    void leave() const noexcept {}
    void enterSuper() const noexcept {}
    void leaveSuper() const noexcept {}
};

// Reads from a unit: its own one, or one that it does not own and that must outlive it. A stream
// belongs to one thread.
class QOR_API JsonInputStream : public CodecHooks, noncopyable {
public:
    // Over null.
    JsonInputStream() noexcept = default;
    explicit JsonInputStream(const JsonUnit& unit) noexcept : external_(&unit) {}
    // Reads the text. Raises DecodeException.
    explicit JsonInputStream(istr text) { own_.decode(text); }

    // As JsonUnit::operator>>: a value that is missing or of another kind leaves the target
    // unchanged.
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
    // The children of the unit. False if it is of another kind; the iterators stay then.
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

// Writes to a unit, in the same way.
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

    // As JsonUnit::child: makes an object of the unit, and the key. An alias that is not null and
    // not empty takes the place of the name.
    JsonUnit& child(istr name) { return unit().child(name); }
    JsonUnit& child(istr name, const char* alias, int) {
        return child(istr(alias).empty() ? name : istr(alias));
    }
    JsonUnit& operator[](istr name) { return child(name); }
    // Makes an array of the unit, and appends the other stream's value, which both then share.
    void add(const JsonOutputStream& other) { unit().arrayValue().add(other.unit()); }

    JsonUnit& unit() noexcept { return external_ != nullptr ? *external_ : own_; }
    const JsonUnit& unit() const noexcept { return external_ != nullptr ? *external_ : own_; }
    String str(bool pretty = false, bool skipNull = true, int level = 0) const {
        return unit().encode(pretty, skipNull, level);
    }

    // Kept, and nothing else.
    void dumping(long number) noexcept { dumping_ = static_cast<long32>(number); }
    long dumping() const noexcept { return dumping_; }

    void enter(istr, istr, istr, istr) const noexcept {}

private:
    JsonUnit* external_ = nullptr;
    JsonUnit own_;
    long32 dumping_ = 0;
};

// One object for both directions, so that one codec serves both:
//
//     if (s.encoding()) s.jos()["name"] << name_; else s.jis()["name"] >> name_;
//
// or field(s, {"name", 1}, name_) for this.
class QOR_API JsonStream : public CodecHooks {
public:
    // For writing to a unit of its own, and to that of the other stream.
    JsonStream() noexcept : encoding_(true) {}
    explicit JsonStream(JsonOutputStream& out) noexcept : encoding_(true), jos_(out.unit()) {}
    // For reading the unit of the other stream, and a text. The last one raises DecodeException.
    explicit JsonStream(const JsonInputStream& in) noexcept : encoding_(false), jis_(in.unit()) {}
    explicit JsonStream(istr text) : encoding_(false), jis_(text) {}

    bool encoding() const noexcept { return encoding_; }
    JsonInputStream& jis() noexcept { return jis_; }
    const JsonInputStream& jis() const noexcept { return jis_; }
    JsonOutputStream& jos() noexcept { return jos_; }
    const JsonOutputStream& jos() const noexcept { return jos_; }

    // That of the stream in use.
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

// Counts how deeply the calling thread's codecs read inside each other. Raises DecodeException
// beyond kMaxDepth.
class QOR_API ReadingDepth : noncopyable {
public:
    ReadingDepth();
    ~ReadingDepth();
};

// The base of types that are carried through a pointer. Its one codec serves both directions.
class QOR_API JsonCodecInterface : public virtual Interface {
public:
    // Run the codec on the stream. decodeJson raises DecodeException for objects that are nested
    // too deeply.
    virtual void encodeJson(JsonOutputStream& out) const;
    virtual void decodeJson(const JsonInputStream& in);
    virtual void codecJson(JsonStream& s) = 0;

    // Without the fields that are null.
    String toJson(bool pretty) const;
    // Raises DecodeException. What was read before a failure stays read.
    void fromJson(const istr& text);
};

// Writes toJson(true).
QOR_API std::ostream& operator<<(std::ostream& os, const JsonCodecInterface& object);

}  // namespace qor::json

#endif  // QOR_JSON_JSON_STREAM_H
