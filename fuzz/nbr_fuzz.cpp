// The nbr parser: any bytes give a tree that can be shown and copied, or DecodeException.

#include <memory>

#include "qor/log/log_dumper.h"
#include "qor/nbr/parser.h"
#include "repeated.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace qor;
    const std::string bytes = fuzz::repeated(data, size);
    const istr input(bytes);
    try {
        const std::unique_ptr<nbr::ValueBase> value(nbr::parser::from(input));
        if (const auto* complex = dynamic_cast<const nbr::ComplexValue*>(value.get())) {
            dumper original(true);
            dumper copied(true);
            complex->dump(original);
            nbr::ComplexValue(*complex).dump(copied);
            if (original.str() != copied.str()) __builtin_trap();
        }
    } catch (const nbr::DecodeException&) {
    }
    constexpr unsigned char kTags[] = {0, 1, 2, 255};
    for (const unsigned char tag : kTags) {
        try {
            const std::unique_ptr<nbr::ValueBase> value(nbr::parser::from(input, tag));
            if (value != nullptr && !value->simple()) __builtin_trap();
        } catch (const nbr::DecodeException&) {
        }
    }
    return 0;
}
