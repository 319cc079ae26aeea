#ifndef QOR_SRC_XML_ATTR_MAP_H
#define QOR_SRC_XML_ATTR_MAP_H

#include "qor/xml/XMLAttr.h"

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

}  // namespace qor

#endif  // QOR_SRC_XML_ATTR_MAP_H
