#ifndef QOR_XML_XMLATTR_H
#define QOR_XML_XMLATTR_H

#include <cstddef>
#include <iosfwd>
#include <iterator>
#include <memory>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include "qor/base/base_type_string.h"
#include "qor/base/interface.h"
#include "qor/util/singleton_T.h"

namespace qor {

class XMLNode;
class dumper;

namespace xml {
class Pool;
struct ParsedText;
}  // namespace xml

// An attribute of an XMLNode: a name, a value as text without escapes, and the node to which it
// belongs, which it does not own.
class QOR_API XMLAttr {
public:
    XMLAttr(istr name, istr value, XMLNode* node) : name_(name), value_(value), node_(node) {}
    XMLAttr(const XMLAttr& other) : name_(other.name_), value_(other.value_), node_(other.node_) {}
    XMLAttr& operator=(const XMLAttr& other);
    virtual ~XMLAttr() { dropKey(); }

    // The shared attribute that stands for a missing one. It never changes.
    static const XMLAttr& null();
    // Call it at the end of the process, when there are no references to it.
    static void destroy_null() noexcept;
    bool isNull() const { return this == &null(); }

    const String& name() const noexcept { return name_; }
    // The node still finds the attribute by the name with which it was added.
    void name(istr text);
    const String& value() const noexcept { return value_; }
    void value(istr text) { value_ = text; }
    XMLNode* node() const noexcept { return node_; }
    void node(XMLNode* owner) noexcept { node_ = owner; }

    // The attribute as in a tag, after a blank: ` name="value"`. Empty if it has no name.
    String str() const;
    dumper& dump(dumper& d) const;

private:
    friend class XMLAttrMap;
    friend class XMLNode;
    friend class XMLParser;
    friend class null_attr;
    XMLAttr() = default;
    // For the map of a parsed node.
    XMLAttr(const xml::ParsedText& name, const xml::ParsedText& value, XMLNode* node);
    void rename(String& newName);
    void dropKey() noexcept {
        if (key_ != &name_) delete key_;
    }
    void appendTo(String& out) const;

    String name_;
    String value_;
    XMLNode* node_ = nullptr;
    // The name by which a map finds the attribute: name_, or an owned copy of the former name. Null
    // outside a map.
    const String* key_ = nullptr;
    XMLAttr* next_ = nullptr;  // in the map, in the order of addition
};

class QOR_API null_attr : public XMLAttr {
private:
    friend CreateByAllocate<null_attr>;
    null_attr() = default;
};

// The attributes of a node: a map from names to XMLAttr, ordered by name. It belongs to the node
// and is changed only through it. References to attributes are valid until all are cleared.
//
// Finding an attribute takes O(log n). Several threads may read the map while no thread changes the
// node.
class QOR_API XMLAttrMap : noncopyable {
public:
    using key_type = String;
    using mapped_type = XMLAttr;
    using value_type = std::pair<const String&, const XMLAttr&>;

    class const_iterator {
    public:
        // It returns pairs by value: for std::ranges it is a forward iterator, for the older
        // algorithms only an input iterator.
        using iterator_concept = std::forward_iterator_tag;
        using iterator_category = std::input_iterator_tag;
        using value_type = XMLAttrMap::value_type;
        using difference_type = std::ptrdiff_t;
        struct pointer {
            const value_type* operator->() const noexcept { return &pair; }
            value_type pair;
        };
        using reference = value_type;

        const_iterator() noexcept = default;
        value_type operator*() const noexcept { return {*at_->key_, *at_}; }
        pointer operator->() const noexcept { return {**this}; }
        const_iterator& operator++() noexcept {
            at_ = map_->after(at_);
            return *this;
        }
        const_iterator operator++(int) noexcept {
            const const_iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const const_iterator& left, const const_iterator& right) noexcept {
            return left.at_ == right.at_;
        }

    private:
        friend XMLAttrMap;
        const_iterator(const XMLAttrMap& map, const XMLAttr* at) noexcept : map_(&map), at_(at) {}

        const XMLAttrMap* map_ = nullptr;
        const XMLAttr* at_ = nullptr;
    };
    using iterator = const_iterator;

    unsigned long size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    const_iterator begin() const noexcept { return {*this, after(nullptr)}; }
    const_iterator end() const noexcept { return {*this, nullptr}; }
    const_iterator find(istr name) const noexcept { return {*this, search(name)}; }
    unsigned long count(istr name) const noexcept { return search(name) != nullptr ? 1 : 0; }

private:
    friend class XMLNode;
    friend class XMLParser;

    struct ByName {
        using is_transparent = void;
        bool operator()(const XMLAttr* left, const XMLAttr* right) const noexcept;
        bool operator()(const XMLAttr* left, istr right) const noexcept;
        bool operator()(istr left, const XMLAttr* right) const noexcept;
    };
    using Index = std::set<XMLAttr*, ByName>;
    using Order = std::vector<XMLAttr*>;
    // For a node with more than kSearched attributes, or with a name that was added twice. If there
    // are at most kSearched, the index is empty.
    struct Extra {
        Index index;
        Order order;
    };
    struct Release {
        void operator()(XMLAttrMap* map) const noexcept;
    };
    using Owner = std::unique_ptr<XMLAttrMap, Release>;

    // On the heap. The argument is not used; version 2.0.5 exports this symbol.
    static Owner create(xml::Pool*);
    // In the memory of a tree.
    static XMLAttrMap* createIn(xml::Pool& pool);
    explicit XMLAttrMap(bool ofPool) noexcept : ofPool_(ofPool) {}
    ~XMLAttrMap();

    // The list of names. A name that was added several times is in it several times.
    unsigned long listed() const noexcept {
        return extra_ != nullptr ? extra_->order.size() : size_;
    }
    const XMLAttr* listedAt(unsigned long position) const noexcept {
        return position < row_ ? first_ + position : listedFurther(position);
    }
    const XMLAttr* listedFurther(unsigned long position) const noexcept;
    // Calls `visit` for each entry of the list.
    template <class Visit>
    void visitListed(Visit visit) const;

    // Null if there is none.
    XMLAttr* search(istr name) const noexcept;
    XMLAttr* search(istr name, unsigned long long mark) const noexcept;
    // One of 64 bits, chosen by the name; if it is not in marks_, the name is missing.
    static unsigned long long markOf(istr name) noexcept;
    XMLAttr* searchOneByOne(istr name) const noexcept;
    XMLAttr* searchIndex(istr name) const noexcept;
    // The next attribute by name; the first one if `at` is null.
    const XMLAttr* after(const XMLAttr* at) const noexcept;

    // Adds the name to the list and sets the value of its attribute, which is created if it is
    // missing. If an exception is raised, nothing is changed.
    XMLAttr& add(istr name, String&& value, XMLNode* node);
    // The same for a parser, with the attribute in the memory of the tree.
    XMLAttr& addParsed(const xml::ParsedText& name, const xml::ParsedText& value, XMLNode* node,
                       xml::Pool& pool);
    bool isRow() const noexcept;
    ulong32 sizeOfPool() const noexcept { return size_ - heapSize_; }
    void append(XMLAttr& attr) noexcept;
    // Adds the attribute to the list and the index, if they exist.
    void note(XMLAttr& attr, bool present);
    std::unique_ptr<Extra> listAll() const;
    void index(XMLAttr& attr);
    void belongTo(XMLNode* node) noexcept;

    // At most this number of attributes are searched one by one.
    static constexpr ulong32 kSearched = 16;
    static constexpr unsigned long long kAllMarks = ~0ULL;

    XMLAttr* first_ = nullptr;
    XMLAttr* last_ = nullptr;
    std::unique_ptr<Extra> extra_;
    unsigned long long marks_ = 0;  // the marks of all names; kAllMarks if they are not known
    ulong32 size_ = 0;
    ulong32 heapSize_ = 0;  // the number of attributes on the heap, which are the last ones
    ulong32 row_ = 0;  // the number of attributes side by side in memory, from the first one on
    bool ofPool_;      // the map is in the memory of a tree
};

// Writes str().
QOR_API std::ostream& operator<<(std::ostream& os, const XMLAttr& attr);

extern template class QOR_API CreateByAllocate<null_attr>;

}  // namespace qor

#endif  // QOR_XML_XMLATTR_H
