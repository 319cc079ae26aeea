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
// and every format can carry the type. Each format has its own `field` in the namespace of its
// stream. If the input lacks a field, the member is unchanged. If the input has two entries of a
// map with the same key, the last one is used.

namespace qor {

// A field's name, for the formats that have names, and its tag, for those that have tags. The tags
// of a type must be different, and not 255: a format may read that as the end of a value.
struct FieldKey {
    istr name;
    unsigned char tag;
};

// A type that a stream can carry by running its codec.
template <class T, class Stream>
concept CodecType = requires(T& object, Stream& s) {
    object.codec(s);
};

// Containers are recognised by their operations.
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

template <class T>
class Optional;
template <class T>
concept SetByValue = std::is_assignable_v<T&, typename T::value_type> ||
    std::derived_from<T, Optional<typename T::value_type>>;

// A value that may be missing, such as qor::Optional: a field that is not set is not written. A
// class with a codec is carried by that instead.
template <class T>
concept OptionalValue = SetByValue<T> && requires(T& t) {
    { t.isSet() } -> std::convertible_to<bool>;
    { t.value() } -> std::convertible_to<const typename T::value_type&>;
    t.reset();
};

// Adds an entry that was read to a map. An entry with the same key is replaced, if mapped values
// can be assigned; a multimap keeps both.
template <MapContainer C>
void putEntry(C& map, typename C::key_type key, typename C::mapped_type mapped) {
    if constexpr (std::is_move_assignable_v<typename C::mapped_type> &&
                  requires { map.insert_or_assign(std::move(key), std::move(mapped)); }) {
        map.insert_or_assign(std::move(key), std::move(mapped));
    } else {
        map.emplace(std::move(key), std::move(mapped));
    }
}

// A comparison, or a hash function, with a state may be another one in each container.
template <class C>
concept StatefulOrder = requires {
    typename C::key_compare;
    requires !std::is_empty_v<typename C::key_compare>;
};
template <class C>
concept StatefulHash = requires {
    typename C::hasher;
    requires !std::is_empty_v<typename C::hasher> || !std::is_empty_v<typename C::key_equal>;
};

// A standard container claims to be copyable even if its elements are not.
template <class C>
concept Copyable = std::copy_constructible<C> && requires {
    requires std::is_copy_constructible_v<typename C::value_type>;
};

// An empty container with the comparison, or the hash function, of another one. Other members of a
// derived class may be lost: a container that is read is replaced as a whole.
template <class C>
C emptyLike(const C& container) {
    if constexpr (requires { C(container.key_comp()); }) {
        return C(container.key_comp());
    } else if constexpr (requires { C(0, container.hash_function(), container.key_eq()); }) {
        return C(0, container.hash_function(), container.key_eq());
    } else if constexpr (Copyable<C> &&
                         (StatefulOrder<C> || StatefulHash<C> || !std::default_initializable<C>)) {
        // A derived class without the constructors of its base.
        C empty(container);
        empty.clear();
        return empty;
    } else {
        return C();
    }
}

// Reserves room for `count` elements if the container has reserve().
template <class C>
void reserveElements(C& elements, std::size_t count) {
    if constexpr (requires { elements.reserve(count); }) elements.reserve(count);
}

// Adds a new element, set by `read`, to a container that is not a map. `read` is called with a
// reference to the element: the one in the container if that has emplace_back, a temporary
// otherwise.
template <class C, class Read>
void appendElement(C& elements, Read read) {
    using Element = typename C::value_type;
    static_assert(std::is_default_constructible_v<Element>,
                  "an element that is read needs a default constructor");
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

// Calls `read` with a copy of the value, then sets the target to that copy. If `read` returns false
// or raises, the target is unchanged.
template <OptionalValue T, class Read>
bool readPresent(T& target, Read read) {
    static_assert(std::is_copy_constructible_v<typename T::value_type>,
                  "an optional value that is read is copied, and its type cannot be copied");
    static_assert(std::is_assignable_v<T&, typename T::value_type>,
                  "an optional value that is read is set by =, and its class has no = for it");
    typename T::value_type present = target.value();
    if constexpr (std::is_void_v<decltype(read(present))>) {
        read(present);
    } else {
        if (!read(present)) return false;
    }
    target = std::move(present);
    return true;
}

// A call does not compile, and the message says that the format of `Stream` cannot carry T.
template <class Stream, class T>
constexpr void refuseType() noexcept {
    static_assert(!sizeof(T),
                  "this stream's format cannot carry this type: it is no scalar, text, bytes or "
                  "time, no container that can be appended to, and has no codec; write an "
                  "enumeration as its number");
}

// A codec takes a non-const object. Encoding and dumping do not change the object, so they may pass
// a const one by this function.
template <class T>
T& forCodec(const T& object) noexcept {
    return const_cast<T&>(object);
}

}  // namespace qor

#endif  // QOR_BASE_FIELD_H
