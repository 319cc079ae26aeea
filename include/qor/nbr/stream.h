#ifndef QOR_NBR_STREAM_H
#define QOR_NBR_STREAM_H

#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/base/field.h"
#include "qor/base/interface.h"
#include "qor/nbr/lsd.h"
#include "qor/util/simple_value.h"

// How user types reach nbr. A type with a codec (see base/field.h) is written and read by
//
//     nbr::CodecStream out;
//     nbr::encode(out, contact);        // out.str() is the message
//     nbr::decode(message, contact);
//
// A stream belongs to one thread.

namespace qor::nbr {

class CodecStream;

// Writes values into a growing buffer of bytes. A write that raises std::bad_alloc leaves the
// stream as it was.
class QOR_API OutputStream {
public:
    // Writes a complex value: its start now, its end at destruction. The room for the end is
    // reserved from the start, so closing never fails.
    class Entry : noncopyable {
    public:
        explicit Entry(OutputStream& os) : os_(os) { os.begin(istr("\xFF\x01(", 3)); }
        // Behind a tag.
        Entry(OutputStream& os, unsigned char tag) : os_(os) {
            const char start[] = {static_cast<char>(tag), '\xFF', '\x01', '('};
            os.begin(istr(start, sizeof start));
        }
        ~Entry() { os_.values_.putReserved(kEnd); }

    private:
        OutputStream& os_;
    };

    OutputStream() = default;

    void operator<<(null_type) { writeRaw(0); }
    void operator<<(empty_type) { write_i(istr(), false); }
    template <WireScalar T>
    void operator<<(const T& value) {
        values_.put(toWire(value));
    }
    void operator<<(const Time& value) { *this << value.toMicroSeconds(); }
    // A literal is refused: it could be data and text.
    void operator<<(istr data) { write_i(data, false); }
    void operator<<(const Bytes& data) { write_i(data, false); }
    // From the configured code page to UTF-8; alone in having the mark of text.
    void operator<<(const std::string& text) { values_.putText(text, WireData::kText); }
    void operator<<(iwstr text);
    void operator<<(const std::wstring& text) { *this << iwstr(text); }
    void operator<<(const wchar_t* text) { *this << iwstr(text); }

    // All bytes written. Valid until the next write.
    istr str() const noexcept { return values_.str(); }
    void swap(OutputStream& other) noexcept { values_.swap(other.values_); }
    // Back to no bytes; the capacity stays.
    void reset() { values_.reset(); }

    dumper& dump(dumper& d) const;

private:
    friend class Binding;

    static constexpr istr kEnd{"\xFF\x01)", 3};

    void begin(istr start) {
        values_.reserve(start.size() + kEnd.size());
        values_.putReserved(start);
    }
    void write_i(istr data, bool text) {
        values_.put(WireData{data, text ? WireData::kText : WireData::kPlain});
    }
    void writeRaw(unsigned char byte) { values_.putRaw(istr(&byte, 1)); }

    SimpleValueBuffer values_;
};

// Walks a parsed tree.
class QOR_API InputStream : noncopyable {
public:
    // A node of a tree that somebody else owns, or null.
    explicit InputStream(ValueBase* value) noexcept : value_(value) {}
    explicit InputStream(std::nullptr_t) noexcept {}
    // Parses and owns the tree, whose leaves are views of the data. Raises DecodeException.
    explicit InputStream(istr data);
    // As parser::from with a tag.
    InputStream(istr data, unsigned char tag);
    ~InputStream();

    void swap(InputStream& other) noexcept;

    // Null if the data held no value.
    ValueBase* get() const noexcept { return value_; }
    // Null if there is no value, if it is simple, and for a tag that it does not have.
    ValueBase* getChild(unsigned char tag) const noexcept;
    // Null if there is no value; DecodeException for a complex one.
    SimpleValue* getSimpleValue() const;

    dumper& dump(dumper& d) const;

private:
    friend class Binding;

    // A part of what `outer` reads.
    InputStream(ValueBase* value, const InputStream& outer);
    ValueBase* nextChild(unsigned char tag) noexcept;

    ValueBase* value_ = nullptr;
    bool owned_ = false;
    unsigned depth_ = 0;
    ulong32 expected_ = 0;  // where nextChild looks first
};

// One object for both directions, so that one codec serves both.
class QOR_API CodecStream {
public:
    // For writing.
    CodecStream() noexcept : encoding_(true), bis_(nullptr) {}
    // For reading: a view of the data, which outlives the stream.
    explicit CodecStream(istr data) : encoding_(false), bis_(data) {}

    bool encoding() const noexcept { return encoding_; }
    InputStream& bis() noexcept { return bis_; }
    OutputStream& bos() noexcept { return bos_; }
    istr str() const noexcept { return bos_.str(); }

    // What a codec tells about its type. nbr has tags and needs no names.
    void enter(istr, istr, istr, istr) noexcept {}
    void leave() noexcept {}
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}

private:
    bool encoding_;
    InputStream bis_;
    OutputStream bos_;
};

// The base of types that are carried through a pointer. Its codec writes and reads the whole value,
// the Entry around it included: see runCodec.
class QOR_API CodecInterface : public virtual Interface {
public:
    virtual void codec(CodecStream& s) = 0;

    // Appends to the stream; a failure leaves the stream as it was.
    void encode(OutputStream& os) const;
    // A stream over no value leaves the object as it was.
    void decode(InputStream& is);
};

// An encoded buffer, to be shown as the tree that it holds.
struct QOR_API dump_buf {
    explicit dump_buf(const istr& encoded) noexcept : data(encoded) {}
    // Raises DecodeException.
    dumper& dump(dumper& d) const;
    istr data;
};

QOR_API std::ostream& operator<<(std::ostream& os, const OutputStream& stream);
QOR_API std::ostream& operator<<(std::ostream& os, const InputStream& stream);
QOR_API std::ostream& operator<<(std::ostream& os, const dump_buf& buffer);

// The tags inside containers, which have no form of their own on the wire: a list is a complex
// value whose items are its elements, and a map one whose elements are pairs of a key and a value.
inline constexpr unsigned char kElementTag = 1;
inline constexpr unsigned char kKeyTag = 1;
inline constexpr unsigned char kMappedTag = 2;

// How deeply objects may be nested in what is decoded. Each level takes the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// Pairs tags with members.
class QOR_API Binding {
public:
    // A field of the object that the stream is in.
    template <class T>
    static void write(CodecStream& s, unsigned char tag, const T& member) {
        if constexpr (OptionalValue<T>) {
            if (member.isSet()) write(s, tag, member.value());
        } else {
            writeTagged(s, tag, member);
        }
    }
    template <class T>
    static void read(CodecStream& s, unsigned char tag, T& member) {
        if (ValueBase* child = s.bis().nextChild(tag)) readValue(s, child, member);
    }

    // Runs a function that writes; what it wrote is gone again if it raises.
    template <class Write>
    static void append(OutputStream& os, Write write) {
        StringBuffer& buffer = os.values_.buffer();
        const unsigned long before = buffer.size();
        try {
            write();
        } catch (...) {
            buffer.size(before);
            throw;
        }
    }

    // What the stream is in itself.
    template <class T>
    static void writeValue(CodecStream& s, const T& value) {
        if constexpr (std::derived_from<T, CodecInterface>) {
            value.encode(s.bos());
        } else if constexpr (isComplex<T>) {
            const OutputStream::Entry entry(s.bos());
            writeParts(s, value);
        } else {
            s.bos() << value;
        }
    }
    template <class T>
    static void readValue(CodecStream& s, ValueBase* value, T& target) {
        if constexpr (OptionalValue<T>) {
            typename T::value_type present = target.value();
            readValue(s, value, present);
            target = std::move(present);
        } else if constexpr (MapContainer<T> || SetContainer<T> || SequenceContainer<T>) {
            if (!value->simple()) readElements(s, static_cast<const ComplexValue&>(*value), target);
        } else if constexpr (CodecType<T, CodecStream>) {
            const Inside inside(s, value);
            if constexpr (std::derived_from<T, CodecInterface>) {
                target.decode(s.bis());
            } else {
                target.codec(s);
            }
        } else {
            InputStream(value).getSimpleValue()->read(target);
        }
    }

private:
    template <class T>
    static constexpr bool isComplex =
        MapContainer<T> || SetContainer<T> || SequenceContainer<T> || CodecType<T, CodecStream>;

    template <class T>
    static void writeTagged(CodecStream& s, unsigned char tag, const T& value) {
        static_assert(!OptionalValue<T>, "a value that may be missing has to be a field");
        if constexpr (std::derived_from<T, CodecInterface>) {
            s.bos().writeRaw(tag);
            value.encode(s.bos());
        } else if constexpr (isComplex<T>) {
            const OutputStream::Entry entry(s.bos(), tag);
            writeParts(s, value);
        } else if constexpr (WireScalar<T>) {
            s.bos().values_.put(tag, toWire(value));
        } else if constexpr (std::derived_from<T, std::string>) {
            s.bos().values_.putText(tag, value, WireData::kText);
        } else {
            s.bos().writeRaw(tag);
            s.bos() << value;
        }
    }
    // What stands between the brackets of a complex value.
    template <class T>
    static void writeParts(CodecStream& s, const T& value) {
        if constexpr (MapContainer<T>) {
            for (const auto& [key, mapped] : value) {
                const OutputStream::Entry pair(s.bos(), kElementTag);
                writeTagged(s, kKeyTag, key);
                writeTagged(s, kMappedTag, mapped);
            }
        } else if constexpr (SetContainer<T> || SequenceContainer<T>) {
            for (const typename T::value_type& element : value) {
                writeTagged(s, kElementTag, element);
            }
        } else {
            forCodec(value).codec(s);
        }
    }

    // Moves the stream into a part of its value for a scope.
    class QOR_API Inside : noncopyable {
    public:
        Inside(CodecStream& s, ValueBase* value) : s_(s), part_(value, s.bis()) {
            s_.bis().swap(part_);
        }
        ~Inside() { s_.bis().swap(part_); }

    private:
        CodecStream& s_;
        InputStream part_;
    };

    // A container is replaced as a whole, and stays as it was when an element cannot be read.
    template <class C>
    static void readElements(CodecStream& s, const ComplexValue& list, C& target) {
        C elements;
        if constexpr (requires { elements.reserve(std::size_t()); }) {
            elements.reserve(list.data().size());
        }
        for (const auto& [tag, value] : list.data()) {
            if (tag == kElementTag) readElement(s, value, elements);
        }
        target = std::move(elements);
    }
    template <class C>
    static void readElement(CodecStream& s, ValueBase* value, C& elements) {
        if constexpr (MapContainer<C>) {
            const Inside pair(s, value);
            typename C::key_type key{};
            typename C::mapped_type mapped{};
            read(s, kKeyTag, key);
            read(s, kMappedTag, mapped);
            elements.emplace(std::move(key), std::move(mapped));
        } else if constexpr (SetContainer<C>) {
            typename C::value_type element{};
            readValue(s, value, element);
            elements.insert(std::move(element));
        } else if constexpr (std::same_as<typename C::value_type, bool>) {
            bool element = false;
            readValue(s, value, element);
            elements.push_back(element);
        } else {
            readValue(s, value, elements.emplace_back());
        }
    }
};

// A field of a codec.
template <class T>
void field(CodecStream& s, const FieldKey& key, T& member) {
    if (s.encoding()) {
        Binding::write(s, key.tag, member);
    } else {
        Binding::read(s, key.tag, member);
    }
}

// What the codec of a CodecInterface does: calls `fields`, with the Entry around it when the stream
// writes. `fields` binds the members, as a codec template does:
//
//     void codec(nbr::CodecStream& s) override {
//         nbr::runCodec(s, [&] { fields(s); });
//     }
template <class Fields>
void runCodec(CodecStream& s, Fields fields) {
    if (!s.encoding()) return fields();
    const OutputStream::Entry entry(s.bos());
    fields();
}

// Appends an object to the stream; a failure leaves the stream as it was.
template <class T>
void encode(CodecStream& s, const T& object) {
    Binding::append(s.bos(), [&s, &object] { Binding::writeValue(s, object); });
}

// Reads an object from a message. Fields that the message lacks stay as they were; so do all when
// there is no value in it. Raises DecodeException for bytes that are no nbr, for a complex value
// where a scalar or text is asked for, and for objects nested too deeply; what was read before that
// stays read.
template <class T>
void decode(CodecStream& s, T& object) {
    if (ValueBase* value = s.bis().get()) Binding::readValue(s, value, object);
}
template <class T>
void decode(istr data, T& object) {
    CodecStream s(data);
    decode(s, object);
}

}  // namespace qor::nbr

#endif  // QOR_NBR_STREAM_H
