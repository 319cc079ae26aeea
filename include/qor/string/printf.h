#ifndef QOR_STRING_PRINTF_H
#define QOR_STRING_PRINTF_H

#include <utility>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// A format whose tags are replaced one by one. A tag begins with the flag character and ends with
// the next right character; all other text is literal.
//
//     const Printf greeting("Hello %{name}, it is %{time}.");
//     greeting.replaceNext(name).replaceNext(Time::now().toDateTime()).str();
//
// The format is parsed once, at construction; the object itself is the format's text. Const
// operations change the state of the replacement, so an object belongs to one thread. If an
// operation raises, the object is unchanged.
class QOR_API Printf : public String {
public:
    // The left and the escape character are shown by dump and have no meaning in a format.
    explicit Printf(const char* format, char flag = '%', char left = '{', char right = '}',
                    char escape = '\\');
    Printf(const Printf&) = default;
    Printf(Printf&&) noexcept = default;
    Printf& operator=(const Printf& other) { return *this = Printf(other); }
    Printf& operator=(Printf&&) noexcept = default;

    // Replaces the next tag with the value. Appends the value if no tag is left.
    const Printf& replaceNext(istr value) const;
    // The text so far; tags that have not been replaced are unchanged in it. Valid until the next
    // call.
    const String& str() const;
    // Starts the replacement over.
    const Printf& reset() const noexcept;

    dumper& dump(dumper& d) const;

private:
    // A literal or a tag: where it begins and ends in the format.
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
