#ifndef QOR_SRC_XML_ATTR_MAP_H
#define QOR_SRC_XML_ATTR_MAP_H

#include "qor/xml/XMLAttr.h"

namespace qor {

// The attributes stand behind the chunk.
struct alignas(std::max_align_t) XMLAttrMap::Chunk {
    Chunk* next;
    unsigned long capacity;
    unsigned long size;
    bool pooled;

    value_type* at(unsigned long i) noexcept { return reinterpret_cast<value_type*>(this + 1) + i; }
};

template <class Visit>
void XMLAttrMap::visitListed(Visit visit) const {
    if (order_ != nullptr) {
        for (value_type* const attr : *order_)
            visit(*attr);
        return;
    }
    for (Chunk* chunk = first_; chunk != nullptr; chunk = chunk->next) {
        for (unsigned long i = 0; i < chunk->size; ++i)
            visit(*chunk->at(i));
    }
}

}  // namespace qor

#endif  // QOR_SRC_XML_ATTR_MAP_H
