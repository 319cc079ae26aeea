#ifndef QOR_STRING_MULTI_STRING_H
#define QOR_STRING_MULTI_STRING_H

#include <list>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// A text and the parts into which a separator splits it. The object itself is the whole text. The
// operations below keep text and parts consistent. After a change by an operation of String or
// std::string, call split() to update the parts. If an operation raises, the object is unchanged.
class QOR_API MultiString : public String {
public:
    MultiString(istr full, istr sep);
    // The text is the parts, joined; the separator is empty.
    explicit MultiString(const std::list<String>& parts);
    MultiString(const MultiString&) = default;
    MultiString(MultiString&&) noexcept = default;
    MultiString& operator=(const MultiString& other) { return *this = MultiString(other); }
    MultiString& operator=(MultiString&&) noexcept = default;

    const String& full() const noexcept { return *this; }
    const std::list<String>& list() const noexcept { return list_; }
    const String& separator() const noexcept { return sep_; }
    // Set the text and split it.
    MultiString& full(istr text);
    MultiString& set(istr text) { return full(text); }
    // Sets the parts and joins them to the text.
    MultiString& list(const std::list<String>& parts);
    // Sets the separator for later operations; text and parts do not change.
    MultiString& separator(istr sep);

    // Appends a part; a separator is put before it unless it is the first part.
    MultiString& add(istr part);
    MultiString& clear() noexcept;

    // Splits the text into parts. A text that ends in a separator has an empty last part; an empty
    // text has no parts. An empty separator splits into single characters. Deliberate
    // (compatibility): the last part is then the terminator, one zero byte.
    void split();
    // Joins the parts to the text.
    void merge();

    dumper& dump(dumper& d) const;

private:
    std::list<String> list_;
    String sep_;
};

}  // namespace qor

#endif  // QOR_STRING_MULTI_STRING_H
