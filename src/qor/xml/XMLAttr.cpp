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

constexpr unsigned long kFirstCapacity = 4;

// The names of attributes often differ in their last character alone.
bool isSame(const String& left, istr right) noexcept {
    const std::size_t size = left.size();
    return size == right.size() &&
           (size == 0 || (left[size - 1] == right[size - 1] && istr(left) == right));
}

void* allocate(std::size_t size, xml::Pool* pool, const char* func) {
    return pool != nullptr ? pool->take(size) : pml::ntv::newNode(size, __FILE__, __LINE__, func);
}

}  // namespace

XMLAttr& XMLAttr::operator=(const XMLAttr& other) {
    return *this = XMLAttr(other);
}

XMLAttr::~XMLAttr() = default;

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

bool XMLAttrMap::ByName::operator()(const value_type* left,
                                    const value_type* right) const noexcept {
    return left->first < right->first;
}

bool XMLAttrMap::ByName::operator()(const value_type* left, istr right) const noexcept {
    return istr(left->first) < right;
}

bool XMLAttrMap::ByName::operator()(istr left, const value_type* right) const noexcept {
    return left < istr(right->first);
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
        for (unsigned long i = 0; i < chunk->size; ++i)
            chunk->at(i)->~value_type();
        if (!chunk->pooled) {
            pml::ntv::deleteNode(chunk, __FILE__, __LINE__, "qor::XMLNode::clearAttrs");
        }
    }
}

XMLAttrMap::value_type* XMLAttrMap::listedAt(unsigned long position) const noexcept {
    if (position >= listed()) return nullptr;
    if (order_ != nullptr) return (*order_)[position];
    Chunk* chunk = first_;
    for (; position >= chunk->size; chunk = chunk->next)
        position -= chunk->size;
    return chunk->at(position);
}

XMLAttrMap::value_type* XMLAttrMap::search(istr name) const noexcept {
    if (index_ != nullptr) {
        const auto found = index_->find(name);
        return found != index_->end() ? *found : nullptr;
    }
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (unsigned long i = 0; i < chunk->size; ++i) {
            if (isSame(chunk->at(i)->first, name)) return chunk->at(i);
        }
    }
    return nullptr;
}

const XMLAttrMap::value_type* XMLAttrMap::after(const value_type* at) const noexcept {
    if (index_ != nullptr) {
        const auto next = at != nullptr ? index_->upper_bound(istr(at->first)) : index_->begin();
        return next != index_->end() ? *next : nullptr;
    }
    const value_type* next = nullptr;
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (unsigned long i = 0; i < chunk->size; ++i) {
            const value_type* const attr = chunk->at(i);
            const bool isBehind = at == nullptr || at->first < attr->first;
            if (isBehind && (next == nullptr || attr->first < next->first)) next = attr;
        }
    }
    return next;
}

XMLAttr& XMLAttrMap::add(istr name, XMLNode* node, xml::Pool* pool) {
    if (value_type* const present = search(name)) {
        listAgain(present);
        return present->second;
    }
    if (order_ != nullptr) order_->reserve(order_->size() + 1);
    value_type* const attr = ::new (slot(pool))
        value_type(std::piecewise_construct, std::forward_as_tuple(name),
                   std::forward_as_tuple(XMLAttr(name, istr(), node)));
    try {
        index(attr);
    } catch (...) {
        attr->~value_type();
        throw;
    }
    if (order_ != nullptr) order_->push_back(attr);
    ++last_->size;
    ++size_;
    return attr->second;
}

void XMLAttrMap::listAgain(value_type* attr) {
    if (order_ == nullptr) {
        auto order = std::make_unique<std::vector<value_type*>>();
        order->reserve(size_ + 1);
        visitListed([&order](value_type& listed) { order->push_back(&listed); });
        order->push_back(attr);
        order_ = std::move(order);
    } else {
        order_->push_back(attr);
    }
}

// Memory for one more; it counts once the size of the chunk says so.
XMLAttrMap::value_type* XMLAttrMap::slot(xml::Pool* pool) {
    if (last_ == nullptr || last_->size == last_->capacity) {
        const unsigned long capacity = last_ != nullptr ? 2 * last_->capacity : kFirstCapacity;
        void* const memory = allocate(sizeof(Chunk) + capacity * sizeof(value_type), pool,
                                      "qor::XMLNode::addAttr");
        auto* const chunk = ::new (memory) Chunk{nullptr, capacity, 0, pool != nullptr};
        (last_ != nullptr ? last_->next : first_) = chunk;
        last_ = chunk;
    }
    return last_->at(last_->size);
}

void XMLAttrMap::index(value_type* attr) {
    if (index_ != nullptr) {
        index_->insert(attr);
    } else if (size_ == kSearched) {
        auto index = std::make_unique<Index>();
        visitListed([&index](value_type& listed) { index->insert(&listed); });
        index->insert(attr);
        index_ = std::move(index);
    }
}

void XMLAttrMap::belongTo(XMLNode* node) noexcept {
    visitListed([node](value_type& attr) { attr.second.node_ = node; });
}

}  // namespace qor
