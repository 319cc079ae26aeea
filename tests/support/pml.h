#ifndef QOR_TESTS_SUPPORT_PML_H
#define QOR_TESTS_SUPPORT_PML_H

#include <string>

#include "qor/pml/ntv_unit.h"
#include "support/formats.h"

namespace support {

// A tree as the tables of the tests show it: "name:type=text", "name:type{child child}", and
// nothing after the type where there is no value. A typed scalar shows as "?". For shallow trees.
inline std::string treeOf(const qor::pml::ntv::Unit& unit) {
    std::string text = unit.name();
    if (!unit.type().empty()) text += ":" + unit.type();
    if (unit.stringValue() != nullptr) return text + "=" + unit.stringValue()->data();
    if (unit.listValue() == nullptr) return text + (unit.value() != nullptr ? "?" : "");
    const char* separator = "{";
    for (const qor::pml::ntv::Unit* child : *unit.listValue()) {
        text += separator + treeOf(*child);
        separator = " ";
    }
    return text + (*separator == '{' ? "{}" : "}");
}

// Whether every child knows its parent and its index, and is found by its name or its index.
inline bool isSound(const qor::pml::ntv::Unit& unit) {
    if (unit.listValue() == nullptr) return true;
    unsigned long index = 0;
    for (const qor::pml::ntv::Unit* child : *unit.listValue()) {
        const qor::String place = "[" + std::to_string(index) + "]";
        const bool named = unit.child(child->name()) == child;
        if (child->parent() != &unit || child->index() != index++ ||
            (!named && unit.at(place) != child) || !isSound(*child)) {
            return false;
        }
    }
    return unit.value()->owner() == &unit;
}

// Nested units, with the content in the innermost one.
inline std::string chain(unsigned long levels, const std::string& content) {
    return repeated("a(", levels) + content + std::string(levels, ')');
}
constexpr unsigned long kDeep = 300000;

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_PML_H
