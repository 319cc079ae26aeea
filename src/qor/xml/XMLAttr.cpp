#include "qor/xml/XMLAttr.h"

#include <new>
#include <ostream>
#include <tuple>

#include "pml/memory.h"
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

// The names of attributes often differ in their last character alone.
bool isSame(const String& left, istr right) noexcept {
    const std::size_t size = left.size();
    return size == right.size() &&
           (size == 0 || (left[size - 1] == right[size - 1] && istr(left) == right));
}

// Room for one more.
template <class T>
void makeRoom(std::vector<T>& list) {
    if (list.size() == list.capacity()) list.reserve(2 * list.size() + 1);
}

void* allocate(std::size_t size, xml::Pool* pool, const char* func) {
    return pool != nullptr ? pool->take(size) : pml::ntv::newNode(size, __FILE__, __LINE__, func);
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
    if (!pooled) pml::ntv::deleteNode(map, __FILE__, __LINE__, "qor::XMLNode::clearAttrs");
}

XMLAttrMap::Owner XMLAttrMap::create(xml::Pool* pool) {
    void* const memory = allocate(sizeof(XMLAttrMap), pool, "qor::XMLNode::addAttr");
    return Owner(::new (memory) XMLAttrMap(pool != nullptr));
}

XMLAttrMap::~XMLAttrMap() {
    while (first_ != nullptr) {
        Chunk* const chunk = std::exchange(first_, first_->next);
        for (ulong32 i = 0; i < chunk->size; ++i)
            chunk->at(i)->XMLAttr::~XMLAttr();
        if (!chunk->pooled) {
            pml::ntv::deleteNode(chunk, __FILE__, __LINE__, "qor::XMLNode::clearAttrs");
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

XMLAttr* XMLAttrMap::searchOneByOne(istr name) const noexcept {
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (ulong32 i = 0; i < chunk->size; ++i) {
            if (isSame(*chunk->at(i)->key_, name)) return chunk->at(i);
        }
    }
    return nullptr;
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
    XMLAttr* const present = search(name);
    if (present == nullptr) return addNew(name, std::move(value), node, pool);
    listAgain(present);
    present->value_ = std::move(value);
    return *present;
}

XMLAttr& XMLAttrMap::addPlain(istr name, istr value, XMLNode* node, xml::Pool* pool) {
    if (search(name) != nullptr) return add(name, String(value), node, pool);
    return addNew(name, value, node, pool);
}

template <class Value>
XMLAttr& XMLAttrMap::addNew(istr name, Value&& value, XMLNode* node, xml::Pool* pool) {
    if (isRepeated()) makeRoom(extra_->order);
    XMLAttr* const attr =
        ::new (slot(pool)) XMLAttr(name, std::forward<Value>(value), node, std::true_type());
    ++last_->size;
    if (size_ >= kSearched) {
        try {
            index(attr);
        } catch (...) {
            --last_->size;
            attr->XMLAttr::~XMLAttr();
            throw;
        }
    }
    ++size_;
    if (isRepeated()) extra_->order.push_back(attr);
    return *attr;
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

// Memory for one more; it counts once the size of the chunk says so. In a pool a chunk grows where
// it is as long as nothing else is taken.
XMLAttr* XMLAttrMap::slot(xml::Pool* pool) {
    if (last_ == nullptr) return slotInNewChunk(pool);
    XMLAttr* const next = last_->at(last_->size);
    if (last_->size < last_->capacity) return next;
    if (pool == nullptr || !pool->extend(next, sizeof(XMLAttr))) return slotInNewChunk(pool);
    ++last_->capacity;
    return next;
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
