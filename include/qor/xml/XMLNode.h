#ifndef QOR_XML_XMLNODE_H
#define QOR_XML_XMLNODE_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <iterator>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "qor/base/base_type_string.h"
#include "qor/util/singleton_T.h"
#include "qor/xml/XMLAttr.h"

namespace qor {

// An element of an XML tree (XML 1.0): a name, its text (all parts joined, entities decoded), and
// its attributes and children in order.
//
//     XMLNode book("book", nullptr);
//     book.attr("id").value("7");
//     book.child("title").cdata("R & D");
//     book.str(false, 0);   // <book id="7"><title><![CDATA[R & D]]></title></book>
//
// A node owns its children; do not delete a child directly. The destructor of a derived class
// may find no children, and must not use the parent, which may be destroyed already. A missing node
// or attribute is not a null pointer but the shared object XMLNode::null() or XMLAttr::null(),
// whose own look-ups return the null objects again; so look-ups of a const node can be chained
// without checks. Look-ups of a node that is not const create a missing child or attribute.
//
// Finding a child or an attribute by its name takes O(log n). The stack use of building, copying,
// writing and deleting a tree does not depend on its depth. If an operation raises, the node is
// unchanged.
//
// Several threads may read a tree, by const operations, while no thread changes it.
class QOR_API XMLNode {
public:
    // Selects the constructor with the text.
    struct cdata_t {};
    using ChildMap = std::multimap<String, XMLNode*, std::less<>>;
    class Children;

    // If `parent` is not null, it owns the new node as by addChildNode, and the node must be
    // allocated by new.
    XMLNode(istr name, XMLNode* parent);
    // A node without a name.
    XMLNode(istr text, cdata_t tag);
    // Deep copies; the new node has no parent.
    XMLNode(const XMLNode& other);
    virtual ~XMLNode();

    // Replaces everything except the parent by deep copies. `other` may be a part of this node.
    XMLNode& assign(const XMLNode& other);
    XMLNode& operator=(const XMLNode& other) { return assign(other); }
    // Adds a deep copy of `other` as the last child.
    XMLNode& append(const XMLNode& other);
    XMLNode& operator+=(const XMLNode& other) { return append(other); }

    // The shared node that stands for a missing one. It never changes.
    static const XMLNode& null();
    // Call it at the end of the process, when there are no references to it.
    static void destroy_null() noexcept;
    bool isNull() const { return this == &null(); }
    // isEmpty: no name, no text, no attributes, no children; such a node is not isNull. isSimple:
    // no attributes, no children.
    bool isEmpty() const noexcept { return name_.empty() && cdata_.empty() && isSimple(); }
    bool isSimple() const noexcept { return numofAttrs() == 0 && size_ == 0; }

    const String& name() const noexcept { return name_; }
    // Among the children of the same name, a renamed child becomes the last one.
    void name(istr text);
    void name(const char* from, const char* to) { name(istr(from, to)); }
    const String& cdata() const noexcept { return cdata_; }
    // The text, for appending to it.
    String& cdata() noexcept {
        touch();
        return cdata_;
    }
    void cdata(istr text) { cdata() = text; }
    XMLNode* parent() const noexcept { return parent_; }
    // Sets only the pointer; the node remains a child of its present parent.
    void parent(XMLNode* node) noexcept { parent_ = node; }
    // The number of ancestors.
    unsigned getDepth() const noexcept;

    // Attributes.

    // The first two create a missing attribute, with an empty value: even reading by them changes
    // the tree.
    XMLAttr& attr(istr name);
    XMLAttr& operator()(istr name) { return attr(name); }
    const XMLAttr& attr(istr name) const;
    const XMLAttr& operator()(istr name) const { return attr(name); }
    // By the position in the list of names.
    const XMLAttr& attr(unsigned long index) const {
        const XMLAttr* const found = attrs_ != nullptr ? attrs_->listedAt(index) : nullptr;
        return found != nullptr ? *found : XMLAttr::null();
    }
    const XMLAttr& attr(unsigned long index) { return std::as_const(*this).attr(index); }
    unsigned long numofAttrs() const noexcept { return attrs_ != nullptr ? attrs_->listed() : 0; }
    // A copy of the names in the order in which they were added, which is the order of the output.
    std::vector<String> getAttrNames() const;
    // Valid until the node changes.
    const XMLAttrMap& getAttrMap() const noexcept;
    // Adds the name to the list of names, even if it is there already, and sets the value of its
    // attribute. Deliberate (compatibility): an attribute that was added twice is written twice.
    void addAttr(const XMLAttr& attr) { addAttr(attr.name(), attr.value()); }
    void addAttr(istr name, istr value);
    void clearAttrs() noexcept { attrs_.reset(); }

    // Children.

    // The first child of that name. The first two create a missing child; the const ones return
    // null().
    XMLNode& child(istr name);
    XMLNode& operator[](istr name) { return child(name); }
    const XMLNode& child(istr name) const;
    const XMLNode& operator[](istr name) const { return child(name); }
    const XMLNode& child(unsigned long index) const;
    const XMLNode& child(unsigned long index) { return std::as_const(*this).child(index); }
    const XMLNode& operator[](unsigned long index) const { return child(index); }
    const XMLNode& operator[](unsigned long index) { return child(index); }
    unsigned long numofChildren() const noexcept { return size_; }
    // The children in order, as a range of const XMLNode&: the fastest way to visit all children,
    // since no list is built.
    Children children() const noexcept;
    // The children in order. This list and the map below are built at their first use, and updated
    // from then on.
    const std::vector<XMLNode*>& getChildNodes() const {
        return listed_.load(std::memory_order_acquire) ? list_ : makeList();
    }
    // The children by name; equal names in the order in which the children got them.
    const ChildMap& getChildNodeMap() const;
    // Replaces the vector by all children of that name.
    void getChildren(istr name, std::vector<XMLNode*>& found) const;
    // Adds and owns a node, which must have been allocated by new and have no parent. If an
    // exception is raised, the caller still owns it. Null is ignored.
    void addChildNode(XMLNode* node);
    XMLNode* addChildNode(istr name);
    void clearNodes() noexcept;

    // The element as text, without a line end. Pretty text has a line for each element, with four
    // blanks for each level (none in the first line); each attribute is on its own line, except the
    // first one and those whose names begin with "__". The text of a node with children is written
    // after them.
    String str(bool pretty, unsigned depth) const;
    // Writes pretty text, at the level of the dumper.
    dumper& dump(dumper& d) const;

    // Record the node in the leak table.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
    static void operator delete(void* ptr) noexcept;
    static void operator delete(void* ptr, const char* file, unsigned line,
                                const char* func) noexcept;

private:
    friend class XMLParser;
    friend class null_node;
    friend class xml::Pool;
    class Writer;

    XMLNode() noexcept = default;

    // A node of a parsed tree.
    XMLNode(const xml::ParsedText& name, xml::Pool* pool);
    XMLNode* addParsed(const xml::ParsedText& name);
    XMLAttr& addParsedAttr(const xml::ParsedText& name, const xml::ParsedText& value);
    void addParsedText(const xml::ParsedText& text);
    bool ownsPool() const noexcept;
    // Call it before the node changes.
    void touch() noexcept {
        if (pool_ != nullptr) touchPool();
    }
    void touchPool() noexcept;
    XMLAttr& addListed(istr name, String&& value);

    void copyFrom(const XMLNode& other);
    void copyOwn(const XMLNode& other);
    void link(XMLNode* node);
    bool isSearched() const noexcept;
    XMLNode* find(istr name) const;
    const std::vector<XMLNode*>& makeList() const;
    ChildMap& childMap() const;
    void dropMap() const noexcept;
    void dropLooks() const noexcept;
    void prepareRename(XMLNode* child, const String& newName);
    void findEntries(ChildMap& map) noexcept;
    void belong() noexcept;
    static void destroyAll(XMLNode* first) noexcept;

    // At most this number of children are searched one by one.
    static constexpr unsigned long kSearched = 16;

    String name_;
    String cdata_;
    XMLAttrMap::Owner attrs_;   // null if there are none
    XMLNode* first_ = nullptr;  // the children
    XMLNode* last_ = nullptr;
    ulong32 size_ = 0;
    mutable std::atomic<bool> listed_{false};  // whether list_ is built
    mutable bool entered_ = false;             // whether the children know their entry_
    mutable std::vector<XMLNode*> list_;
    mutable std::atomic<ChildMap*> childMap_{nullptr};  // owned
    XMLNode* next_ = nullptr;                           // among the children of the holder
    XMLNode* parent_ = nullptr;
    XMLNode* holder_ = nullptr;  // the node that has this one as a child
    ChildMap::iterator entry_;   // in the map of holder_, if that is entered_
    xml::Pool* pool_ = nullptr;  // the memory of a parsed node; the root owns it
};

// The children of a node, in order: a view of the node, passed by value.
//
//     for (const XMLNode& book : shelf.children()) print(book("title").value());
//
// Iterators stay valid when children are added, and reach these. Clearing, assigning to or
// destroying the node invalidates them.
class XMLNode::Children {
public:
    class const_iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = XMLNode;
        using difference_type = std::ptrdiff_t;
        using pointer = const XMLNode*;
        using reference = const XMLNode&;

        const_iterator() noexcept = default;
        reference operator*() const noexcept { return *at_; }
        pointer operator->() const noexcept { return at_; }
        const_iterator& operator++() noexcept {
            at_ = at_->next_;
            return *this;
        }
        const_iterator operator++(int) noexcept {
            return const_iterator(std::exchange(at_, at_->next_));
        }
        friend bool operator==(const const_iterator& left, const const_iterator& right) noexcept {
            return left.at_ == right.at_;
        }

    private:
        friend Children;
        explicit const_iterator(const XMLNode* at) noexcept : at_(at) {}

        const XMLNode* at_ = nullptr;
    };
    using iterator = const_iterator;

    const_iterator begin() const noexcept { return const_iterator(node_->first_); }
    const_iterator end() const noexcept { return {}; }
    bool empty() const noexcept { return node_->first_ == nullptr; }
    unsigned long size() const noexcept { return node_->size_; }

private:
    friend class XMLNode;
    explicit Children(const XMLNode& node) noexcept : node_(&node) {}

    const XMLNode* node_;
};

inline XMLNode::Children XMLNode::children() const noexcept {
    return Children(*this);
}

class QOR_API null_node : public XMLNode {
private:
    friend CreateByAllocate<null_node>;
    null_node() = default;
};

// Writes str(true, 0).
QOR_API std::ostream& operator<<(std::ostream& os, const XMLNode& node);

extern template class QOR_API CreateByAllocate<null_node>;

}  // namespace qor

#endif  // QOR_XML_XMLNODE_H
