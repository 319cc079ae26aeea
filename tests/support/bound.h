#ifndef QOR_TESTS_SUPPORT_BOUND_H
#define QOR_TESTS_SUPPORT_BOUND_H

#include <string>
#include <tuple>
#include <vector>

#include "qor/base/base_type_string.h"
#include "qor/base/field.h"

// User types that the tests of each format bind.

namespace support {

// Members of any types, under the names "m0", "m1" and so on.
template <class... Members>
struct Tuple : std::tuple<Members...> {
    using std::tuple<Members...>::tuple;

    template <class Stream>
    void codec(Stream& s) {
        int i = 0;
        std::apply(
            [&](auto&... member) {
                (field(s, {qor::String("m" + std::to_string(i++)), 1}, member), ...);
            },
            static_cast<std::tuple<Members...>&>(*this));
    }
};
template <class... Members>
Tuple(Members...) -> Tuple<Members...>;

// As deep as one likes.
struct Node {
    std::vector<Node> children;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"children", 1}, children);
    }
};

// The contact of docs/formats.md.
struct Contact {
    qor::String name;
    std::vector<long> numbers;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contact", "contact", "", "");
        field(s, {"name", 1}, name);
        field(s, {"numbers", 2}, numbers);
        s.leave();
    }
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_BOUND_H
