#ifndef QOR_STRING_MULTI_STRING_H
#define QOR_STRING_MULTI_STRING_H

#include <list>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// A text and its parts, as a separator splits it. Its own text is the whole text. The operations
// below keep text and parts in step; what a String or std::string operation does to the text
// reaches the parts at the next split(). An operation that raises leaves the object as it was.
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

    // A further part. The separator stands in front of it, unless it is the first one.
    MultiString& add(istr part);
    MultiString& clear() noexcept;

    // Makes the parts from the text. A text that ends in a separator has an empty last part, and an
    // empty text no parts at all. An empty separator splits into single characters, and it is
    // meant that the terminator is one of them: the last part is one zero byte.
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
