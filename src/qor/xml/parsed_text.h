#ifndef QOR_SRC_XML_PARSED_TEXT_H
#define QOR_SRC_XML_PARSED_TEXT_H

#include <cstddef>

#include "qor/base/base_type_string.h"

namespace qor::xml {

// A part of the text that a parser works on. So many bytes can be read from its start on: short
// parts, as most are, are copied by a block of that size, which takes a fraction of a copy of an
// unknown size.
struct ParsedText {
    static constexpr std::size_t kBlock = 15;

    const char* from;
    const char* to;

    std::size_t size() const noexcept { return static_cast<std::size_t>(to - from); }
    istr view() const noexcept { return istr(from, to); }
    // Whether its string needs no memory of its own.
    bool fitsInPlace() const noexcept { return size() <= kBlock; }
    String str() const { return fitsInPlace() ? shortStr() : String(view()); }

private:
    String shortStr() const {
        String text(from, kBlock);
        // The compiler does not see it through the copied bytes, and would look again.
        if (text.size() != kBlock) __builtin_unreachable();
        text.erase(size());
        return text;
    }
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_PARSED_TEXT_H
