#ifndef QOR_STRING_UTIL_SPLIT_H
#define QOR_STRING_UTIL_SPLIT_H

#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

// Text splitters. The targets may be, or hold, the text itself; a failed allocation leaves them as
// they were.
class QOR_API Util {
public:
    // `first` gets the text before the first blank, `rest` the text after it up to the first line
    // feed, trimmed on the left.
    static void split(const String& text, String& first, String& rest);
    // Appends the items between the separators, each trimmed on the left unless blanks are kept.
    // Every separator ends an item, and the end of the text ends one that has begun: "a," is one
    // item and "" none.
    static void split(const String& text, std::vector<String>& out, char sep,
                      bool keepBlanks = false);
};

}  // namespace qor

#endif  // QOR_STRING_UTIL_SPLIT_H
