#ifndef QOR_STRING_UTIL_SPLIT_H
#define QOR_STRING_UTIL_SPLIT_H

#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

// Text splitters. The targets may be the text itself, or contain it. If memory runs out, the
// targets are unchanged.
class QOR_API Util {
public:
    // `first` becomes the text before the first blank, `rest` the text after that blank up to the
    // first line feed, trimmed on the left.
    static void split(const String& text, String& first, String& rest);
    // Appends the items that the separators end, each trimmed on the left unless keepBlanks is
    // true. Text after the last separator is an item too: "a,b" has two items, "a," one, and ""
    // none.
    static void split(const String& text, std::vector<String>& out, char sep,
                      bool keepBlanks = false);
};

}  // namespace qor

#endif  // QOR_STRING_UTIL_SPLIT_H
