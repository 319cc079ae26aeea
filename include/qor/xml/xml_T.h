#ifndef QOR_XML_XML_T_H
#define QOR_XML_XML_T_H

#include <concepts>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "qor/base/field.h"
#include "qor/xml/XMLStream.h"

// The binding of user types to XML. A type with a codec (see qor/base/field.h), or one derived from
// XMLCodecBase, is written and read by:
//
//     XMLStream out;
//     xml::encode(out, contact);                    // out.str(true, 0) is the text
//     xml::decode(XMLInStream(text), contact);
//
// A field is written as a child element of its name; when reading, an attribute of that name is
// used if there is no such child. A container is an element with a child named "any" for each of
// its elements; an element that has a codec sets its own name instead. When reading, any names are
// accepted, and the container is replaced. An optional value that is not set is not written. If a
// field is missing, the member is unchanged.

namespace qor {

namespace xml {

template <class T>
concept Object = std::derived_from<T, XMLCodecBase> || CodecType<T, XMLStream>;

template <class T>
concept Missable = OptionalValue<T> && !Object<T>;

// Queues and stacks. They are written through the container in them.
template <class C>
concept Adaptor = requires(C& c) {
    typename C::container_type;
    c.push(std::declval<typename C::value_type>());
    c.pop();
}
&&!requires {
    typename C::value_compare;
};

// A class instead of a namespace, so that a call finds these functions, and never one of a program
// with the same name.
struct binding {
    static constexpr istr kItem{"any", 3};
    static constexpr istr kKey{"__key__", 7};

    // The "__type__" of a container: that of the most similar standard one, empty for a vector.
    template <class C>
    static constexpr istr wordOf() noexcept {
        if constexpr (Adaptor<C>) {
            return requires(C & c) {
                c.front();
            }
            ? istr("queue", 5) : istr("stack", 5);
        } else if constexpr (MapContainer<C>) {
            return requires(C & c, typename C::key_type k) {
                c[k];
            }
            ? istr("map", 3) : istr("multimap", 8);
        } else if constexpr (SetContainer<C>) {
            return requires(C & c, typename C::value_type v) {
                c.insert(v).second;
            }
            ? istr("set", 3) : istr("multiset", 8);
        } else if constexpr (requires(C & c) { c.reserve(1); }) {
            return istr();
        } else {
            return requires(C & c) {
                c[0];
            }
            ? istr("deque", 5) : istr("list", 4);
        }
    }

    // The container of an adaptor is protected.
    template <class A>
    static const typename A::container_type& itemsOf(const A& adaptor) {
        struct Access : A {
            static const typename A::container_type& of(const A& a) { return a.*(&Access::c); }
        };
        return Access::of(adaptor);
    }

    // A child is complete before it is added to its parent.
    template <class T>
    static XMLNode& addItem(XMLNode& parent, istr name, const T& value) {
        std::unique_ptr<XMLNode> item(new (__FILE__, __LINE__, "qor::xml::addItem")
                                          XMLNode(name, nullptr));
        store(*item, value);
        parent.addChildNode(item.get());
        return *item.release();
    }

    template <class C>
    static void storeItems(XMLNode& node, const C& container) {
        if constexpr (Adaptor<C>) {
            for (const typename C::value_type& item : itemsOf(container))
                addItem(node, kItem, item);
        } else if constexpr (MapContainer<C>) {
            using Key = typename C::key_type;
            static_assert(
                Writable<Key> && !Object<Key>,
                "the keys of a map in XML are text, bytes, times or scalars, without a codec");
            for (const auto& [key, mapped] : container) {
                String text;
                formatValue(key, text);
                std::unique_ptr<XMLNode> item(new (__FILE__, __LINE__, "qor::xml::addItem")
                                                  XMLNode(kItem, nullptr));
                item->attr(kKey).value(text);
                store(*item, mapped);
                node.addChildNode(item.get());
                static_cast<void>(item.release());
            }
        } else {
            for (const typename C::value_type& item : container)
                addItem(node, kItem, item);
        }
    }

    template <class T>
    static void store(XMLNode& node, const T& value) {
        if constexpr (Missable<T>) {
            if (value.isSet()) store(node, value.value());
        } else if constexpr (std::derived_from<T, XMLCodecBase>) {
            XMLOutStream out(node);
            value.encodeXml(out);
        } else if constexpr (Object<T>) {
            XMLStream out(XMLStream::out_t(), node);
            qor::forCodec(value).codec(out);
        } else if constexpr (Writable<T> || VolatileScalar<T>) {
            XMLOutStream out(node);
            out << value;
        } else if constexpr (Container<T> || Adaptor<T>) {
            if (constexpr istr word = wordOf<T>(); !word.empty()) XMLOutStream(node).type(word);
            storeItems(node, value);
        } else {
            refuseType<XMLStream, T>();
        }
    }

    template <class C>
    static void loadItem(const XMLNode& node, unsigned nesting, C& items) {
        if constexpr (MapContainer<C>) {
            static_assert(
                Readable<typename C::key_type>,
                "the keys of a map that is read from XML are text that the map owns, bytes, "
                "times or scalars");
            typename C::key_type key{};
            typename C::mapped_type mapped{};
            // An element without a key has that of a default value.
            parseValue(node.attr(kKey).value(), key);
            load(node, nesting, mapped);
            qor::putEntry(items, std::move(key), std::move(mapped));
        } else {
            qor::appendElement(items, [&](auto& item) { load(node, nesting, item); });
        }
    }

    template <class C>
    static void loadItems(const XMLNode& node, unsigned nesting, C& target) {
        C items = qor::emptyLike(target);
        qor::reserveElements(items, node.numofChildren());
        for (const XMLNode& child : node.children())
            loadItem(child, nesting, items);
        target = std::move(items);
    }

    // Reads the target from the node. Returns whether the node exists and its text could be read.
    template <class T>
    static bool load(const XMLNode& node, unsigned nesting, T& target) {
        static_assert(!std::is_const_v<T>, "a const member cannot be read into");
        if (node.isNull()) return false;
        if constexpr (Missable<T>) {
            return qor::readPresent(target,
                                    [&](auto& present) { return load(node, nesting, present); });
        } else if constexpr (Object<T>) {
            if (nesting >= kMaxDepth) return false;
            XMLStream in(XMLStream::in_t(), node);
            in.nesting(nesting + 1);
            if constexpr (std::derived_from<T, XMLCodecBase>) {
                target.decodeXml(in);
            } else {
                target.codec(in);
            }
            return true;
        } else if constexpr (Readable<T> || VolatileScalar<T>) {
            return XMLInStream(node) >> target;
        } else if constexpr (Container<T> || Adaptor<T>) {
            loadItems(node, nesting, target);
            return true;
        } else {
            refuseType<XMLStream, T>();
            return false;
        }
    }

    // Only scalars, text, bytes and times are read from an attribute.
    template <class T>
    static bool loadAttr(const XMLAttr& attr, T& target) {
        if (attr.isNull()) return false;
        if constexpr (Missable<T>) {
            return qor::readPresent(target, [&](auto& present) { return loadAttr(attr, present); });
        } else if constexpr (VolatileScalar<T>) {
            std::remove_volatile_t<T> value = target;
            const bool good = parseValue(attr.value(), value);
            target = value;
            return good;
        } else if constexpr (Readable<T> && !Object<T>) {
            return parseValue(attr.value(), target);
        } else {
            return false;
        }
    }

    template <class T>
    static void storeField(XMLNode& parent, istr name, const T& member) {
        if constexpr (Missable<T>) {
            if (member.isSet()) storeField(parent, name, member.value());
        } else if (std::as_const(parent).child(name).isNull()) {
            addItem(parent, name, member);
        } else {
            // An existing child is overwritten.
            XMLNode& present = parent.child(name);
            if constexpr (!Object<T> && !Writable<T> && (Container<T> || Adaptor<T>))
                present.clearNodes();
            store(present, member);
        }
    }

    template <class T>
    static bool loadElement(const XMLStream& s, istr name, T& member) {
        return load(s.node().child(name), s.nesting(), member);
    }
};

// A field that is always an element, and never read from an attribute.
template <class T>
XMLStream& elementField(XMLStream& s, const FieldKey& key, T& member) {
    if (s.isInputting()) {
        binding::loadElement(s, key.name, member);
    } else {
        binding::storeField(s.node(), key.name, member);
    }
    return s;
}

// A field that is an attribute: a scalar, text, bytes or a time.
template <class T>
XMLStream& attrField(XMLStream& s, const FieldKey& key, T& member) {
    if (s.isInputting()) {
        binding::loadAttr(std::as_const(s).attr(key.name), member);
    } else if constexpr (Missable<T>) {
        if (member.isSet()) xml::attrField(s, key, qor::forCodec(member.value()));
    } else if constexpr (std::is_volatile_v<T>) {
        const std::remove_cv_t<T> now = member;
        xml::attrField(s, key, qor::forCodec(now));
    } else {
        String text;
        formatValue(member, text);
        s.attr(key.name).value(text);
    }
    return s;
}

// Write an object to the stream's node, and read it from there. A container is appended to what the
// node contains. Writing to a stream that reads, and reading from a stream without a node, change
// nothing. If a codec raises while it writes, the fields before stay in the node.
template <class T>
void encode(XMLOutStream& s, const T& object) {
    if (!s.isInputting()) binding::store(s.node(), object);
}
template <class T>
void decode(const XMLInStream& s, T& object) {
    binding::load(s.node(), s.nesting(), object);
}

}  // namespace xml

// The field of a codec.
template <class T>
XMLStream& field(XMLStream& s, const FieldKey& key, T& member) {
    if (!s.isInputting()) {
        xml::binding::storeField(s.node(), key.name, member);
    } else if (!xml::binding::loadElement(s, key.name, member)) {
        xml::binding::loadAttr(std::as_const(s).attr(key.name), member);
    }
    return s;
}

}  // namespace qor

#endif  // QOR_XML_XML_T_H
