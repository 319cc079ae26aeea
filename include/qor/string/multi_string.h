#ifndef QOR_STRING_MULTI_STRING_H
#define QOR_STRING_MULTI_STRING_H

#include <list>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// A text and the parts into which a separator splits it. The object itself is the whole text. The
// operations below keep text and parts consistent; changes by operations of String or std::string
// reach the parts at the next split(). If an operation raises, the object is unchanged.
class QOR_API MultiString : public String {
public:
    MultiString(istr full, istr sep);
    // The parts without a separator.
    explicit MultiString(const std::list<String>& parts);
    MultiString(const MultiString&) = default;
    MultiString(MultiString&&) noexcept = default;
    MultiString& operator=(const MultiString& other) { return *this = MultiString(other); }
    MultiString& operator=(MultiString&&) noexcept = default;

    const String& full() const noexcept { return *this; }
    const std::list<String>& list() const noexcept { return list_; }
    const String& separator() const noexcept { return sep_; }
    // Sets the text, and splits it.
    MultiString& full(istr text);
    MultiString& set(istr text) { return full(text); }
    // Sets the parts, and merges them.
    MultiString& list(const std::list<String>& parts);
    // Is the separator of the next operation: neither text nor parts change.
    MultiString& separator(istr sep);

    // Appends a part, after a separator unless it is the first part.
    MultiString& add(istr part);
    MultiString& clear() noexcept;

    // Splits the text into parts. A text that ends in a separator has an empty last part; an empty
    // text has no parts. An empty separator splits into single characters. Deliberate
    // (compatibility): the terminator counts as a character then, and the last part is one zero
    // byte.
    void split();
    // Makes the text from the parts.
    void merge();

    dumper& dump(dumper& d) const;

private:
    std::list<String> list_;
    String sep_;
};

}  // namespace qor

#endif  // QOR_STRING_MULTI_STRING_H
