#ifndef QOR_NBR_PARSER_H
#define QOR_NBR_PARSER_H

#include "qor/nbr/lsd.h"
#include "qor/string/string_slice.h"

namespace qor::nbr {

// Parses nbr. Incomplete input is accepted: the result is a shorter value, a missing item or no
// value at all, and a debug line is logged. Bytes that cannot be nbr raise DecodeException. Data is
// not copied: values are views of the input, which must outlive them.
class QOR_API parser {
public:
    explicit parser(istr data) noexcept : cursor_(data) {}

    // The value at the start of the data, to be deleted by the caller; null if there is none. Bytes
    // after the value are ignored.
    static ValueBase* from(istr data);
    // The first item with this tag of the complex value at the start of the data, if the item is
    // simple; null otherwise. The caller deletes it. No tree is built. The items before it must be
    // simple. Deliberate (compatibility): after a complex item the parser loses its position, and
    // the result is null, some other value or DecodeException.
    static ValueBase* from(istr data, unsigned char tag);

private:
    ValueBase* parseValue();
    ValueBase* seekValue(unsigned char tag);

    StringSlice cursor_;
};

}  // namespace qor::nbr

#endif  // QOR_NBR_PARSER_H
