#ifndef QOR_PML_PML_T_H
#define QOR_PML_PML_T_H

#include <atomic>
#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "qor/base/class_name.h"
#include "qor/base/field.h"
#include "qor/pml/pml_stream.h"

// The binding of user types to pml. A type with a codec (see qor/base/field.h) is written and read
// by:
//
//     pml::stream out;
//     pml::encode(out, contact);                    // out.toPml(true) is the text
//     pml::decode(pml::stream(text, false), contact);
//
// Scalars, text, bytes and Time are written as by Unit::operator<<. A type with a codec becomes a
// unit with a child for each field. Elements of vectors, lists and sets become children without a
// name; a map becomes a unit of the type "map", with a child for each element whose name is the
// key. A field with an optional value that is not set is not written; in a container it
// is written as empty.

namespace qor::pml {

// Object: types with a codec. List: containers, which are written as their elements.
template <class T>
concept Object = CodecType<T, stream>;
template <class T>
concept List = Container<T> && !Object<T>;
template <class T>
concept Missable = OptionalValue<T> && !Object<T>;

template <class T>
concept StandardName = std::derived_from<T, std::string>;
template <class T>
concept MapKey = !Object<T> && (StandardName<T> || WireScalar<T>);

// Binds a member to a child for one call.
template <class T>
struct Field__ {
    istr name;
    istr type;  // if empty, the child has the type of its value
    T* value;

    // Adds a child with the member's value. Raises DuplicatedUnitException if another child has the
    // name, and std::bad_alloc; nothing is then added.
    void set(stream& s) const;
    // Reads the child's value to the member and returns true. Returns false if there is no such
    // child. The member is unchanged then, and also if the text cannot be parsed.
    bool get(const stream& s) const;
};

// The field of a codec.
template <class T>
stream& field(stream& s, const Field__<T>& f) {
    if (s.isInputStream()) {
        f.get(s);
    } else {
        f.set(s);
    }
    return s;
}
template <class T>
stream& field(stream& s, const FieldKey& key, T& member) {
    return pml::field(s, Field__<T>{key.name, istr(), std::addressof(member)});
}

// A class instead of a namespace, so that a call finds these functions, and never one of a program
// with the same name.
struct binding {
    // For the leak table. Without a guard, which could stay taken in a child of a fork.
    template <class T>
    static const char* creatorOf() {
        static constinit std::atomic<const char*> kept{nullptr};
        const char* name = kept.load(std::memory_order_acquire);
        if (name == nullptr) kept = name = memberName<T>("qor::pml::Field__", "set");
        return name;
    }

    // Adds a child with a value to `parent`, and sets its type if `type` is not empty.
    template <class T>
    static void add(ntv::Unit& parent, istr name, istr type, const T& value) {
        std::unique_ptr<ntv::Unit> child(new (__FILE__, __LINE__, creatorOf<T>()) ntv::Unit);
        store(*child, value);
        if (!type.empty()) child->type(type);
        // Last, since the codec of an object sets the unit's name.
        child->name(name);
        parent.addChild(std::move(child));
    }

    // Keys of maps that are not text are written and read like values.
    template <class Key>
    static String nameOf(const Key& key) {
        if constexpr (StandardName<Key>) {
            return key;
        } else {
            ntv::Unit text;
            store(text, key);
            return text.getStringValue();
        }
    }
    template <class Key>
    static bool readName(const ntv::Unit& unit, Key& key) {
        if constexpr (StandardName<Key>) {
            key.assign(unit.name());
            return true;
        } else {
            return ntv::Unit(istr(), istr(), unit.name()) >> key;
        }
    }

    template <class C>
    static void storeElements(ntv::Unit& unit, const C& container) {
        unit.initValueAsList();
        if constexpr (MapContainer<C>) {
            static_assert(MapKey<typename C::key_type>,
                          "the keys of a map in pml are text or scalars, without a codec");
            unit.type("map");
            for (const auto& [key, mapped] : container)
                add(unit, nameOf(key), istr(), mapped);
        } else {
            for (const typename C::value_type& element : container)
                add(unit, istr(), istr(), element);
        }
    }

    template <class T>
    static void store(ntv::Unit& unit, const T& value) {
        if constexpr (Missable<T>) {
            if (value.isSet()) store(unit, value.value());
        } else if constexpr (Object<T>) {
            part_stream part(unit);
            qor::forCodec(value).codec(part.get());
        } else if constexpr (List<T>) {
            storeElements(unit, value);
        } else if constexpr (requires { unit << value; }) {
            unit << value;
        } else {
            refuseType<stream, T>();
        }
    }

    template <class C>
    static void loadElement(const ntv::Unit& unit, const stream& around, C& elements) {
        if constexpr (MapContainer<C>) {
            typename C::key_type key{};
            typename C::mapped_type mapped{};
            if (!readName(unit, key)) return;
            load(unit, around, mapped);
            qor::putEntry(elements, std::move(key), std::move(mapped));
        } else {
            qor::appendElement(elements, [&](auto& element) { load(unit, around, element); });
        }
    }

    // Replaces the whole container; it becomes empty if the unit has no list.
    template <class C>
    static void loadElements(const ntv::Unit& unit, const stream& around, C& target) {
        C elements = qor::emptyLike(target);
        if (const ntv::ListValue* const list = unit.listValue()) {
            qor::reserveElements(elements, list->size());
            for (const ntv::Unit* const child : *list)
                loadElement(*child, around, elements);
        }
        target = std::move(elements);
    }

    // Reads a T() by its text. The empty text of a String() is a value that >> does not read.
    template <class T>
    static bool loadDefault(const ntv::Unit& unit, T& target) {
        if constexpr (requires(ntv::Unit & written) { written << T(); }) {
            ntv::Unit written;
            written << T();
            if (unit.listValue() == nullptr && unit.getStringValue() == written.getStringValue()) {
                target = T();
                return true;
            }
        }
        return false;
    }

    // Returns false if the unit has a text that cannot be parsed. An operator >> of the program may
    // return anything; if that is not a bool, the result is true.
    template <class T>
    static bool load(const ntv::Unit& unit, const stream& around, T& target) {
        if constexpr (Missable<T>) {
            return qor::readPresent(target, [&](auto& present) {
                return load(unit, around, present) || loadDefault(unit, present);
            });
        } else if constexpr (Object<T>) {
            part_stream part(unit, around);
            target.codec(part.get());
            return true;
        } else if constexpr (List<T>) {
            loadElements(unit, around, target);
            return true;
        } else if constexpr (requires { unit >> target; }) {
            if constexpr (std::same_as<decltype(unit >> target), bool>) {
                return unit >> target;
            } else {
                unit >> target;
                return true;
            }
        } else {
            refuseType<stream, T>();
            return false;
        }
    }
};

template <class T>
void Field__<T>::set(stream& s) const {
    if constexpr (std::is_volatile_v<T>) {
        const std::remove_cv_t<T> now = *value;
        Field__<const std::remove_cv_t<T>>{name, type, &now}.set(s);
    } else {
        if constexpr (Missable<std::remove_const_t<T>>) {
            if (!value->isSet()) return;
        }
        binding::add(s.unit(), name, type, *value);
    }
}

template <class T>
bool Field__<T>::get(const stream& s) const {
    static_assert(!std::is_const_v<T>, "a const member cannot be read into");
    const ntv::Unit* const child = s.unit().at(name);
    if (child == nullptr) return false;
    binding::load(*child, s, *value);
    return true;
}

// Writes an object to the stream's unit. Raises as Field__::set does; the fields before stay.
template <class T>
void encode(stream& s, const T& object) {
    if constexpr (Object<T>) {
        part_stream part(s.unit());
        qor::forCodec(object).codec(part.get());
    } else {
        binding::store(s.unit(), object);
    }
}

// Reads an object from the stream's unit. Raises DecodeException for objects nested deeper than
// kMaxDepth; members that were already read are then changed.
template <class T>
void decode(const stream& s, T& object) {
    binding::load(s.unit(), s, object);
}

}  // namespace qor::pml

#endif  // QOR_PML_PML_T_H
