#ifndef QOR_TESTS_SUPPORT_LEAF_H
#define QOR_TESTS_SUPPORT_LEAF_H

#include <compare>

#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"

namespace support {

// A small object with a codec.
struct Leaf {
    qor::Long id;
    qor::String text;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Leaf", "leaf", "", "");
        field(s, {"id", 1}, id);
        field(s, {"text", 2}, text);
        s.leave();
    }
    auto operator<=>(const Leaf&) const = default;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_LEAF_H
