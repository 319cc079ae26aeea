#ifndef QOR_TESTS_SUPPORT_SPARE_BLOCKS_H
#define QOR_TESTS_SUPPORT_SPARE_BLOCKS_H

#include <memory>
#include <new>

#include "qor/base/base_type_bytes.h"
#include "qor/nbr/parser.h"
#include "support/allocation.h"

namespace support {

// Has the library free the blocks that it keeps for its next trees, all but one of the largest, so
// that what a tree allocates can be counted, and fails where it is made to.
inline void freeSpareBlocks() {
    // A list of kItems items is larger than a block that is kept.
    constexpr int kItems = 20000;
    qor::Bytes message(qor::istr("\xFF\x01("));
    for (int i = 0; i < kItems; ++i)
        message.append(qor::istr("\x05\x01\x01\x07"));
    const auto parse = [&message] {
        const std::unique_ptr<qor::nbr::ValueBase> tree(qor::nbr::parser::from(message));
    };
    parse();
    const FailAllocations failing(1);
    try {
        parse();
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_SPARE_BLOCKS_H
