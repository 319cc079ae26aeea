#ifndef QOR_NBR_BINDING_H
#define QOR_NBR_BINDING_H

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "qor/api.h"
#include "qor/base/field.h"
#include "qor/nbr/stream.h"

// The binding of user types to nbr. A type with a codec (see qor/base/field.h) is written and read
// by:
//
//     nbr::CodecStream out;
//     nbr::encode(out, contact);        // out.str() is the message
//     nbr::decode(message, contact);

namespace qor::nbr {

// The tags inside containers. A list is a complex value whose items are its elements; an element of
// a map is a complex value of a key and a mapped value.
inline constexpr unsigned char kElementTag = 1;
inline constexpr unsigned char kKeyTag = 1;
inline constexpr unsigned char kMappedTag = 2;

// The largest depth of nested objects in a decoded message. Each level uses the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// Object: types with a codec, for all streams or for CodecStream only. List: containers, which are
// written as their elements.
template <class T>
concept Object = std::derived_from<T, CodecInterface> || CodecType<T, CodecStream>;
template <class T>
concept List = Container<T> && !Object<T>;
template <class T>
concept Missable = OptionalValue<T> && !Object<T>;

// The stream that writes the fields of a codec, appending to an OutputStream. The write position is
// kept here, where a compiler can hold it in registers; finish passes it to the OutputStream. The
// configured code page is read once.
class QOR_API Writer : public CodecHooks, noncopyable {
public:
    explicit Writer(OutputStream& os) : os_(os), utf8_(wire::textIsUtf8()) { resume(); }
    void finish() noexcept { os_.finish(at_); }

    static constexpr bool encoding() noexcept { return true; }

    // Writes a field; nothing for an optional value that is not set.
    template <class T>
    void writeField(unsigned char tag, const T& member) {
        if constexpr (Missable<T>) {
            if (member.isSet()) writeItem(tag, member.value());
        } else {
            writeItem(tag, member);
        }
    }

    // Writes a value without a tag.
    template <class T>
    void writeValue(const T& value) {
        static_assert(!Missable<T>, "a value that may be missing has to be a field");
        if constexpr (List<T> || (CodecType<T, Writer> && !std::derived_from<T, CodecInterface>)) {
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
    void writeItem(unsigned char tag, const T& value) {
        if constexpr (Object<T>) {  // first: it may derive from a scalar or from text
            writeOther(tag, value);
        } else if constexpr (WireScalar<T>) {
            put(tag, qor::toWire(value));
        } else if constexpr (std::same_as<T, Time>) {
            put(tag, qor::toWire(value.toMicroSeconds()));
        } else if constexpr (std::derived_from<T, std::string>) {
            if (utf8_) {
                put(tag, WireData{value, WireData::kText});
            } else {
                writeOther(tag, value);
            }
        } else if constexpr (std::same_as<T, Bytes>) {
            put(tag, WireData{value});
        } else if constexpr (std::same_as<T, istr>) {
            put(tag, WireData{value.is_null() ? istr() : value});
        } else {
            writeOther(tag, value);
        }
    }
    template <class T>
    void writeOther(unsigned char tag, const T& value) {
        const auto before = static_cast<unsigned long>(at_ - os_.buffer_.data());
        try {
            put(istr(&tag, 1));
            writeValue(value);
        } catch (...) {
            // A codec may continue without this field.
            os_.buffer_.psize(before);
            resume();
            throw;
        }
    }

    // The items between the brackets of a complex value.
    template <class T>
    void writeParts(const T& value) {
        if constexpr (Object<T>) {
            qor::forCodec(value).codec(*this);
        } else if constexpr (MapContainer<T>) {
            for (const auto& [key, mapped] : value) {
                put(istr(&kElementTag, 1));
                put(OutputStream::kBegin);
                writeItem(kKeyTag, key);
                writeField(kMappedTag, mapped);
                put(OutputStream::kEnd);
            }
        } else {
            for (const typename T::value_type& element : value)
                writeItem(kElementTag, element);
        }
    }

    // For types that write to the OutputStream themselves.
    template <class T>
    static void writeElsewhere(OutputStream& os, const T& value) {
        if constexpr (std::derived_from<T, CodecInterface>) {
            value.encode(os);
        } else if constexpr (Object<T>) {
            CodecRun run(os);
            const OutputStream::Entry entry(run.stream().bos());
            qor::forCodec(value).codec(run.stream());
        } else if constexpr (requires { os << value; }) {
            os << value;
        } else {
            refuseType<OutputStream, T>();
        }
    }

    void put(unsigned char tag, WireNumber number) {
        char* const at = room(1 + wire::kMostNumber);
        *at = static_cast<char>(tag);
        at_ = wire::store(at + 1, number);
    }
    void put(unsigned char tag, WireData value) {
        char* const at = room(1 + wire::kMostHeader + value.data.size());
        *at = static_cast<char>(tag);
        at_ = wire::store(at + 1, value);
    }
    void put(istr bytes) { at_ = wire::copy(room(bytes.size()), bytes.data(), bytes.size()); }

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
        // After an assignment there may be less room than is reserved.
        const unsigned long room = buffer.max_size() - buffer.size();
        return {buffer.pbuf(), buffer.pbuf() + (room - std::min(room, os.reserved_))};
    }
    void resume() noexcept {
        const Place place = placeIn(os_);
        at_ = place.at;
        end_ = place.end;
    }

    OutputStream& os_;
    char* at_;
    char* end_;
    const bool utf8_;
};

// The stream that reads the fields of a codec from a value of a parsed tree. The configured code
// page is read once.
class QOR_API Reader : public CodecHooks, noncopyable {
public:
    // Reads the value of `is`. If that is simple or null, it has no fields.
    explicit Reader(const InputStream& is) : Reader(is.value_, contextOf(is), is.expected_) {}
    // Passes the likely position of the next fields to the stream.
    void finish(InputStream& is) const noexcept { is.expected_ = expected_; }

    static constexpr bool encoding() noexcept { return false; }

    template <class T>
    void readField(unsigned char tag, T& member) {
        static_assert(!std::is_const_v<T>, "a const member cannot be read into");
        if (value_ == nullptr) return;
        if (ValueBase* part = value_->find(tag, expected_)) readValue(*part, context_, member);
    }

    // Reads the stream's own value.
    template <class T>
    static void read(const InputStream& is, T& object) {
        if (is.value_ != nullptr) readValue(*is.value_, contextOf(is), object);
    }

private:
    friend CodecRun;

    // The data that all parts of an object share.
    struct Context {
        unsigned depth;  // nesting depth of the object
        bool utf8;       // the configured code page is UTF-8
    };

    static Context contextOf(const InputStream& is) {
        return Context{is.depth_, wire::textIsUtf8()};
    }

    // Reads a value as the target's type.
    template <class T>
    static void readValue(ValueBase& value, Context context, T& target) {
        if constexpr (Missable<T>) {
            qor::readPresent(target, [&](auto& present) { readValue(value, context, present); });
        } else if constexpr (Object<T>) {
            readObject(value, context, target);
        } else if constexpr (List<T>) {
            if (!value.simple_) readElements(static_cast<ComplexValue&>(value), context, target);
        } else if constexpr (std::derived_from<T, std::string>) {
            const SimpleValue& text = simpleOf(value);
            if (context.utf8) {
                target.assign(std::string_view(text.data()));
            } else {
                text.read(target);
            }
        } else if constexpr (requires(const SimpleValue& simple) { simple.read(target); }) {
            simpleOf(value).read(target);
        } else {
            refuseType<InputStream, T>();
        }
    }

    Reader(ValueBase* value, Context context, ulong32 expected) noexcept
        : value_(value == nullptr || value->simple_ ? nullptr : static_cast<ComplexValue*>(value)),
          context_(context),
          expected_(expected) {}

    static const SimpleValue& simpleOf(const ValueBase& value) {
        if (!value.simple_) raiseNotSimple();
        return static_cast<const SimpleValue&>(value);
    }
    [[noreturn]] static void raiseTooDeep();
    [[noreturn]] static void raiseNotSimple();

    template <class T>
    static void readObject(ValueBase& value, Context context, T& target) {
        if constexpr (std::derived_from<T, CodecInterface>) {
            InputStream part(&value, context.depth);
            target.decode(part);
        } else if constexpr (CodecType<T, Reader>) {
            if (context.depth >= kMaxDepth) raiseTooDeep();
            Reader part(&value, Context{context.depth + 1, context.utf8}, 0);
            target.codec(part);
        } else {
            InputStream part(&value, context.depth);
            CodecRun run(part);
            target.codec(run.stream());
        }
    }

    // Replaces the whole container. If an element cannot be read, the container is unchanged.
    template <class C>
    static void readElements(ComplexValue& list, Context context, C& target) {
        C elements = qor::emptyLike(target);
        qor::reserveElements(elements, list.data().size());
        for (const auto& [tag, value] : list.data()) {
            if (tag == kElementTag) readElement(*value, context, elements);
        }
        target = std::move(elements);
    }
    template <class C>
    static void readElement(ValueBase& value, Context context, C& elements) {
        if constexpr (MapContainer<C>) {
            Reader pair(&value, context, 0);
            typename C::key_type key{};
            typename C::mapped_type mapped{};
            pair.readField(kKeyTag, key);
            pair.readField(kMappedTag, mapped);
            qor::putEntry(elements, std::move(key), std::move(mapped));
        } else {
            qor::appendElement(elements,
                               [&](auto& element) { readValue(value, context, element); });
        }
    }

    ComplexValue* value_;
    Context context_;
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
        OutputStream::Rollback rollback(s.bos());
        Writer writer(s.bos());
        writer.writeField(key.tag, member);
        writer.finish();
        rollback.dismiss();
    } else {
        Reader reader(s.bis());
        reader.readField(key.tag, member);
        reader.finish(s.bis());
    }
}

// For the codec of a CodecInterface: calls `fields`, inside an Entry if the stream writes. `fields`
// binds the members, as a codec template does:
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

// Appends an object to the stream. If an exception is raised, the stream is unchanged.
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
    nbr::encode(s.bos(), object);
}

// Reads an object from a message. Fields that the message lacks are unchanged; so is the whole
// object if the message has no value. Raises DecodeException for bytes that are not nbr, for a
// complex value in place of a scalar or text, and for objects nested deeper than kMaxDepth; members
// that were already read are then changed. The limit is one of a message: a codec template that
// decodes a message inside a message has to limit that itself. A member of type istr becomes a view
// of the message, which must outlive it.
template <class T>
void decode(const InputStream& is, T& object) {
    Reader::read(is, object);
}
template <class T>
void decode(CodecStream& s, T& object) {
    nbr::decode(std::as_const(s.bis()), object);
}
template <class T>
void decode(istr data, T& object) {
    nbr::decode(InputStream(data), object);
}

}  // namespace qor::nbr

#endif  // QOR_NBR_BINDING_H
