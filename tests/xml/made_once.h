#ifndef QOR_TESTS_XML_MADE_ONCE_H
#define QOR_TESTS_XML_MADE_ONCE_H

#include <string>

#include "qor/xml/XMLNode.h"

namespace qor {

// Has the library make what it makes once and keeps, so that a test that counts blocks does not
// take it for a loss.
inline void makeWhatIsKept() {
    XMLNode many("many", nullptr);
    for (int i = 0; i < 100; ++i)
        many.addChildNode(std::to_string(i));
    many.attr("a");
    const XMLNode& node = many;
    node["none"]["none"]("none");
    XMLAttr::null();
}

}  // namespace qor

#endif  // QOR_TESTS_XML_MADE_ONCE_H
