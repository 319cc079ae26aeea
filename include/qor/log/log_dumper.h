#ifndef QOR_LOG_LOG_DUMPER_H
#define QOR_LOG_LOG_DUMPER_H

#include <array>
#include <concepts>
#include <cstddef>
#include <new>
#include <ostream>
#include <sstream>
#include <stack>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/exception.h"
#include "qor/base/field.h"
#include "qor/base/interface.h"
#include "qor/mt/containers.h"
#include "qor/mt/handle.h"

namespace qor {

// Writes the state of objects as text for people, in a full form of many lines,
//
//     @Contact{
//         name_ = 'Ann'
//         phones_ = @qor::vector{
//             '123'
//         }
//     }
//
// or in a compact form of one line, "{name_='Ann' phones_={'123'}}". A class shows itself by
//
//     dumper& Contact::dump(dumper& d) const {
//         const dumper::_Entry entry(d, "Contact");
//         return d.member("name_", name_).member("phones_", phones_);
//     }
//
// or by its codec. Text and data are cut after the maxStringSize of the library's own logger, 256
// bytes by default. Use a dumper from one thread only.
class QOR_API dumper : noncopyable {
public:
    struct QOR_API Config {
        explicit Config(bool compact = false, istr lineSeparator = "\n",
                        istr indentSeparator = "    ", unsigned level = 0, istr eolSeparator = "",
                        istr beginTag = "{", istr endTag = "}", istr typeTag = "@",
                        istr nvSeparator = "=", istr valueSeparator = " ");
        dumper& dump(dumper& d) const;

        bool compact_;
        String lineSeparator_;    // at the start of each indented line
        String indentSeparator_;  // repeated once for each level
        unsigned level_;
        String eolSeparator_;  // at the end of a line
        String beginTag_;
        String endTag_;
        String typeTag_;         // before each type text
        String nvSeparator_;     // between a name and its value
        String valueSeparator_;  // between values in compact form
    };

    // Calls enter in its constructor and leave in its destructor.
    class [[nodiscard]] _Entry : noncopyable {
    public:
        explicit _Entry(dumper& d, istr first = istr(), istr second = istr(), istr third = istr(),
                        istr fourth = istr())
            : dumper_(d) {
            d.enter(first, second, third, fourth);
        }
        ~_Entry() {
            try {
                dumper_.leave();
            } catch (...) {
                // A destructor must not raise; the stream's state shows the failure.
            }
        }

    private:
        dumper& dumper_;
    };

    // Writes to its own stream, for str().
    explicit dumper(bool compact = false, istr lineSeparator = "\n", istr indentSeparator = "    ",
                    unsigned level = 0, istr eolSeparator = "", istr beginTag = "{",
                    istr endTag = "}", istr typeTag = "@", istr nvSeparator = "=",
                    istr valueSeparator = " ");
    explicit dumper(const Config& config);
    // Writes to the caller's stream, which must outlive the dumper. Numbers have the format that is
    // set in that stream.
    explicit dumper(std::ostream& os, bool compact = false, istr lineSeparator = "\n",
                    istr indentSeparator = "    ", unsigned level = 0, istr eolSeparator = "",
                    istr beginTag = "{", istr endTag = "}", istr typeTag = "@",
                    istr nvSeparator = "=", istr valueSeparator = " ");
    dumper(std::ostream& os, const Config& config);
    ~dumper();

    // The text so far. Raises UnsupportedFunctionException on a dumper with a caller's stream.
    String str() const;

    const Config& cfg() const noexcept { return cfg_; }
    std::ostream& internal_stream() noexcept { return os_; }

    bool compact() const noexcept { return cfg_.compact_; }
    dumper& compact(bool on) noexcept { return cfg_.compact_ = on, *this; }
    const String& lineSeparator() const noexcept { return cfg_.lineSeparator_; }
    dumper& lineSeparator(istr text) { return cfg_.lineSeparator_ = text, *this; }
    const String& indentSeparator() const noexcept { return cfg_.indentSeparator_; }
    dumper& indentSeparator(istr text) { return cfg_.indentSeparator_ = text, *this; }
    unsigned level() const noexcept { return cfg_.level_; }
    dumper& level(unsigned n) noexcept { return cfg_.level_ = n, *this; }
    const String& eolSeparator() const noexcept { return cfg_.eolSeparator_; }
    dumper& eolSeparator(istr text) { return cfg_.eolSeparator_ = text, *this; }
    const String& beginTag() const noexcept { return cfg_.beginTag_; }
    dumper& beginTag(istr text) { return cfg_.beginTag_ = text, *this; }
    const String& endTag() const noexcept { return cfg_.endTag_; }
    dumper& endTag(istr text) { return cfg_.endTag_ = text, *this; }
    const String& typeTag() const noexcept { return cfg_.typeTag_; }
    dumper& typeTag(istr text) { return cfg_.typeTag_ = text, *this; }
    const String& nvSeparator() const noexcept { return cfg_.nvSeparator_; }
    dumper& nvSeparator(istr text) { return cfg_.nvSeparator_ = text, *this; }
    const String& valueSeparator() const noexcept { return cfg_.valueSeparator_; }
    dumper& valueSeparator(istr text) { return cfg_.valueSeparator_ = text, *this; }

    // Starts an item: a new line in full form, the separator of values in compact form.
    dumper& indent();
    dumper& endline();
    // A line feed in both forms; flushes the stream.
    dumper& nl();
    // Writes the text unchanged.
    dumper& raw(istr text) { return write(text); }
    // Writes a name and the separator before its value; nothing for an empty name. A `separator`
    // that is not null replaces the configured one and its blanks.
    dumper& name(istr text, const char* separator = nullptr) { return writeName(text, separator); }
    dumper& writeName(istr text, const char* separator = nullptr);

    // Writes a member of an object: an item with its name and its value, as operator<< shows it.
    template <class T>
    dumper& member(istr name, const T& value);

    // Begin and end a scope. The texts are shown in full form only: `first` is the type, `second` a
    // name in angle brackets, the others are further types.
    dumper& enter(istr first = istr(), istr second = istr(), istr third = istr(),
                  istr fourth = istr());
    dumper& leave();
    // A codec calls these before and after the part of its base class. They do nothing here.
    dumper& enterSuper() noexcept { return *this; }
    dumper& leaveSuper() noexcept { return *this; }

    // Values as the stream writes them: text without quotes and never cut.
    template <Arithmetic T>
    dumper& write(T value) {
        os_ << value;
        return *this;
    }
    dumper& write(const void* value);
    dumper& write(istr text);
    dumper& write(iwstr text);
    dumper& write(const char* text) { return write(istr(text)); }
    dumper& write(const unsigned char* text) { return write(istr(text)); }
    dumper& write(const wchar_t* text) { return write(iwstr(text)); }
    dumper& write(const String& text) { return write(istr(text)); }
    dumper& write(const std::string& text) { return write(istr(text)); }
    dumper& write(const std::wstring& text) { return write(iwstr(text)); }
    dumper& write(const Bytes& bytes) { return __writeBytes(bytes); }
    dumper& write(const Time& time);

    // Values for people: bool as "true" or "false"; characters, texts and times in single quotes;
    // wide text, as UTF-8, and bytes in double quotes. For empty text nothing is written.
    template <Arithmetic T>
    requires requires(std::ostream& os, T value) { os << value; }
    dumper& operator<<(T value) {
        os_ << value;
        return *this;
    }
    // As a Wchar: its code.
    dumper& operator<<(wchar_t value) { return *this << static_cast<long32>(value); }
    // Ambiguous otherwise.
    dumper& operator<<(char8_t) = delete;
    dumper& operator<<(char16_t) = delete;
    dumper& operator<<(char32_t) = delete;
    dumper& operator<<(bool value);
    dumper& operator<<(char value);
    dumper& operator<<(unsigned char value) { return *this << static_cast<char>(value); }
    dumper& operator<<(const void* value) { return write(value); }
    dumper& operator<<(istr text);
    dumper& operator<<(iwstr text);
    dumper& operator<<(const char* text) { return *this << istr(text); }
    dumper& operator<<(const unsigned char* text) { return *this << istr(text); }
    dumper& operator<<(const wchar_t* text) { return *this << iwstr(text); }
    dumper& operator<<(const String& text) { return *this << istr(text); }
    dumper& operator<<(const std::string& text) { return *this << istr(text); }
    dumper& operator<<(const std::wstring& text) { return *this << iwstr(text); }
    dumper& operator<<(const Bytes& bytes) { return __writeBytes(bytes); }
    dumper& operator<<(const Time& time);

    dumper& operator<<(dumper& (*manipulator)(dumper&)) { return manipulator(*this); }
    dumper& operator<<(dumper& (dumper::*operation)()) { return (this->*operation)(); }

    // Writes printable bytes as characters and the others as hexadecimal groups: "A\x{00FF}B". A
    // line feed starts a new line, indented for the level.
    dumper& __writeBytes(istr bytes);

private:
    void writeIndent();
    dumper& quote(char mark, istr text);

    Config cfg_;
    std::ostream* ownStream_ = nullptr;  // null for a caller's stream
    std::ostream& os_;
    bool first_ = true;  // the next item is the first one of its scope
    bool savedFirst_ = true;
};

inline dumper& indent(dumper& d) {
    return d.indent();
}
inline dumper& endline(dumper& d) {
    return d.endline();
}
inline dumper& nl(dumper& d) {
    return d.nl();
}

// The base of classes that are dumped through a reference to a base class.
class QOR_API Dumpable : public virtual Interface {
public:
    Dumpable() = default;
    Dumpable(const Dumpable&) = default;
    Dumpable& operator=(const Dumpable&) = default;
    ~Dumpable() override = default;
    virtual dumper& dump(dumper& d) const = 0;
};

// Objects to be written to a dumper by <<. They keep views, so use them in one expression: d <<
// write_hex(data).

struct QOR_API rawstring {
    explicit rawstring(istr shown) noexcept : text(shown) {}
    dumper& operator()(dumper& d) const { return d.write(text); }
    istr text;
};

struct QOR_API namestring {
    explicit namestring(istr shown, const char* between = nullptr) noexcept
        : text(shown), separator(between) {}
    dumper& operator()(dumper& d) const { return d.writeName(text, separator); }
    istr text;
    const char* separator;
};

// Bytes as pairs of digits: "41 00 FF".
struct QOR_API write_hex {
    explicit write_hex(istr shown) noexcept : data(shown) {}
    template <class Char>
    write_hex(const Char* bytes, unsigned long size) noexcept : data(bytes, size) {}
    dumper& operator()(dumper& d) const;
    std::ostream& operator()(std::ostream& os) const;
    istr data;
};

// Bytes as write_hex shows them in compact form and on a std::ostream, and as the table of dump_hex
// in full form.
struct QOR_API hexdata {
    explicit hexdata(istr shown) noexcept : data(shown) {}
    // Shows at most `maximum` bytes.
    hexdata(istr shown, unsigned long maximum) noexcept : data(shown, maximum) {}
    template <class Char>
    hexdata(const Char* bytes, unsigned long size) noexcept : data(bytes, size) {}
    dumper& operator()(dumper& d) const;
    std::ostream& operator()(std::ostream& os) const;
    istr data;
};

// A table with 16 bytes in a row: the offset, the digits, and a right column, which `show` writes
// byte by byte.
struct QOR_API dump_hex_base {
    explicit dump_hex_base(istr shown) noexcept : data(shown) {}
    template <class Char>
    dump_hex_base(const Char* bytes, unsigned long size) noexcept : data(bytes, size) {}
    dump_hex_base(const dump_hex_base&) = default;
    dump_hex_base& operator=(const dump_hex_base&) = default;
    virtual ~dump_hex_base();
    virtual void show(std::ostream& os, unsigned char byte) const = 0;
    std::ostream& operator()(std::ostream& os) const;
    istr data;
};

template <class Show>
struct dump_hex : dump_hex_base {
    using dump_hex_base::dump_hex_base;
    void show(std::ostream& os, unsigned char byte) const override {
        os << Show(static_cast<char>(byte));
    }
};

// Writes the object of a Handle, or "null".
template <class T>
dumper& operator<<(dumper& d, const Handle<T>& handle);

template <class T>
concept DumpsItself = requires(const T& object, dumper& d) {
    object.dump(d);
};

template <class T>
concept AppliesToDumper = requires(const T& value, dumper& d) {
    value(d);
};

// A type without dump(), also an inherited one, is shown by its codec, as an optional value, or as
// a container.
template <class T>
concept ShownByCodec = CodecType<T, dumper> && !DumpsItself<T>;
template <class T>
concept Missable = OptionalValue<T> && !CodecType<T, dumper>;
template <class T>
concept ShownAsOptional = Missable<T> && !DumpsItself<T>;
template <class T>
concept ShownAsContainer = Container<T> && !DumpsItself<T> && !ShownByCodec<T>;

template <DumpsItself T>
dumper& operator<<(dumper& d, const T& object) {
    object.dump(d);
    return d;
}

template <AppliesToDumper T>
dumper& operator<<(dumper& d, const T& value) {
    value(d);
    return d;
}

template <ShownByCodec T>
dumper& operator<<(dumper& d, const T& object) {
    qor::forCodec(object).codec(d);
    return d;
}

QOR_API dumper& operator<<(dumper& d, const Current& frame);
QOR_API dumper& operator<<(dumper& d, const CallStack& stack);

// Writes a member or an element; does not compile if a dumper cannot show its type.
template <class T>
dumper& dumpPart(dumper& d, const T& part) {
    if constexpr (requires { d << part; }) {
        return d << part;
    } else if constexpr (ShownByCodec<T>) {  // beside an operator << for any stream
        qor::forCodec(part).codec(d);
        return d;
    } else {
        static_assert(!sizeof(T),
                      "a dumper cannot show this type: it has neither dump(dumper&) "
                      "nor a codec nor an operator<< for dumpers");
    }
}

template <class T>
dumper& operator<<(dumper& d, const Handle<T>& handle) {
    return handle == nullptr ? d.write("null") : qor::dumpPart(d, *handle);
}

template <class T>
dumper& dumper::member(istr name, const T& value) {
    qor::dumpPart(indent().name(name), value);
    return endline();
}

// Writes an object to a stream, in full form with the default layout.
template <DumpsItself T>
std::ostream& dumpTo(std::ostream& os, const T& object) {
    dumper d(os);
    object.dump(d);
    return os;
}

// For an optional value that is not set, nothing is written.
template <ShownAsOptional T>
dumper& operator<<(dumper& d, const T& optional) {
    return optional.isSet() ? qor::dumpPart(d, optional.value()) : d;
}

// Writes a field of a codec as a member. A field that is an optional value that is not set is not
// written.
template <class T>
dumper& field(dumper& d, const FieldKey& key, const T& member) {
    if constexpr (Missable<T>) {
        if (!member.isSet()) return d;
    }
    return d.member(key.name, member);
}

// Containers: a scope with one item for each element.

template <class Range>
dumper& dumpElements(dumper& d, const char* title, const Range& range) {
    const dumper::_Entry entry(d, title);
    for (const typename Range::value_type& element : range) {
        qor::dumpPart(d.indent(), element);
        d.endline();
    }
    return d;
}

// Keys are written by the operator<< of std::ostream, or as parts if they have none.
template <class Map>
dumper& dumpPairs(dumper& d, const char* title, const Map& map) {
    const dumper::_Entry entry(d, title);
    for (const auto& [key, value] : map) {
        if constexpr (requires(std::ostream & os, const typename Map::key_type& shown) {
                          os << shown;
                      }) {
            dumper text;  // its stream has the classic locale, and reports a lack of memory
            text.internal_stream() << key;
            d.indent().raw(text.str());
        } else {
            qor::dumpPart(d.indent(), key);
        }
        qor::dumpPart(d.raw(d.compact() ? ":" : " : "), value);
        d.endline();
    }
    return d;
}

template <class C>
concept UniqueMap = requires(C& map, typename C::value_type pair) {
    map.insert(pair).second;
};
template <class C>
concept Reserving = requires(C& vector) {
    vector.reserve(1);
};

// The title is that of the most similar standard container: a deque has that of a list.
template <ShownAsContainer C>
dumper& operator<<(dumper& d, const C& values) {
    if constexpr (MapContainer<C>) {
        return qor::dumpPairs(d, UniqueMap<C> ? "qor::map" : "qor::multimap", values);
    } else if constexpr (SetContainer<C>) {
        return qor::dumpElements(d, "qor::set", values);
    } else {
        return qor::dumpElements(d, Reserving<C> ? "qor::vector" : "qor::list", values);
    }
}
template <class T, std::size_t N>
dumper& operator<<(dumper& d, const std::array<T, N>& values) {
    return qor::dumpElements(d, "qor::array", values);
}
template <class T, class C>
dumper& operator<<(dumper& d, const std::stack<T, C>& values) {
    // The container of a stack is protected.
    struct Access : std::stack<T, C> {
        static const C& of(const std::stack<T, C>& stack) { return stack.*(&Access::c); }
    };
    return qor::dumpElements(d, "qor::stack", Access::of(values));
}

// The dump operations of the locked containers, which hold the lock while they write.
template <class K, class V, class C>
dumper& mt::map<K, V, C>::dump(dumper& d) const {
    const Guard guard(mutex_);
    return qor::dumpPairs(d, "qor::mt::map", values_);
}
template <class T, class C>
dumper& mt::set<T, C>::dump(dumper& d) const {
    const Guard guard(mutex_);
    return qor::dumpElements(d, "qor::mt::set", values_);
}

}  // namespace qor

#endif  // QOR_LOG_LOG_DUMPER_H
