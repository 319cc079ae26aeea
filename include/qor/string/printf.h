#ifndef QOR_STRING_PRINTF_H
#define QOR_STRING_PRINTF_H

#include <utility>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// A format whose tags are replaced one after the other. A tag begins with the flag character and
// ends with the next `right` character, or at the end of the format; all other text is literal.
//
//     const Printf greeting("Hello %{name}, it is %{time}.");
//     greeting.replaceNext(name).replaceNext(Time::now().toDateTime()).str();
//
// The object itself is the format's text; the constructor parses it. Const operations change the
// state of the replacement, so only one thread may use an object. If an operation raises, the
// object is unchanged.
class QOR_API Printf : public String {
public:
    // `left` and `escape` have no effect on a format; only dump shows them.
    explicit Printf(const char* format, char flag = '%', char left = '{', char right = '}',
                    char escape = '\\');
    Printf(const Printf&) = default;
    Printf(Printf&&) noexcept = default;
    Printf& operator=(const Printf& other) { return *this = Printf(other); }
    Printf& operator=(Printf&&) noexcept = default;

    // Replaces the next tag with the value. Appends the value if no tag is left.
    const Printf& replaceNext(istr value) const;
    // The text with the replacements so far; the other tags are unchanged. Valid until the next
    // call of str().
    const String& str() const;
    // Starts again at the first tag, with no replacements.
    const Printf& reset() const noexcept;

    dumper& dump(dumper& d) const;

private:
    // The begin and the end of a literal or a tag in the format.
    using Piece = std::pair<size_type, size_type>;

    void parse();
    istr piece(ulong32 i) const noexcept;

    std::vector<Piece> tags_;
    char flag_;
    char left_;
    char right_;
    char escape_;
    mutable ulong32 curr_ = 0;  // the next piece to use
    mutable String tempbuf_;    // the text so far
    mutable String result_;
};

}  // namespace qor

#endif  // QOR_STRING_PRINTF_H
