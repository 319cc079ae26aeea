#ifndef QOR_TOOLS_INSPECT_EVENTS_H
#define QOR_TOOLS_INSPECT_EVENTS_H

#include "qor/base/base_type_view.h"

namespace tools {

using qor::istr;

// A tree of any format, as a walk through it. A reader tells it, a writer shows it, and filters
// stand between them; none of them holds the tree, and none takes the stack by its depth.

enum class Kind { Null, Boolean, Number, Text, Bytes };

struct Scalar {
    Kind kind;
    istr text;  // of Bytes: the bytes; of Null: nothing
};

enum class Part { Item, Attribute, Content };

// What stands in front of a value. Views are good for the call alone.
struct Label {
    istr key;   // a name, or the digits of an nbr tag; null for none
    istr type;  // of a pml unit
    Part part = Part::Item;
    bool isTag = false;
};

// How the items of a container are told apart.
enum class Shape {
    Map,    // by keys, each of which is there once
    List,   // by their place
    Pairs,  // by keys, some of which are there more than once, or by neither
};

class Sink {
public:
    virtual ~Sink() = default;
    // A container; `isChain` tells that all below it are only children.
    virtual void begin(const Label& label, Shape shape, bool isChain) = 0;
    virtual void leaf(const Label& label, const Scalar& value) = 0;
    virtual void end() = 0;
    // A container whose content is not shown.
    virtual void elided(const Label& label, Shape shape) = 0;
    // After the last value.
    virtual void finish() {}
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_EVENTS_H
