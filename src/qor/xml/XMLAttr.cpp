#include "qor/xml/XMLAttr.h"

#include <new>
#include <ostream>
#include <tuple>

#include "base/node_memory.h"
#include "qor/log/log_dumper.h"
#include "qor/xml/xml_escape.h"
#include "xml/attr_map.h"
#include "xml/pool.h"

namespace qor {

template class CreateByAllocate<null_attr>;

namespace {

constexpr ulong32 kFirstCapacity = 4;
// A chunk's capacity doubles, and has 31 bits.
constexpr ulong32 kMost = 1U << 30;

void* allocate(std::size_t size, xml::Pool* pool, const char* func) {
    return pool != nullptr ? pool->take(size) : newNode(size, __FILE__, __LINE__, func);
}

}  // namespace

XMLAttr& XMLAttr::operator=(const XMLAttr& other) {
    String newValue = other.value_;
    String newName = other.name_;
    rename(newName);
    value_.swap(newValue);
    node_ = other.node_;
    return *this;
}

void XMLAttr::name(istr text) {
    String newName(text);
    rename(newName);
}

// A failure changes nothing.
void XMLAttr::rename(String& newName) {
    if (key_ == &name_ && newName != name_) key_ = new String(name_);
    name_.swap(newName);
}

const XMLAttr& XMLAttr::null() {
    return *CreateByAllocate<null_attr>::instance();
}

void XMLAttr::destroy_null() noexcept {
    CreateByAllocate<null_attr>::destroy();
}

String XMLAttr::str() const {
    String text;
    appendTo(text);
    return text;
}

void XMLAttr::appendTo(String& out) const {
    if (name_.empty()) return;
    out += ' ';
    out += name_;
    out.append("=\"", 2);
    xml::escape(out, value_);
    out += '"';
}

dumper& XMLAttr::dump(dumper& d) const {
    return d.raw(str());
}

std::ostream& operator<<(std::ostream& os, const XMLAttr& attr) {
    return os << attr.str();
}

bool XMLAttrMap::ByName::operator()(const XMLAttr* left, const XMLAttr* right) const noexcept {
    return *left->key_ < *right->key_;
}

bool XMLAttrMap::ByName::operator()(const XMLAttr* left, istr right) const noexcept {
    return istr(*left->key_) < right;
}

bool XMLAttrMap::ByName::operator()(istr left, const XMLAttr* right) const noexcept {
    return left < istr(*right->key_);
}

void XMLAttrMap::Release::operator()(XMLAttrMap* map) const noexcept {
    const bool pooled = map->pooled_;
    map->~XMLAttrMap();
    if (!pooled) deleteNode(map, __FILE__, __LINE__, "qor::XMLNode::clearAttrs");
}

XMLAttrMap::Owner XMLAttrMap::create(xml::Pool* pool) {
    void* const memory = allocate(sizeof(XMLAttrMap), pool, "qor::XMLNode::addAttr");
    return Owner(::new (memory) XMLAttrMap(pool != nullptr));
}

XMLAttrMap::~XMLAttrMap() {
    if (plain_) return;
    while (first_ != nullptr) {
        Chunk* const chunk = std::exchange(first_, first_->next);
        for (ulong32 i = 0; i < chunk->size; ++i)
            chunk->at(i)->XMLAttr::~XMLAttr();
        if (!chunk->pooled) {
            deleteNode(chunk, __FILE__, __LINE__, "qor::XMLNode::clearAttrs");
        }
    }
}

XMLAttr* XMLAttrMap::listedAt(unsigned long position) const noexcept {
    if (position >= listed()) return nullptr;
    if (isRepeated()) return extra_->order[position];
    Chunk* chunk = first_;
    for (; position >= chunk->size; chunk = chunk->next)
        position -= chunk->size;
    return chunk->at(static_cast<ulong32>(position));
}

XMLAttr* XMLAttrMap::search(istr name) const noexcept {
    return search(name, markOf(name));
}

XMLAttr* XMLAttrMap::searchIndex(istr name) const noexcept {
    const auto found = extra_->index.find(name);
    return found != extra_->index.end() ? *found : nullptr;
}

const XMLAttr* XMLAttrMap::after(const XMLAttr* at) const noexcept {
    if (size_ > kSearched) {
        const Index& index = extra_->index;
        const auto next = at != nullptr ? index.upper_bound(istr(*at->key_)) : index.begin();
        return next != index.end() ? *next : nullptr;
    }
    const XMLAttr* next = nullptr;
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (ulong32 i = 0; i < chunk->size; ++i) {
            const XMLAttr* const attr = chunk->at(i);
            const bool isBehind = at == nullptr || *at->key_ < *attr->key_;
            if (isBehind && (next == nullptr || *attr->key_ < *next->key_)) next = attr;
        }
    }
    return next;
}

XMLAttr& XMLAttrMap::add(istr name, String&& value, XMLNode* node, xml::Pool* pool) {
    plain_ = false;
    const unsigned long long mark = markOf(name);
    if (XMLAttr* const present = search(name, mark)) {
        listAgain(present);
        present->value_ = std::move(value);
        return *present;
    }
    return addNew(
        mark, [name] { return String(name); }, [&value] { return String(std::move(value)); }, node,
        pool);
}

XMLAttrMap::Extra& XMLAttrMap::extra() {
    if (extra_ == nullptr) extra_ = std::make_unique<Extra>();
    return *extra_;
}

void XMLAttrMap::listAgain(XMLAttr* attr) {
    Order& order = extra().order;
    if (order.empty()) {
        Order all;
        all.reserve(size_ + 1UL);
        visitListed([&all](XMLAttr& listed) { all.push_back(&listed); });
        all.push_back(attr);
        order.swap(all);
    } else {
        order.push_back(attr);
    }
}

XMLAttr* XMLAttrMap::slotInNewChunk(xml::Pool* pool) {
    if (size_ > kMost) throw std::bad_alloc();
    const ulong32 doubled = last_ != nullptr ? 2 * last_->capacity : kFirstCapacity;
    const ulong32 capacity = pool != nullptr ? 1 : doubled;
    void* const memory =
        allocate(sizeof(Chunk) + capacity * sizeof(XMLAttr), pool, "qor::XMLNode::addAttr");
    auto* const chunk = ::new (memory) Chunk{nullptr, capacity, 0, pool != nullptr};
    (last_ != nullptr ? last_->next : first_) = chunk;
    last_ = chunk;
    return chunk->at(0);
}

void XMLAttrMap::index(XMLAttr* attr) {
    Index& index = extra().index;
    if (!index.empty()) {
        index.insert(attr);
        return;
    }
    Index all;
    visitChunks([&all](XMLAttr& stored) { all.insert(&stored); });
    index.swap(all);
}

void XMLAttrMap::belongTo(XMLNode* node) noexcept {
    visitChunks([node](XMLAttr& attr) { attr.node_ = node; });
}

}  // namespace qor
