#ifndef QOR_JSON_JSON_T_H
#define QOR_JSON_JSON_T_H

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <string>
#include <utility>

#include "qor/base/field.h"
#include "qor/json/json_stream.h"

// The binding of user types to JSON. A type with a codec (see qor/base/field.h) is written and read
// by:
//
//     json::JsonOutputStream out;
//     json::encode(out, contact);                      // out.str() is the text
//     json::decode(json::JsonInputStream(text), contact);
//
// Scalars, text, bytes and Time are written as by JsonUnit::operator<<; a type for which a program
// has its own operators << and >>, also those of a base, by these. A type with a codec becomes an
// object with a key for each field; vectors, lists and sets become arrays. A map with text as keys
// becomes an object. All other maps, and maps with a key that is empty or contains a quote or a
// backslash, become arrays of { "key":..., "value":... }. An optional value that is not set is not
// written; in a container, where it would be lost, an optional value is an array of no or one
// element.
//
// If a field is missing, null, or of another kind, the member is unchanged. A container is replaced
// as a whole. When a map is read, array elements without "key" or "value" are skipped; an array
// that has only such elements counts as another kind.

namespace qor::json {

// Object: types with a codec. List: containers, which are written as their elements.
template <class T>
concept Object = std::derived_from<T, JsonCodecInterface> || CodecType<T, JsonStream>;
template <class T>
concept List = Container<T> && !Object<T>;
template <class T>
concept Missable = OptionalValue<T> && !Object<T>;

template <class K>
concept TextKey = std::derived_from<K, std::string> && !Object<K>;

// A map whose keys are text, and unique.
template <class C>
concept TextMap = MapContainer<C> && TextKey<typename C::key_type> && requires(C& c) {
    c.emplace(typename C::key_type(), typename C::mapped_type()).second;
};

// A class instead of a namespace, so that a call finds these functions, and never one of a program
// with the same name.
struct binding {
    static constexpr char kKey[] = "key";
    static constexpr char kMapped[] = "value";

    // Whether the key can be read back from an object. Keys are written unchanged.
    static bool isPlainKey(const std::string& key) noexcept {
        return !key.empty() && key.find_first_of("\"\\") == std::string::npos;
    }

    template <class C>
    static bool fitsObject(const C& map) {
        if constexpr (TextMap<C>) {
            return std::all_of(map.begin(), map.end(),
                               [](const auto& pair) { return isPlainKey(pair.first); });
        } else {
            return false;
        }
    }

    // Elements of containers. An element is never written as null, since a null is dropped when an
    // array is read.
    template <class T>
    static void storeElement(JsonUnit& unit, const T& value) {
        if constexpr (Missable<T>) {
            unit.arrayValue();
            if (value.isSet()) storeElement(unit.newChild(), value.value());
        } else {
            store(unit, value);
        }
    }
    template <class T>
    static void loadElement(const JsonUnit& unit, T& target) {
        if constexpr (Missable<T>) {
            const JsonArray* const elements = unit.arrayValue();
            if (elements == nullptr || elements->size() == 0) return;
            typename T::value_type present{};
            loadElement(elements->at(0), present);
            target = std::move(present);
        } else {
            load(unit, target);
        }
    }

    template <class C>
    static void storeElements(JsonUnit& unit, const C& container) {
        if constexpr (MapContainer<C>) {
            if constexpr (TextMap<C>) {
                if (fitsObject(container)) {
                    JsonObject& object = unit.objectValue();
                    for (const auto& [key, mapped] : container)
                        storeElement(object.get(istr(key)), mapped);
                    return;
                }
            }
            JsonArray& pairs = unit.arrayValue();
            for (const auto& [key, mapped] : container) {
                JsonObject& pair = pairs.newChild().objectValue();
                storeElement(pair.get(kKey), key);
                storeElement(pair.get(kMapped), mapped);
            }
        } else {
            JsonArray& elements = unit.arrayValue();
            for (const typename C::value_type& element : container)
                storeElement(elements.newChild(), element);
        }
    }

    template <class T>
    static void store(JsonUnit& unit, const T& value) {
        if constexpr (Missable<T>) {
            if (value.isSet()) store(unit, value.value());
        } else if constexpr (std::derived_from<T, JsonCodecInterface>) {
            unit.objectValue();
            JsonOutputStream part(unit);
            value.encodeJson(part);
        } else if constexpr (Object<T>) {
            unit.objectValue();
            JsonOutputStream out(unit);
            JsonStream part(out);
            qor::forCodec(value).codec(part);
        } else if constexpr (List<T>) {
            // Replaces the unit's content as a whole.
            JsonUnit made;
            storeElements(made, value);
            unit = made;
        } else if constexpr (requires(T & target) {
                                 operator<<(unit, value);
                                 operator>>(std::as_const(unit), target);
                             }) {
            // First: JsonUnit has operators for all classes derived from a scalar or from text. Not
            // with << alone, which may be that of a type to which T only converts.
            operator<<(unit, value);
        } else if constexpr (requires { unit << value; }) {
            unit << value;
        } else {
            refuseType<JsonStream, T>();
        }
    }

    template <class C>
    static bool appendLoaded(const JsonUnit& unit, C& elements) {
        qor::appendElement(elements, [&](auto& element) { loadElement(unit, element); });
        return true;
    }

    // Returns false if the unit is not a pair.
    template <class C>
    static bool appendLoaded(const JsonUnit& unit, C& elements) requires MapContainer<C> {
        const JsonObject* const pair = unit.objectValue();
        const JsonUnit* const keyUnit = pair != nullptr ? pair->get(kKey) : nullptr;
        const JsonUnit* const mappedUnit = pair != nullptr ? pair->get(kMapped) : nullptr;
        if (keyUnit == nullptr || mappedUnit == nullptr) return false;
        typename C::key_type key{};
        typename C::mapped_type mapped{};
        loadElement(*keyUnit, key);
        loadElement(*mappedUnit, mapped);
        qor::putEntry(elements, std::move(key), std::move(mapped));
        return true;
    }

    template <class C>
    static bool loadElements(const JsonUnit& unit, C& target) {
        C elements = qor::emptyLike(target);
        bool fits = false;
        if (const JsonArray* const array = unit.arrayValue()) {
            qor::reserveElements(elements, array->size());
            fits = array->size() == 0;
            for (const JsonUnit& element : *array)
                fits = appendLoaded(element, elements) || fits;
        } else if constexpr (MapContainer<C>) {
            if constexpr (TextKey<typename C::key_type>) {
                const JsonObject* const object = unit.objectValue();
                if (object == nullptr) return false;
                for (const auto& [key, child] : *object) {
                    typename C::mapped_type mapped{};
                    loadElement(child, mapped);
                    typename C::key_type name{};
                    name.assign(key);
                    qor::putEntry(elements, std::move(name), std::move(mapped));
                }
                fits = true;
            }
        }
        if (fits) target = std::move(elements);
        return fits;
    }

    // Returns false if the unit is of another kind. Types with code of their own decide by
    // themselves: the result is true for them.
    template <class T>
    static bool load(const JsonUnit& unit, T& target) {
        if constexpr (Missable<T>) {
            return !unit.isNull() &&
                   qor::readPresent(target, [&](auto& present) { return load(unit, present); });
        } else if constexpr (std::derived_from<T, JsonCodecInterface>) {
            const JsonInputStream part(unit);
            target.decodeJson(part);
            return true;
        } else if constexpr (Object<T>) {
            const ReadingDepth depth;
            const JsonInputStream in(unit);
            JsonStream part(in);
            target.codec(part);
            return unit.objectValue() != nullptr;
        } else if constexpr (List<T>) {
            return loadElements(unit, target);
        } else if constexpr (requires { operator>>(unit, target); }) {
            operator>>(unit, target);
            return true;
        } else if constexpr (requires { JsonConversion::read(unit, target); }) {
            return JsonConversion::read(unit, target);
        } else if constexpr (requires { unit >> target; }) {  // to a view
            unit >> target;
            return true;
        } else {
            refuseType<JsonStream, T>();
            return false;
        }
    }
};

// A field of a codec. If the object already has a field of the same name, a value or a container
// replaces it; an object keeps those fields of the old object that it does not write.
template <class T>
void field(JsonOutputStream& s, const FieldKey& key, const T& member) {
    if constexpr (Missable<T>) {
        if (!member.isSet()) return;
    }
    binding::store(s.child(key.name), member);
}
template <class T>
void field(const JsonInputStream& s, const FieldKey& key, T& member) {
    static_assert(!std::is_const_v<T>, "a const member cannot be read into");
    binding::load(s.child(key.name), member);
}
template <class T>
void field(JsonStream& s, const FieldKey& key, T& member) {
    if (s.encoding()) {
        json::field(s.jos(), key, std::as_const(member));
    } else {
        json::field(std::as_const(s).jis(), key, member);
    }
}

// Write an object to the stream's unit.
template <class T>
void encode(JsonOutputStream& s, const T& object) {
    binding::store(s.unit(), object);
}
template <class T>
void encode(JsonStream& s, const T& object) {
    json::encode(s.jos(), object);
}

// Read an object from the stream's unit or from a text. Raise DecodeException for objects nested
// deeper than kMaxDepth, and the last one for a text that is not JSON; members that were already
// read are then changed. A member of type istr or const char* becomes a view of the stream's tree,
// which must outlive it: do not read such members from a text, whose tree is gone afterwards.
template <class T>
void decode(const JsonInputStream& s, T& object) {
    binding::load(s.unit(), object);
}
template <class T>
void decode(const JsonStream& s, T& object) {
    json::decode(s.jis(), object);
}
template <class T>
void decode(istr text, T& object) {
    json::decode(JsonInputStream(text), object);
}

}  // namespace qor::json

#endif  // QOR_JSON_JSON_T_H
