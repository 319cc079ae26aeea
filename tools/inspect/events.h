#ifndef QOR_TOOLS_INSPECT_EVENTS_H
#define QOR_TOOLS_INSPECT_EVENTS_H

#include <string>

#include "qor/base/base_type_view.h"

namespace tools {

using qor::istr;

// A tree of any format, as a sequence of events. A reader emits the events, filters select some of
// them, and a writer shows them. None of them holds the tree, and the stack use of none grows with
// its depth.

enum class Kind { Null, Boolean, Number, Text, Bytes };

struct Scalar {
    Kind kind;
    istr text;       // for Bytes, the bytes; for Null, empty
    istr encoded{};  // the Base64 of which text is the content; null for all other values
};

enum class Part { Item, Attribute, Content };

// The label of a value. Its views are valid only during the call.
struct Label {
    istr key;   // a name, or the digits of an nbr tag; null if there is none
    istr type;  // the type of a pml unit
    Part part = Part::Item;
    bool isTag = false;
};

// The key in formats without attributes: the name of an attribute has an "@" before it.
inline std::string keyOf(const Label& label) {
    return (label.part == Part::Attribute ? "@" : "") + std::string(label.key);
}

// How the items of a container are labelled.
enum class Shape {
    Map,    // by keys, which are all different
    List,   // by position
    Pairs,  // by keys, some of which are repeated, or only some items have a key
};

class Sink {
public:
    virtual ~Sink() = default;
    // The beginning of a container. `isChain`: neither it nor a container below it has more than
    // one item.
    virtual void begin(const Label& label, Shape shape, bool isChain) = 0;
    virtual void leaf(const Label& label, const Scalar& value) = 0;
    virtual void end() = 0;
    // A container whose content is not shown.
    virtual void elided(const Label& label, Shape shape) = 0;
    // Called after the last event of a document.
    virtual void finish() {}
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_EVENTS_H
