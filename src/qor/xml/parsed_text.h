#ifndef QOR_SRC_XML_PARSED_TEXT_H
#define QOR_SRC_XML_PARSED_TEXT_H

#include <cstddef>

#include "qor/base/base_type_string.h"

namespace qor::xml {

// A part of the parsed text. kBlock bytes can be read from `from` on, even if the part is shorter:
// copying a constant number of bytes is much faster than copying a variable number, and most parts
// are short.
struct ParsedText {
    static constexpr std::size_t kBlock = 15;

    const char* from;
    const char* to;

    std::size_t size() const noexcept { return static_cast<std::size_t>(to - from); }
    istr view() const noexcept { return istr(from, to); }
    // Whether a String of it needs no allocation.
    bool fitsInPlace() const noexcept { return size() <= kBlock; }
    String str() const { return fitsInPlace() ? shortStr() : String(view()); }

private:
    String shortStr() const {
        String text(from, kBlock);
        // Tells the compiler the size, which it would otherwise test in erase.
        if (text.size() != kBlock) __builtin_unreachable();
        text.erase(size());
        return text;
    }
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_PARSED_TEXT_H
