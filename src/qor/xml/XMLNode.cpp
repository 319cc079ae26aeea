#include "qor/xml/XMLNode.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <ostream>
#include <utility>

#include "base/node_memory.h"
#include "qor/log/log_dumper.h"
#include "qor/mt/mutex.h"
#include "xml/attr_map.h"
#include "xml/escape.h"
#include "xml/node.h"
#include "xml/pool.h"

namespace qor {

template class CreateByAllocate<null_node>;

namespace {

constexpr unsigned kTab = 4;

// Held while a const look-up makes a map, which is seldom: one for all nodes will do.
const Mutex& mapLock() {
    static const Mutex* const lock = new Mutex;
    return *lock;
}

// The first child of that name.
XMLNode* searchIn(const std::vector<XMLNode*>& children, istr name) noexcept {
    for (XMLNode* const child : children) {
        if (istr(child->name()) == name) return child;
    }
    return nullptr;
}

}  // namespace

// Writes an element, and those in it. What is in the middle of an element waits on a stack of its
// own.
class XMLNode::Writer {
public:
    Writer(String& out, bool pretty, unsigned depth) : out_(out), pretty_(pretty), depth_(depth) {}

    void write(const XMLNode& root) {
        open(root);
        while (!open_.empty()) {
            Level& level = open_.back();
            const std::vector<XMLNode*>& children = level.node->getChildNodes();
            if (level.next == children.size()) {
                close(*level.node);
                open_.pop_back();
            } else {
                const XMLNode& child = *children[level.next++];
                inner();
                open(child);
            }
        }
    }

private:
    struct Level {
        const XMLNode* node;
        std::size_t next;
    };

    void open(const XMLNode& node) {
        const bool hasChildren = node.numofChildren() != 0;
        if (hasChildren) open_.push_back({&node, 0});
        // `inner` is at the level of what is in the node.
        const std::size_t levels = open_.size() + (hasChildren ? 0 : 1);
        out_ += '<';
        out_ += node.name();
        if (writeAttrs(node, levels)) indent(levels);
        if (hasChildren) {
            out_ += '>';
        } else if (node.cdata().empty()) {
            out_.append("/>", 2);
        } else {
            out_ += '>';
            xml::appendCData(out_, node.cdata());
            end(node);
        }
    }

    void close(const XMLNode& node) {
        if (!node.cdata().empty()) {
            inner();
            xml::appendCData(out_, node.cdata());
        }
        indent(open_.size() - 1);
        end(node);
    }

    void end(const XMLNode& node) {
        out_.append("</", 2);
        out_ += node.name();
        out_ += '>';
    }

    // Whether one of them stands on a line of its own.
    bool writeAttrs(const XMLNode& node, std::size_t levels) {
        if (node.attrs_ == nullptr) return false;
        bool wrapped = false;
        bool first = true;
        node.attrs_->visitListed([&](const XMLAttr& attr) {
            if (!first && !attr.key_->starts_with("__")) {
                indent(levels);
                wrapped = true;
            }
            first = false;
            attr.appendTo(out_);
        });
        return wrapped;
    }

    void inner() { indent(open_.size()); }
    void indent(std::size_t levels) {
        if (!pretty_) return;
        out_ += '\n';
        out_.append(kTab * (depth_ + levels), ' ');
    }

    String& out_;
    bool pretty_;
    std::size_t depth_;
    std::vector<Level> open_;
};

XMLNode::XMLNode(istr name, XMLNode* parent) : name_(name) {
    if (parent != nullptr) parent->addChildNode(this);
}

XMLNode::XMLNode(istr text, cdata_t) : cdata_(text) {}

XMLNode::XMLNode(const XMLNode& other) : XMLNode() {
    copyFrom(other);
}

XMLNode::~XMLNode() {
    if (!children_.empty()) clearNodes();
    delete childMap_.load(std::memory_order_relaxed);
}

XMLNode& XMLNode::assign(const XMLNode& other) {
    if (this == &other) return *this;
    XMLNode copy(other);
    // Only this can fail from here on.
    name(copy.name_);
    clearNodes();
    cdata_.swap(copy.cdata_);
    attrs_.swap(copy.attrs_);
    children_.swap(copy.children_);
    belong();
    return *this;
}

XMLNode& XMLNode::append(const XMLNode& other) {
    std::unique_ptr<XMLNode> copy(new XMLNode(other));
    addChildNode(copy.get());
    static_cast<void>(copy.release());
    return *this;
}

const XMLNode& XMLNode::null() {
    return *CreateByAllocate<null_node>::instance();
}

void XMLNode::destroy_null() noexcept {
    CreateByAllocate<null_node>::destroy();
}

void XMLNode::name(istr text) {
    if (istr(name_) == text) return;
    String newName(text);
    if (holder_ != nullptr) holder_->prepareRename(this, newName);
    name_.swap(newName);
}

unsigned XMLNode::getDepth() const noexcept {
    unsigned depth = 0;
    for (const XMLNode* node = parent_; node != nullptr; node = node->parent_)
        ++depth;
    return depth;
}

XMLAttr& XMLNode::attr(istr name) {
    if (attrs_ == nullptr) return addListed(name, String(), nullptr);
    attrs_->plain_ = false;
    XMLAttr* const present = attrs_->search(name);
    return present != nullptr ? *present : addListed(name, String(), nullptr);
}

const XMLAttr& XMLNode::attr(istr name) const {
    const XMLAttr* const found = attrs_ != nullptr ? attrs_->search(name) : nullptr;
    return found != nullptr ? *found : XMLAttr::null();
}

const XMLAttr& XMLNode::attr(unsigned long index) const {
    const XMLAttr* const found = attrs_ != nullptr ? attrs_->listedAt(index) : nullptr;
    return found != nullptr ? *found : XMLAttr::null();
}

std::vector<String> XMLNode::getAttrNames() const {
    std::vector<String> names;
    if (attrs_ == nullptr) return names;
    names.reserve(attrs_->listed());
    attrs_->visitListed([&names](const XMLAttr& attr) { names.push_back(*attr.key_); });
    return names;
}

const XMLAttrMap& XMLNode::getAttrMap() const noexcept {
    static const XMLAttrMap none(false);
    return attrs_ != nullptr ? *attrs_ : none;
}

void XMLNode::addAttr(istr name, istr value) {
    addListed(name, String(value), nullptr);
}

XMLAttr& XMLNode::addListed(istr name, String&& value, xml::Pool* pool) {
    if (attrs_ != nullptr) return attrs_->add(name, std::move(value), this, pool);
    XMLAttrMap::Owner attrs = XMLAttrMap::create(pool);
    XMLAttr& added = attrs->add(name, std::move(value), this, pool);
    attrs_ = std::move(attrs);
    return added;
}

XMLNode& XMLNode::child(istr name) {
    XMLNode* const present = find(name);
    return present != nullptr ? *present : *addChildNode(name);
}

const XMLNode& XMLNode::child(istr name) const {
    const XMLNode* const found = find(name);
    return found != nullptr ? *found : null();
}

const XMLNode& XMLNode::child(unsigned long index) const {
    return index < children_.size() ? *children_[index] : null();
}

const XMLNode::ChildMap& XMLNode::getChildNodeMap() const {
    return childMap();
}

void XMLNode::getChildren(istr name, std::vector<XMLNode*>& found) const {
    std::vector<XMLNode*> all;
    if (isSearched()) {
        std::copy_if(children_.begin(), children_.end(), std::back_inserter(all),
                     [name](const XMLNode* child) { return istr(child->name_) == name; });
        return found.swap(all);
    }
    const auto [first, last] = childMap().equal_range(name);
    for (auto entry = first; entry != last; ++entry)
        all.push_back(entry->second);
    found.swap(all);
}

void XMLNode::addChildNode(XMLNode* node) {
    if (node == nullptr) return;
    makeRoom();
    link(node);
}

XMLNode* XMLNode::addChildNode(istr name) {
    std::unique_ptr<XMLNode> node(new (__FILE__, __LINE__, "qor::XMLNode::addChildNode")
                                      XMLNode(name, nullptr));
    addChildNode(node.get());
    return node.release();
}

void XMLNode::clearNodes() noexcept {
    if (ChildMap* const map = childMap_.load(std::memory_order_relaxed)) {
        childMap_.store(nullptr, std::memory_order_relaxed);
        delete map;
    }
    // The pool of a parsed tree that was added to this one goes behind all that stands in it.
    xml::Pool pools(0);
    // Nodes that are about to go, and have children, are linked through their parents, so that
    // neither depth nor memory is needed.
    XMLNode* gone = nullptr;
    const auto take = [&gone](std::vector<XMLNode*>& children) noexcept {
        for (XMLNode* const child : children) {
            if (child->children_.empty()) {
                destroy(child);
            } else {
                child->parent_ = std::exchange(gone, child);
            }
        }
        children.clear();
    };
    take(children_);
    while (gone != nullptr) {
        XMLNode* const node = std::exchange(gone, gone->parent_);
        node->parent_ = nullptr;
        take(node->children_);
        if (node->pool_ != nullptr) pools.absorb(*node->pool_);
        destroy(node);
    }
}

String XMLNode::str(bool pretty, unsigned depth) const {
    String text;
    if (!isNull()) Writer(text, pretty, depth).write(*this);
    return text;
}

dumper& XMLNode::dump(dumper& d) const {
    return d.raw(str(true, d.level()));
}

void* XMLNode::operator new(std::size_t size) {
    return operator new(size, __FILE__, __LINE__, "qor::XMLNode::XMLNode");
}

void* XMLNode::operator new(std::size_t size, const char* file, unsigned line, const char* func) {
    return newNode(size, file, line, func);
}

void XMLNode::operator delete(void* ptr) noexcept {
    deleteNode(ptr, __FILE__, __LINE__, "qor::XMLNode::~XMLNode");
}

void XMLNode::operator delete(void* ptr, const char* file, unsigned line,
                              const char* func) noexcept {
    deleteNode(ptr, file, line, func);
}

xml::Pool& XMLNode::makePool(std::size_t firstPage) {
    pool_ = std::make_unique<xml::Pool>(firstPage);
    return *pool_;
}

void XMLNode::copyFrom(const XMLNode& other) {
    struct Copying {
        const XMLNode* from;
        std::size_t next;
        XMLNode* to;
    };
    copyOwn(other);
    std::vector<Copying> open{{&other, 0, this}};
    while (!open.empty()) {
        Copying& copying = open.back();
        if (copying.next == copying.from->children_.size()) {
            open.pop_back();
            continue;
        }
        const XMLNode& from = *copying.from->children_[copying.next++];
        XMLNode* const to = copying.to->addChildNode(istr());
        to->copyOwn(from);
        if (!from.children_.empty()) open.push_back({&from, 0, to});
    }
}

void XMLNode::copyOwn(const XMLNode& other) {
    // There is no map yet that the name would have to be told to.
    name_ = other.name_;
    cdata_ = other.cdata_;
    children_.reserve(other.children_.size());
    if (other.attrs_ == nullptr) return;
    other.attrs_->visitListed([this](const XMLAttr& attr) {
        XMLAttr& added = addListed(*attr.key_, String(attr.value_), nullptr);
        if (attr.key_ != &attr.name_) added.name(attr.name_);
    });
}

// Whether the order of the children stands for that of equal names.
bool XMLNode::isSearched() const noexcept {
    return children_.size() <= kSearched && childMap_.load(std::memory_order_relaxed) == nullptr;
}

XMLNode* XMLNode::find(istr name) const {
    if (isSearched()) return searchIn(children_, name);
    const ChildMap& map = childMap();
    const auto found = map.lower_bound(name);
    return found != map.end() && istr(found->first) == name ? found->second : nullptr;
}

XMLNode::ChildMap& XMLNode::childMap() const {
    if (ChildMap* const present = childMap_.load(std::memory_order_acquire)) return *present;
    const Guard guard(mapLock());
    if (ChildMap* const present = childMap_.load(std::memory_order_relaxed)) return *present;
    auto map = std::make_unique<ChildMap>();
    for (XMLNode* const node : children_)
        node->entry_ = map->emplace(node->name_, node);
    childMap_.store(map.get(), std::memory_order_release);
    return *map.release();
}

// Enters the child under its new name, before it has it. A failure changes nothing.
void XMLNode::prepareRename(XMLNode* child, const String& newName) {
    const bool mapped = childMap_.load(std::memory_order_relaxed) != nullptr;
    // Without a map the order of the children stands for that of equal names.
    if (!mapped && child == children_.back()) return;
    ChildMap& map = childMap();
    const ChildMap::iterator entry = map.emplace(newName, child);
    map.erase(child->entry_);
    child->entry_ = entry;
}

// Makes what was taken from another node this one's.
void XMLNode::belong() noexcept {
    if (attrs_ != nullptr) attrs_->belongTo(this);
    for (XMLNode* const child : children_)
        child->parent_ = child->holder_ = this;
}

void XMLNode::destroy(XMLNode* node) noexcept {
    if (node->pooled_) {
        node->XMLNode::~XMLNode();
    } else {
        delete node;
    }
}

std::ostream& operator<<(std::ostream& os, const XMLNode& node) {
    return os << node.str(true, 0);
}

}  // namespace qor
