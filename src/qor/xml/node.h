#ifndef QOR_SRC_XML_NODE_H
#define QOR_SRC_XML_NODE_H

#include <algorithm>
#include <cstddef>
#include <new>

#include "qor/xml/XMLNode.h"
#include "xml/parsed_text.h"
#include "xml/pool.h"

// What the parser does with each node, here to be compiled into it.

namespace qor {

inline XMLNode::XMLNode(const xml::ParsedText& name) : name_(name.str()) {}

// Room for one more child.
inline void XMLNode::makeRoom() {
    if (children_.size() < children_.capacity()) return;
    children_.reserve(std::max(kFirstCapacity, 2 * children_.size()));
}

// With room made for it. A failure changes nothing.
inline void XMLNode::link(XMLNode* node) {
    if (ChildMap* const map = childMap_.load(std::memory_order_relaxed)) {
        node->entry_ = map->emplace(node->name_, node);
    }
    children_.push_back(node);
    node->parent_ = node->holder_ = this;
}

inline XMLNode* XMLNode::addPooled(const xml::ParsedText& name, xml::Pool& pool) {
    makeRoom();
    auto* const node = ::new (pool.take(sizeof(XMLNode))) XMLNode(name);
    node->pooled_ = true;
    try {
        link(node);
    } catch (...) {
        destroy(node);
        throw;
    }
    return node;
}

}  // namespace qor

#endif  // QOR_SRC_XML_NODE_H
