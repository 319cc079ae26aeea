#ifndef QOR_SRC_XML_ATTR_MAP_H
#define QOR_SRC_XML_ATTR_MAP_H

#include <new>
#include <type_traits>
#include <utility>

#include "qor/xml/XMLAttr.h"
#include "xml/parsed_text.h"
#include "xml/pool.h"

namespace qor {

// The attributes stand behind the chunk.
struct XMLAttrMap::Chunk {
    Chunk* next;
    ulong32 capacity;
    ulong32 size : 31;
    ulong32 pooled : 1;

    XMLAttr* at(ulong32 i) noexcept { return reinterpret_cast<XMLAttr*>(this + 1) + i; }
};

template <class Visit>
void XMLAttrMap::visitListed(Visit visit) const {
    if (isRepeated()) {
        for (XMLAttr* const attr : extra_->order)
            visit(*attr);
        return;
    }
    visitChunks(visit);
}

template <class Visit>
void XMLAttrMap::visitChunks(Visit visit) const {
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (ulong32 i = 0; i < chunk->size; ++i)
            visit(*chunk->at(i));
    }
}

// What follows is here to be compiled into the parser.

inline XMLAttr* XMLAttrMap::searchOneByOne(istr name) const noexcept {
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (ulong32 i = 0; i < chunk->size; ++i) {
            const String& key = *chunk->at(i)->key_;
            // Names often differ in their last character alone.
            if (key.size() != name.size()) continue;
            if (key.empty() || (key.back() == name[name.size() - 1] && istr(key) == name)) {
                return chunk->at(i);
            }
        }
    }
    return nullptr;
}

inline XMLAttr* XMLAttrMap::search(istr name, unsigned long long mark) const noexcept {
    if ((marks_ & mark) == 0) return nullptr;
    return size_ <= kSearched ? searchOneByOne(name) : searchIndex(name);
}

inline unsigned long long XMLAttrMap::markOf(istr name) noexcept {
    if (name.empty()) return 1;
    const auto first = static_cast<unsigned char>(name[0]);
    const auto last = static_cast<unsigned char>(name[name.size() - 1]);
    return 1ULL << ((name.size() + first * 4U + last) % 64);
}

// Memory for one more; it counts once the size of the chunk says so. In a pool a chunk grows where
// it is as long as nothing else is taken.
inline XMLAttr* XMLAttrMap::slot(xml::Pool* pool) {
    if (last_ == nullptr) return slotInNewChunk(pool);
    XMLAttr* const next = last_->at(last_->size);
    if (last_->size < last_->capacity) return next;
    if (pool == nullptr || !pool->extend(next, sizeof(XMLAttr))) return slotInNewChunk(pool);
    ++last_->capacity;
    return next;
}

template <class MakeName, class MakeValue>
XMLAttr& XMLAttrMap::addNew(unsigned long long mark, const MakeName& makeName,
                            const MakeValue& makeValue, XMLNode* node, xml::Pool* pool) {
    if (isRepeated()) {
        Order& order = extra_->order;
        if (order.size() == order.capacity()) order.reserve(2 * order.size());
    }
    XMLAttr* const attr = ::new (slot(pool)) XMLAttr(makeName, makeValue, node, std::true_type());
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
    marks_ |= mark;
    if (isRepeated()) extra_->order.push_back(attr);
    return *attr;
}

inline XMLAttr& XMLAttrMap::addParsed(const xml::ParsedText& name, const xml::ParsedText& value,
                                      XMLNode* node, xml::Pool* pool) {
    const unsigned long long mark = markOf(name.view());
    if (search(name.view(), mark) != nullptr) return add(name.view(), value.str(), node, pool);
    plain_ = plain_ && name.fitsInPlace() && value.fitsInPlace();
    return addNew(
        mark, [name] { return name.str(); }, [value] { return value.str(); }, node, pool);
}

}  // namespace qor

#endif  // QOR_SRC_XML_ATTR_MAP_H
