#ifndef QOR_SRC_XML_PARSED_TEXT_H
#define QOR_SRC_XML_PARSED_TEXT_H

#include <cstddef>
#include <string>

#include "qor/base/base_type_string.h"

namespace qor::xml {

// How much text a string holds without memory of its own.
inline const std::size_t kInPlace = std::string().capacity();

// A part of the text that a parser works on. So many bytes can be read from its start on: short
// parts, as most are, are copied by a block of that size, which takes a fraction of a copy of an
// unknown size.
struct ParsedText {
    static constexpr std::size_t kBlock = 15;

    const char* from;
    const char* to;

    std::size_t size() const noexcept { return static_cast<std::size_t>(to - from); }
    istr view() const noexcept { return istr(from, to); }
    bool fitsInPlace() const noexcept { return size() <= kInPlace; }
    String str() const { return size() <= kBlock ? shortStr() : String(view()); }

private:
    String shortStr() const {
        String text(from, kBlock);
        text.erase(size());
        return text;
    }
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_PARSED_TEXT_H
