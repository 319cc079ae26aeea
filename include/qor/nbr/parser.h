#ifndef QOR_NBR_PARSER_H
#define QOR_NBR_PARSER_H

#include "qor/nbr/lsd.h"
#include "qor/string/string_slice.h"

namespace qor::nbr {

// Parses nbr. It accepts input that was cut off: the result is a shorter value, a missing item or
// no value at all, with a debug line and no failure. Bytes that cannot be nbr raise
// DecodeException. Data is not copied: values are views of the input, which must outlive them.
class QOR_API parser {
public:
    explicit parser(istr data) noexcept : cursor_(data) {}

    // The value at the start of the data, which the caller deletes; null if there is none. Bytes
    // after it are ignored.
    static ValueBase* from(istr data);
    // The first item with this tag of the complex value at the start of the data, if it is a simple
    // value; no tree is built. The items before it must be simple. Deliberate (compatibility):
    // after a complex one the parser loses its position, and the result is null, some other value
    // or DecodeException.
    static ValueBase* from(istr data, unsigned char tag);

private:
    ValueBase* parseValue();
    ValueBase* seekValue(unsigned char tag);

    StringSlice cursor_;
};

}  // namespace qor::nbr

#endif  // QOR_NBR_PARSER_H
