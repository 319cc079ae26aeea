#ifndef QOR_BASE_FIELD_H
#define QOR_BASE_FIELD_H

#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "qor/base/base_type_view.h"

// Binding of user types. A type names its fields once,
//
//     template <class Stream> void codec(Stream& s) {
//         s.enter("Contact", "contact", "", "");
//         field(s, {"name", 1}, name_);
//         field(s, {"phones", 2}, phones_);
//         s.leave();
//     }
//
// and every format can carry it. Each format has its own `field` in the namespace of its stream. A
// field that the input lacks leaves the member unchanged. If a map has two entries with one key,
// the last one counts.

namespace qor {

// A field's name, for the formats that have names, and its tag, for those that have tags. Tags are
// unique in their type; 255 is not used, since a format may read it as the end of a value.
struct FieldKey {
    istr name;
    unsigned char tag;
};

// A type that a stream can carry by running its codec.
template <class T, class Stream>
concept CodecType = requires(T& object, Stream& s) {
    object.codec(s);
};

// Containers, by their operations and not by their names.
template <class C>
concept MapContainer = requires(C& c) {
    typename C::key_type;
    typename C::mapped_type;
    c.clear();
    c.begin();
};

template <class C>
concept KeyContainer = requires(C& c) {
    typename C::key_type;
    c.insert(std::declval<typename C::value_type>());
    c.clear();
    c.begin();
};

template <class C>
concept SetContainer = KeyContainer<C> && !MapContainer<C>;

template <class C>
concept AppendableContainer = requires(C& c) {
    c.push_back(std::declval<typename C::value_type>());
    c.clear();
    c.begin();
};

template <class C>
concept StandardString = requires {
    typename C::traits_type;
};

// Vectors, lists and deques.
template <class C>
concept SequenceContainer = AppendableContainer<C> && !StandardString<C>;

template <class C>
concept Container = MapContainer<C> || SetContainer<C> || SequenceContainer<C>;

// A value that may be missing, as qor::Optional.
template <class T>
concept OptionalValue = requires(T& t) {
    { t.isSet() } -> std::convertible_to<bool>;
    t.value();
    t.reset();
};

// Takes an entry that was read into a map. Of two with one key the later one counts, if mapped
// values can be assigned; a multimap has both.
template <MapContainer C>
void putEntry(C& map, typename C::key_type key, typename C::mapped_type mapped) {
    if constexpr (std::is_move_assignable_v<typename C::mapped_type> &&
                  requires { map.insert_or_assign(std::move(key), std::move(mapped)); }) {
        map.insert_or_assign(std::move(key), std::move(mapped));
    } else {
        map.emplace(std::move(key), std::move(mapped));
    }
}

// Makes room for this number of elements, if the container can.
template <class C>
void reserveElements(C& elements, std::size_t count) {
    if constexpr (requires { elements.reserve(count); }) elements.reserve(count);
}

// Adds an element to a container that is no map: a new one, after `read` has set it. `read` is
// called with the element in its place if the container allows that.
template <class C, class Read>
void appendElement(C& elements, Read read) {
    using Element = typename C::value_type;
    if constexpr (SequenceContainer<C> && requires {
                      { elements.emplace_back() } -> std::same_as<Element&>;
                  }) {
        read(elements.emplace_back());
    } else {
        Element element{};
        read(element);
        if constexpr (SetContainer<C>) {
            elements.insert(std::move(element));
        } else if constexpr (SequenceContainer<C>) {
            elements.push_back(std::move(element));
        } else {
            elements.push(std::move(element));
        }
    }
}

// False for an optional value that is not set, which is no field.
template <class T>
constexpr bool isPresent(const T& member) {
    if constexpr (OptionalValue<T>) {
        return member.isSet();
    } else {
        return true;
    }
}

// Has `read` change a copy of the value, and sets the target to it. If `read` returns false or
// raises, the target is unchanged.
template <OptionalValue T, class Read>
bool readPresent(T& target, Read read) {
    typename T::value_type present = target.value();
    if constexpr (std::is_void_v<decltype(read(present))>) {
        read(present);
    } else {
        if (!read(present)) return false;
    }
    target = std::move(present);
    return true;
}

// Does not compile: the format of `Stream` has no form for T.
template <class Stream, class T>
constexpr void refuseType() noexcept {
    static_assert(!sizeof(T),
                  "this stream's format cannot carry this type: it is no scalar, text, bytes or "
                  "time, no container that can be appended to, and has no codec");
}

// A codec takes its object as one that may be written to. Encoding and dumping write nothing, so
// that a const object can go through the same codec.
template <class T>
T& forCodec(const T& object) noexcept {
    return const_cast<T&>(object);
}

}  // namespace qor

#endif  // QOR_BASE_FIELD_H
