#include "qor/string/util_split.h"

#include <iterator>
#include <utility>

#include "qor/string/string_slice.h"

namespace qor {

namespace {

// Not istr::trimLeft, which also reads the byte after the view: that is the separator.
istr trimmedLeft(istr text) noexcept {
    while (!text.empty() && CharIsSpace(*text))
        ++text;
    return text;
}

}  // namespace

void Util::split(const String& text, String& first, String& rest) {
    StringSlice slice(text);
    String head(slice.readUntil(" "));
    String tail(trimmedLeft(slice.readUntil("\n")));
    first = std::move(head);
    rest = std::move(tail);
}

void Util::split(const String& text, std::vector<String>& out, char sep, bool keepBlanks) {
    std::vector<String> items;
    for (StringSlice slice(text); !slice.eof();) {
        const istr item = slice.readUntil(istr(&sep, 1));
        items.emplace_back(keepBlanks ? item : trimmedLeft(item));
    }
    out.insert(out.end(), std::make_move_iterator(items.begin()),
               std::make_move_iterator(items.end()));
}

}  // namespace qor
