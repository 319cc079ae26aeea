#ifndef QOR_NBR_PARSER_H
#define QOR_NBR_PARSER_H

#include "qor/nbr/lsd.h"
#include "qor/string/string_slice.h"

namespace qor::nbr {

// Parses nbr. It is tolerant of input that was cut off: what is missing at the end is a shorter
// value, a missing item or no value at all, with a debug line and no failure. Bytes that cannot be
// nbr raise DecodeException. Data is not copied: values are views of the input, which must outlive
// them.
class QOR_API parser {
public:
    explicit parser(istr data) noexcept : cursor_(data) {}

    // The value at the start of the data, to be deleted by the caller; null if there is none. Bytes
    // behind it are ignored.
    static ValueBase* from(istr data);
    // The first item with this tag of the complex value at the start of the data, if it is a simple
    // value; no tree is built. The items before it must be simple: behind a complex one the parse
    // is out of step with the data and ends in null, some other value or DecodeException.
    static ValueBase* from(istr data, unsigned char tag);

private:
    ValueBase* parseValue();
    SimpleValue* seekValue(unsigned char tag);
    void fill(ComplexValue& root);
    bool startsComplex() const noexcept;
    bool endsComplex() const noexcept;
    SimpleValue* readSimple(bool skip);
    bool peekValue(istr& value, bool& text);

    StringSlice cursor_;
};

}  // namespace qor::nbr

#endif  // QOR_NBR_PARSER_H
