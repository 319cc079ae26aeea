#ifndef QOR_SRC_XML_ATTR_MAP_H
#define QOR_SRC_XML_ATTR_MAP_H

#include <new>

#include "base/same_name.h"
#include "qor/xml/XMLAttr.h"
#include "xml/parsed_text.h"
#include "xml/pool.h"

namespace qor {

template <class Visit>
void XMLAttrMap::visitListed(Visit visit) const {
    if (extra_ != nullptr) {
        for (XMLAttr* const attr : extra_->order)
            visit(*attr);
        return;
    }
    for (XMLAttr* attr = first_; attr != nullptr; attr = attr->next_)
        visit(*attr);
}

// In a header, so that it is compiled into the parser.

inline XMLAttr::XMLAttr(const xml::ParsedText& name, const xml::ParsedText& value, XMLNode* node)
    : name_(name.str()), value_(value.str()), node_(node), key_(&name_) {}

inline XMLAttr* XMLAttrMap::searchOneByOne(istr name) const noexcept {
    for (XMLAttr* attr = first_; attr != nullptr; attr = attr->next_) {
        if (isSameName(*attr->key_, name)) return attr;
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

inline XMLAttrMap* XMLAttrMap::createIn(xml::Pool& pool) {
    return ::new (pool.take(sizeof(XMLAttrMap))) XMLAttrMap(true);
}

// Whether a parser may still add attributes in the memory of the tree. If not, addParsed requires
// that marks_ is kAllMarks.
inline bool XMLAttrMap::isRow() const noexcept {
    return heapSize_ == 0 && extra_ == nullptr && size_ < kSearched;
}

inline void XMLAttrMap::append(XMLAttr& attr) noexcept {
    (last_ != nullptr ? last_->next_ : first_) = &attr;
    last_ = &attr;
    ++size_;
}

inline XMLAttr& XMLAttrMap::addParsed(const xml::ParsedText& name, const xml::ParsedText& value,
                                      XMLNode* node, xml::Pool& pool) {
    const unsigned long long mark = markOf(name.view());
    if ((marks_ & mark) != 0 && (!isRow() || searchOneByOne(name.view()) != nullptr)) [[unlikely]] {
        pool.touch();
        return add(name.view(), value.str(), node);
    }
    if (!name.fitsInPlace() || !value.fitsInPlace()) pool.touch();
    auto* const attr = ::new (pool.take(sizeof(XMLAttr))) XMLAttr(name, value, node);
    if (last_ == nullptr) {
        first_ = attr;
        row_ = 1;
    } else {
        last_->next_ = attr;
        if (row_ == size_ && attr == last_ + 1) ++row_;
    }
    last_ = attr;
    ++size_;
    marks_ = size_ < kSearched ? marks_ | mark : kAllMarks;
    return *attr;
}

}  // namespace qor

#endif  // QOR_SRC_XML_ATTR_MAP_H
