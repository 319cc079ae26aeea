#ifndef QOR_SRC_XML_NODE_H
#define QOR_SRC_XML_NODE_H

#include <new>

#include "qor/xml/XMLNode.h"
#include "xml/attr_map.h"
#include "xml/parsed_text.h"
#include "xml/pool.h"

// The operations of the parser on each node. In a header, so that they are compiled into it.

namespace qor {

inline XMLNode::XMLNode(const xml::ParsedText& name, xml::Pool* pool)
    : name_(name.str()), pool_(pool) {}

// A failure changes nothing.
inline void XMLNode::link(XMLNode* node) {
    if (listed_.load(std::memory_order_relaxed)) [[unlikely]] {
        touch();
        if (list_.size() == list_.capacity()) list_.reserve(2 * list_.size() + 1);
    }
    if (ChildMap* const map = childMap_.load(std::memory_order_relaxed)) [[unlikely]] {
        node->entry_ = map->emplace(node->name_, node);
    }
    if (listed_.load(std::memory_order_relaxed)) [[unlikely]]
        list_.push_back(node);
    (last_ != nullptr ? last_->next_ : first_) = node;
    last_ = node;
    ++size_;
    node->parent_ = node->holder_ = this;
}

inline XMLNode* XMLNode::addParsed(const xml::ParsedText& name) {
    if (!name.fitsInPlace()) pool_->touch();
    auto* const node = ::new (pool_->take(sizeof(XMLNode))) XMLNode(name, pool_);
    try {
        link(node);
    } catch (...) {
        node->XMLNode::~XMLNode();
        throw;
    }
    return node;
}

inline XMLAttr& XMLNode::addParsedAttr(const xml::ParsedText& name, const xml::ParsedText& value) {
    if (attrs_ == nullptr) attrs_.reset(XMLAttrMap::createIn(*pool_));
    return attrs_->addParsed(name, value, this, *pool_);
}

inline void XMLNode::addParsedText(const xml::ParsedText& text) {
    if (cdata_.empty() && text.fitsInPlace()) {
        // Constructed in place, since an assignment would copy the text once more.
        cdata_.~String();
        ::new (&cdata_) String(text.str());
        return;
    }
    if (cdata_.size() + text.size() > xml::ParsedText::kBlock) pool_->touch();
    cdata_.append(text.from, text.to);
}

}  // namespace qor

#endif  // QOR_SRC_XML_NODE_H
