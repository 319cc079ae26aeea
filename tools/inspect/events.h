#ifndef QOR_TOOLS_INSPECT_EVENTS_H
#define QOR_TOOLS_INSPECT_EVENTS_H

#include "qor/base/base_type_view.h"

namespace tools {

using qor::istr;

// A tree of any format as a sequence of events. A reader emits them, a writer shows them, and
// filters are between the two. None of them holds the tree, and none uses the stack by its depth.

enum class Kind { Null, Boolean, Number, Text, Bytes };

struct Scalar {
    Kind kind;
    istr text;  // of Bytes: the bytes; of Null: nothing
};

enum class Part { Item, Attribute, Content };

// The label of a value. Views are valid during the call only.
struct Label {
    istr key;   // a name, or the digits of an nbr tag; null for none
    istr type;  // of a pml unit
    Part part = Part::Item;
    bool isTag = false;
};

// How the items of a container are labelled.
enum class Shape {
    Map,    // by keys, each of which is there once
    List,   // by their place
    Pairs,  // by keys, some of which are there more than once, or by neither
};

class Sink {
public:
    virtual ~Sink() = default;
    // A container. `isChain`: everything below it is an only child.
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
