#include "qor/xml/XMLNode.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <ostream>
#include <utility>

#include "base/arena.h"
#include "platform/first_use.h"
#include "qor/log/log_dumper.h"
#include "qor/mt/quick_mutex.h"
#include "xml/attr_map.h"
#include "xml/escape.h"
#include "xml/node.h"
#include "xml/pool.h"

namespace qor {

template class CreateByAllocate<null_node>;

namespace {

constexpr unsigned kTab = 4;

// Held while a const operation stores a new list or map; one lock for all nodes is sufficient. They
// are built before: that may take long, and neither the readers of other trees nor a fork may have
// to wait for it. Not a Mutex, which would take longer than building the list of a few children.
constinit QuickMutex looksLock;

}  // namespace

// Writes an element and its descendants without recursion: the elements that are not complete are
// on a separate stack.
class XMLNode::Writer {
public:
    Writer(String& out, bool pretty, unsigned depth) : out_(out), pretty_(pretty), depth_(depth) {}

    void write(const XMLNode& root) {
        open(root);
        while (!open_.empty()) {
            Level& level = open_.back();
            if (level.next == nullptr) {
                close(*level.node);
                open_.pop_back();
            } else {
                const XMLNode& child = *level.next;
                level.next = child.next_;
                inner();
                open(child);
            }
        }
    }

private:
    struct Level {
        const XMLNode* node;
        const XMLNode* next;  // the next child
    };

    void open(const XMLNode& node) {
        const bool hasChildren = node.numofChildren() != 0;
        if (hasChildren) open_.push_back({&node, node.first_});
        // `inner` is at the level of the node's content.
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

    // Returns whether an attribute is on its own line.
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
    if (ownsPool() && pool_->isPlain()) {
        static_cast<void>(attrs_.release());
    } else {
        destroyAll(first_);
        attrs_.reset();
        delete childMap_.load(std::memory_order_relaxed);
    }
    if (ownsPool()) pool_->~Pool();
}

XMLNode& XMLNode::assign(const XMLNode& other) {
    if (this == &other) return *this;
    XMLNode copy(other);
    const bool listed = listed_.load(std::memory_order_relaxed);
    if (listed) static_cast<void>(copy.makeList());
    ChildMap* const map = childMap_.load(std::memory_order_relaxed);
    ChildMap* const newMap = map != nullptr ? &copy.childMap() : nullptr;
    // The last step that can raise.
    name(copy.name_);
    clearNodes();
    cdata_.swap(copy.cdata_);
    attrs_.swap(copy.attrs_);
    if (listed) list_.swap(copy.list_);
    if (map != nullptr) map->swap(*newMap);
    entered_ = false;
    first_ = std::exchange(copy.first_, nullptr);
    last_ = copy.last_;
    size_ = copy.size_;
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
    touch();
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
    touch();
    XMLAttr* const present = attrs_ != nullptr ? attrs_->search(name) : nullptr;
    return present != nullptr ? *present : addListed(name, String());
}

const XMLAttr& XMLNode::attr(istr name) const {
    const XMLAttr* const found = attrs_ != nullptr ? attrs_->search(name) : nullptr;
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

namespace {
const platform::MadeAtLoad madeAtLoad([] { XMLNode("", nullptr).getAttrMap(); });
}  // namespace

void XMLNode::addAttr(istr name, istr value) {
    addListed(name, String(value));
}

XMLAttr& XMLNode::addListed(istr name, String&& value) {
    touch();
    if (attrs_ != nullptr) return attrs_->add(name, std::move(value), this);
    XMLAttrMap::Owner attrs = XMLAttrMap::create(nullptr);
    XMLAttr& added = attrs->add(name, std::move(value), this);
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
    if (index >= size_) return null();
    if (size_ > kSearched) return *getChildNodes()[index];
    const XMLNode* child = first_;
    for (; index != 0; --index)
        child = child->next_;
    return *child;
}

const XMLNode::ChildMap& XMLNode::getChildNodeMap() const {
    return childMap();
}

void XMLNode::getChildren(istr name, std::vector<XMLNode*>& found) const {
    std::vector<XMLNode*> all;
    if (isSearched()) {
        for (XMLNode* child = first_; child != nullptr; child = child->next_) {
            if (istr(child->name_) == name) all.push_back(child);
        }
        return found.swap(all);
    }
    const auto [first, last] = childMap().equal_range(name);
    for (auto entry = first; entry != last; ++entry)
        all.push_back(entry->second);
    found.swap(all);
}

void XMLNode::addChildNode(XMLNode* node) {
    if (node == nullptr) return;
    touch();
    link(node);
}

XMLNode* XMLNode::addChildNode(istr name) {
    std::unique_ptr<XMLNode> node(new (__FILE__, __LINE__, "qor::XMLNode::addChildNode")
                                      XMLNode(name, nullptr));
    addChildNode(node.get());
    return node.release();
}

void XMLNode::clearNodes() noexcept {
    touch();
    if (ChildMap* const map = childMap_.load(std::memory_order_relaxed)) map->clear();
    list_.clear();
    last_ = nullptr;
    size_ = 0;
    destroyAll(std::exchange(first_, nullptr));
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
    return newBlock(size, func, file, line);
}

void XMLNode::operator delete(void* ptr) noexcept {
    deleteBlock(ptr, "qor::XMLNode::~XMLNode");
}

void XMLNode::operator delete(void* ptr, const char* file, unsigned line,
                              const char* func) noexcept {
    deleteBlock(ptr, func, file, line);
}

bool XMLNode::ownsPool() const noexcept {
    return pool_ != nullptr && &pool_->root() == this;
}

void XMLNode::touchPool() noexcept {
    pool_->touch();
}

void XMLNode::copyFrom(const XMLNode& other) {
    struct Copying {
        const XMLNode* next;  // the next child to be copied
        XMLNode* to;
    };
    copyOwn(other);
    std::vector<Copying> open{{other.first_, this}};
    while (!open.empty()) {
        Copying& copying = open.back();
        if (copying.next == nullptr) {
            open.pop_back();
            continue;
        }
        const XMLNode& from = *copying.next;
        copying.next = from.next_;
        XMLNode* const to = copying.to->addChildNode(istr());
        to->copyOwn(from);
        if (from.first_ != nullptr) open.push_back({from.first_, to});
    }
}

void XMLNode::copyOwn(const XMLNode& other) {
    // Without name(), since there is no map yet to be updated.
    name_ = other.name_;
    cdata_ = other.cdata_;
    if (other.attrs_ == nullptr) return;
    const bool repeats = other.attrs_->listed() != other.attrs_->size();
    other.attrs_->visitListed([this, repeats](const XMLAttr& attr) {
        // The value of a name that is listed again is already copied.
        XMLAttr* const present =
            repeats && attrs_ != nullptr ? attrs_->search(*attr.key_) : nullptr;
        if (present != nullptr) return attrs_->note(*present, true);
        XMLAttr& added = addListed(*attr.key_, String(attr.value_));
        if (attr.key_ != &attr.name_) added.name(attr.name_);
    });
}

// Whether the order of the children is also the order of equal names.
bool XMLNode::isSearched() const noexcept {
    return size_ <= kSearched && childMap_.load(std::memory_order_relaxed) == nullptr;
}

XMLNode* XMLNode::find(istr name) const {
    if (isSearched()) {
        XMLNode* child = first_;
        while (child != nullptr && !isSameName(child->name_, name))
            child = child->next_;
        return child;
    }
    const ChildMap& map = childMap();
    const auto found = map.lower_bound(name);
    return found != map.end() && istr(found->first) == name ? found->second : nullptr;
}

const std::vector<XMLNode*>& XMLNode::makeList() const {
    if (size_ == 0) {
        listed_.store(true, std::memory_order_release);
        return list_;
    }
    std::vector<XMLNode*> list;
    list.reserve(size_);
    for (XMLNode* child = first_; child != nullptr; child = child->next_)
        list.push_back(child);
    const std::lock_guard guard(looksLock);
    // Another thread may have been faster.
    if (listed_.load(std::memory_order_relaxed)) return list_;
    if (pool_ != nullptr) pool_->remember(*this);
    list_.swap(list);
    listed_.store(true, std::memory_order_release);
    return list_;
}

XMLNode::ChildMap& XMLNode::childMap() const {
    if (ChildMap* const present = childMap_.load(std::memory_order_acquire)) return *present;
    auto map = std::make_unique<ChildMap>();
    // Without entry_: other threads may do the same.
    for (XMLNode* child = first_; child != nullptr; child = child->next_)
        map->emplace(child->name_, child);
    const std::lock_guard guard(looksLock);
    if (ChildMap* const present = childMap_.load(std::memory_order_relaxed)) return *present;
    if (pool_ != nullptr) pool_->remember(*this);
    childMap_.store(map.get(), std::memory_order_release);
    return *map.release();
}

void XMLNode::dropMap() const noexcept {
    delete childMap_.load(std::memory_order_relaxed);
    childMap_.store(nullptr, std::memory_order_relaxed);
    entered_ = false;
}

void XMLNode::dropLooks() const noexcept {
    std::vector<XMLNode*>().swap(list_);
    dropMap();
}

// Enters the child in the map under its new name, before it is renamed. If an exception is raised,
// nothing is changed.
void XMLNode::prepareRename(XMLNode* child, const String& newName) {
    const bool mapped = childMap_.load(std::memory_order_relaxed) != nullptr;
    // Without a map, equal names have the order of the children.
    if (!mapped && child == last_) return;
    ChildMap& map = childMap();
    if (!entered_) findEntries(map);
    const ChildMap::iterator entry = map.emplace(newName, child);
    map.erase(child->entry_);
    child->entry_ = entry;
}

void XMLNode::findEntries(ChildMap& map) noexcept {
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        entry->second->entry_ = entry;
    entered_ = true;
}

// Makes this node the owner of children and attributes that were taken from another node.
void XMLNode::belong() noexcept {
    if (attrs_ != nullptr) attrs_->belongTo(this);
    for (XMLNode* child = first_; child != nullptr; child = child->next_)
        child->parent_ = child->holder_ = this;
}

// Destroys `first` and the nodes after it, with all descendants. They have no holder any more. The
// children of a node are added to the list of remaining nodes, so that neither recursion nor memory
// is needed.
void XMLNode::destroyAll(XMLNode* first) noexcept {
    XMLNode* roots = nullptr;
    while (first != nullptr) {
        XMLNode* const node = std::exchange(first, first->next_);
        if (node->ownsPool() && node->pool_->isPlain()) {
            delete node;
            continue;
        }
        if (node->first_ != nullptr) {
            node->last_->next_ = std::exchange(first, node->first_);
            node->first_ = node->last_ = nullptr;
            node->size_ = 0;
            // The destructor of a derived class may still look at the node.
            if (node->pool_ == nullptr) node->dropLooks();
        }
        if (node->ownsPool()) {
            // The other nodes of a parsed tree are in its memory, which the root frees.
            node->next_ = std::exchange(roots, node);
        } else if (node->pool_ != nullptr) {
            node->XMLNode::~XMLNode();
        } else {
            // The destructor of a derived class may rename the node.
            node->parent_ = node->holder_ = nullptr;
            delete node;
        }
    }
    while (roots != nullptr)
        delete std::exchange(roots, roots->next_);
}

std::ostream& operator<<(std::ostream& os, const XMLNode& node) {
    return os << node.str(true, 0);
}

}  // namespace qor
