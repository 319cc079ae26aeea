#ifndef QOR_NBR_BINDING_H
#define QOR_NBR_BINDING_H

#include <concepts>
#include <string>
#include <type_traits>
#include <utility>

#include "qor/base/field.h"
#include "qor/nbr/stream.h"

// How user types reach nbr. A type with a codec (see qor/base/field.h) is written and read by
//
//     nbr::CodecStream out;
//     nbr::encode(out, contact);        // out.str() is the message
//     nbr::decode(message, contact);

namespace qor::nbr {

// The tags inside containers, which have no form of their own on the wire: a list is a complex
// value whose items are its elements, and a map one whose elements are pairs of a key and a value.
inline constexpr unsigned char kElementTag = 1;
inline constexpr unsigned char kKeyTag = 1;
inline constexpr unsigned char kMappedTag = 2;

// How deeply objects may be nested in what is decoded. Each level takes the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// The stream that writes the fields of a codec behind the bytes of an OutputStream. Its place is
// kept here, where a compiler can hold it in registers, and told to the stream by finish. A writer
// that is not finished has written nothing.
class QOR_API Writer : noncopyable {
public:
    explicit Writer(OutputStream& os) : os_(os) { resume(); }
    void finish() noexcept { os_.finish(at_); }

    static constexpr bool encoding() noexcept { return true; }
    void enter(istr, istr, istr, istr) noexcept {}
    void leave() noexcept {}
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}

    // A field; an optional value that is not set is none.
    template <class T>
    void writeField(unsigned char tag, const T& member) {
        if constexpr (OptionalValue<T>) {
            if (member.isSet()) writeItem(tag, member.value());
        } else {
            writeItem(tag, member);
        }
    }

    // A value without a tag in front of it.
    template <class T>
    void writeValue(const T& value) {
        static_assert(!OptionalValue<T>, "a value that may be missing has to be a field");
        if constexpr (!std::derived_from<T, CodecInterface> &&
                      (isList<T> || CodecType<T, Writer>)) {
            put(OutputStream::kBegin);
            writeParts(value);
            put(OutputStream::kEnd);
        } else {
            finish();
            writeElsewhere(os_, value);
            resume();
        }
    }

private:
    template <class T>
    static constexpr bool isList = MapContainer<T> || SetContainer<T> || SequenceContainer<T>;

    template <class T>
    void writeItem(unsigned char tag, const T& value) {
        if constexpr (WireScalar<T>) {
            put(tag, toWire(value));
        } else if constexpr (std::same_as<T, Time>) {
            put(tag, toWire(value.toMicroSeconds()));
        } else if constexpr (std::derived_from<T, std::string>) {
            if (utf8_) {
                put(tag, WireData{value, WireData::kText});
            } else {
                writeOther(tag, value);
            }
        } else if constexpr (std::same_as<T, Bytes> || std::same_as<T, istr>) {
            put(tag, WireData{value});
        } else {
            writeOther(tag, value);
        }
    }
    template <class T>
    void writeOther(unsigned char tag, const T& value) {
        put(istr(&tag, 1));
        writeValue(value);
    }

    // What stands between the brackets of a complex value.
    template <class T>
    void writeParts(const T& value) {
        if constexpr (MapContainer<T>) {
            for (const auto& [key, mapped] : value) {
                put(istr(&kElementTag, 1));
                put(OutputStream::kBegin);
                writeItem(kKeyTag, key);
                writeItem(kMappedTag, mapped);
                put(OutputStream::kEnd);
            }
        } else if constexpr (isList<T>) {
            for (const typename T::value_type& element : value)
                writeItem(kElementTag, element);
        } else {
            forCodec(value).codec(*this);
        }
    }

    // Types that write to the stream itself.
    template <class T>
    static void writeElsewhere(OutputStream& os, const T& value) {
        if constexpr (std::derived_from<T, CodecInterface>) {
            value.encode(os);
        } else if constexpr (CodecType<T, CodecStream>) {
            struct Carried : CodecInterface {
                explicit Carried(const T& object) : object_(object) {}
                void codec(CodecStream& s) override {
                    const OutputStream::Entry entry(s.bos());
                    forCodec(object_).codec(s);
                }
                const T& object_;
            };
            Carried(value).encode(os);
        } else {
            os << value;
        }
    }

    void put(unsigned char tag, WireNumber number) {
        char* const at = room(1 + simple_value::kMostNumber);
        *at = static_cast<char>(tag);
        at_ = simple_value::store(at + 1, number);
    }
    void put(unsigned char tag, WireData value) {
        char* const at = room(1 + simple_value::kMostHeader + value.data.size());
        *at = static_cast<char>(tag);
        at_ = simple_value::store(at + 1, value);
    }
    void put(istr bytes) {
        at_ = simple_value::copy(room(bytes.size()), bytes.data(), bytes.size());
    }

    char* room(unsigned long n) {
        if (n > static_cast<unsigned long>(end_ - at_)) [[unlikely]] {
            const Place place = grow(os_, at_, n);
            at_ = place.at;
            end_ = place.end;
        }
        return at_;
    }

    struct Place {
        char* at;
        char* end;
    };
    // By value, so that the writer itself may stay in registers.
    static Place grow(OutputStream& os, char* at, unsigned long n);
    static Place placeIn(OutputStream& os) noexcept {
        StringBuffer& buffer = os.buffer_;
        return {buffer.pbuf(), buffer.data() + buffer.max_size() - os.reserved_};
    }
    void resume() noexcept {
        const Place place = placeIn(os_);
        at_ = place.at;
        end_ = place.end;
        utf8_ = os_.utf8_;
    }

    OutputStream& os_;
    char* at_;
    char* end_;
    bool utf8_;
};

// The stream that reads the fields of a codec from a value of a tree.
class QOR_API Reader : noncopyable {
public:
    // What `is` is in. A value that is simple, or not there, has no fields.
    explicit Reader(const InputStream& is) noexcept : Reader(is.value_, is.depth_, is.expected_) {}
    // Tells the stream where the next fields are likely to stand.
    void finish(InputStream& is) const noexcept { is.expected_ = expected_; }

    static constexpr bool encoding() noexcept { return false; }
    void enter(istr, istr, istr, istr) noexcept {}
    void leave() noexcept {}
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}

    template <class T>
    void readField(unsigned char tag, T& member) {
        if (value_ == nullptr) return;
        if (ValueBase* part = value_->find(tag, expected_)) readValue(*part, depth_, member);
    }

    // A value as what the target is. An object in it is one level deeper than `depth`.
    template <class T>
    static void readValue(ValueBase& value, unsigned depth, T& target) {
        if constexpr (OptionalValue<T>) {
            typename T::value_type present = target.value();
            readValue(value, depth, present);
            target = std::move(present);
        } else if constexpr (MapContainer<T> || SetContainer<T> || SequenceContainer<T>) {
            if (!value.simple()) readElements(static_cast<ComplexValue&>(value), depth, target);
        } else if constexpr (CodecType<T, CodecStream>) {
            if (depth >= kMaxDepth) raiseTooDeep();
            readObject(value, depth + 1, target);
        } else {
            simpleOf(value).read(target);
        }
    }

private:
    Reader(ValueBase* value, unsigned depth, ulong32 expected) noexcept
        : value_(value == nullptr || value->simple() ? nullptr : static_cast<ComplexValue*>(value)),
          depth_(depth),
          expected_(expected) {}

    static const SimpleValue& simpleOf(const ValueBase& value) {
        if (!value.simple()) raiseNotSimple();
        return static_cast<const SimpleValue&>(value);
    }
    [[noreturn]] static void raiseTooDeep();
    [[noreturn]] static void raiseNotSimple();

    template <class T>
    static void readObject(ValueBase& value, unsigned depth, T& target) {
        if constexpr (std::derived_from<T, CodecInterface>) {
            InputStream part(&value);
            part.depth_ = depth;
            target.decode(part);
        } else if constexpr (CodecType<T, Reader>) {
            Reader part(&value, depth, 0);
            target.codec(part);
        } else {
            CodecStream s{istr()};
            InputStream part(&value);
            part.depth_ = depth;
            s.bis().swap(part);
            target.codec(s);
        }
    }

    // A container is replaced as a whole, and stays as it was when an element cannot be read.
    template <class C>
    static void readElements(ComplexValue& list, unsigned depth, C& target) {
        C elements;
        if constexpr (requires { elements.reserve(std::size_t()); }) {
            elements.reserve(list.data().size());
        }
        for (const auto& [tag, value] : list.data()) {
            if (tag == kElementTag) readElement(*value, depth, elements);
        }
        target = std::move(elements);
    }
    template <class C>
    static void readElement(ValueBase& value, unsigned depth, C& elements) {
        if constexpr (MapContainer<C>) {
            Reader pair(&value, depth, 0);
            typename C::key_type key{};
            typename C::mapped_type mapped{};
            pair.readField(kKeyTag, key);
            pair.readField(kMappedTag, mapped);
            elements.emplace(std::move(key), std::move(mapped));
        } else if constexpr (SetContainer<C>) {
            typename C::value_type element{};
            readValue(value, depth, element);
            elements.insert(std::move(element));
        } else if constexpr (std::same_as<typename C::value_type, bool>) {
            bool element = false;
            readValue(value, depth, element);
            elements.push_back(element);
        } else {
            readValue(value, depth, elements.emplace_back());
        }
    }

    ComplexValue* value_;
    unsigned depth_;
    ulong32 expected_;
};

// A field of a codec.
template <class T>
void field(Writer& s, const FieldKey& key, const T& member) {
    s.writeField(key.tag, member);
}
template <class T>
void field(Reader& s, const FieldKey& key, T& member) {
    s.readField(key.tag, member);
}
template <class T>
void field(CodecStream& s, const FieldKey& key, T& member) {
    if (s.encoding()) {
        Writer writer(s.bos());
        writer.writeField(key.tag, member);
        writer.finish();
    } else {
        Reader reader(s.bis());
        reader.readField(key.tag, member);
        reader.finish(s.bis());
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
void encode(OutputStream& os, const T& object) {
    OutputStream::Rollback rollback(os);
    Writer writer(os);
    writer.writeValue(object);
    writer.finish();
    rollback.dismiss();
}
template <class T>
void encode(CodecStream& s, const T& object) {
    encode(s.bos(), object);
}

// Reads an object from a message. Fields that the message lacks stay as they were; so do all when
// there is no value in it. Raises DecodeException for bytes that are no nbr, for a complex value
// where a scalar or text is asked for, and for objects nested too deeply; what was read before that
// stays read.
template <class T>
void decode(const InputStream& is, T& object) {
    if (ValueBase* value = is.get()) Reader::readValue(*value, 0, object);
}
template <class T>
void decode(istr data, T& object) {
    decode(InputStream(data), object);
}

}  // namespace qor::nbr

#endif  // QOR_NBR_BINDING_H
