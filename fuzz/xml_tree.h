#ifndef QOR_FUZZ_XML_TREE_H
#define QOR_FUZZ_XML_TREE_H

#include <utility>
#include <vector>

#include "qor/xml/XMLNode.h"
#include "require.h"

namespace fuzz {

using qor::XMLNode;

// Whether two trees have the same names, texts and attributes, at all levels.
inline bool isSame(const XMLNode& left, const XMLNode& right) {
    std::vector<std::pair<const XMLNode*, const XMLNode*>> open{{&left, &right}};
    while (!open.empty()) {
        const auto [a, b] = open.back();
        open.pop_back();
        if (a->name() != b->name() || a->cdata() != b->cdata() ||
            a->getAttrNames() != b->getAttrNames() || a->numofChildren() != b->numofChildren()) {
            return false;
        }
        for (const auto& [name, attr] : a->getAttrMap()) {
            if (b->attr(name).value() != attr.value()) return false;
        }
        for (unsigned long i = 0; i < a->numofChildren(); ++i)
            open.emplace_back(&a->child(i), &b->child(i));
    }
    return true;
}

// Checks that every child refers to its parent and is found by its name, and that every attribute
// refers to its node.
inline bool isSound(const XMLNode& root) {
    std::vector<const XMLNode*> open{&root};
    while (!open.empty()) {
        const XMLNode* const node = open.back();
        open.pop_back();
        auto inOrder = node->children().begin();
        for (const XMLNode* const child : node->getChildNodes()) {
            if (&*inOrder++ != child) return false;
            if (child->parent() != node) return false;
            open.push_back(child);
            // A list of names for each child of a very large node would take too long.
            if (node->numofChildren() > 1000) continue;
            std::vector<XMLNode*> named;
            node->getChildren(child->name(), named);
            if (named.front() != &node->child(child->name())) return false;
        }
        unsigned long counted = 0;
        qor::String before;
        for (const auto& [name, attr] : node->getAttrMap()) {
            if (attr.node() != node || &node->attr(name) != &attr) return false;
            if (counted++ != 0 && !(before < name)) return false;
            before = name;
        }
        if (counted != node->getAttrMap().size() || counted > node->numofAttrs()) return false;
        if (node->getChildNodeMap().size() != node->numofChildren()) return false;
    }
    return true;
}

}  // namespace fuzz

#endif  // QOR_FUZZ_XML_TREE_H
