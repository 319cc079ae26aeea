#ifndef QOR_FUZZ_PML_TREE_H
#define QOR_FUZZ_PML_TREE_H

#include <utility>
#include <vector>

#include "qor/pml/ntv_unit.h"
#include "require.h"

namespace fuzz {

using qor::pml::ntv::Unit;

// Whether two trees have the same names, types and values, at all levels.
inline bool isSame(const Unit& left, const Unit& right) {
    std::vector<std::pair<const Unit*, const Unit*>> open{{&left, &right}};
    while (!open.empty()) {
        const auto [a, b] = open.back();
        open.pop_back();
        const bool isList = a->listValue() != nullptr;
        if (a->name() != b->name() || a->type() != b->type() ||
            a->getStringValue() != b->getStringValue() ||
            (a->value() == nullptr) != (b->value() == nullptr) || a->simple() != b->simple() ||
            a->numofChildren() != b->numofChildren()) {
            return false;
        }
        for (unsigned long i = 0; isList && i < a->numofChildren(); ++i)
            open.emplace_back(a->childAt(i), b->childAt(i));
    }
    return true;
}

// Checks that every child refers to its parent, has its index, and is found by its name or its
// index.
inline bool isSound(const Unit& root) {
    std::vector<const Unit*> open{&root};
    while (!open.empty()) {
        const Unit* const unit = open.back();
        open.pop_back();
        for (unsigned long i = 0; i < unit->numofChildren(); ++i) {
            const Unit* const child = unit->childAt(i);
            if (child->parent() != unit || child->index() != i) return false;
            const qor::String& name = child->name();
            const bool isWay = name == "." || name == ".." || name == "/" || name.starts_with('[');
            if (!name.empty() && !isWay && unit->at(name) != child) return false;
            if (name.empty() && unit->at("[" + std::to_string(i) + "]") != child) return false;
            open.push_back(child);
        }
    }
    return true;
}

}  // namespace fuzz

#endif  // QOR_FUZZ_PML_TREE_H
