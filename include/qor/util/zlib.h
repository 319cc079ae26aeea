#ifndef QOR_UTIL_ZLIB_H
#define QOR_UTIL_ZLIB_H

#include "qor/base/base_type_bytes.h"

// Not the header of the zlib library, which is <zlib.h>: this one is only found with its path.

namespace qor {

// Compression of whole buffers in the zlib format (RFC 1950). What one process compresses any other
// one uncompresses that has the zlib library.
//
// The results replace the content of `out`, which may own the memory that the data views; its own
// memory is used again where that suffices. False leaves its size at 0. When there is no memory for
// the result, std::bad_alloc is raised and `out` is as it was. Any thread may call these at any
// time.
class QOR_API zlib {
public:
    // At the default level of zlib. `out` gets room for 11 tenths of the data and 30 bytes, which
    // is more than any data needs. False for data so large that a Bytes cannot have that room,
    // above 3.9 GB, and for whatever zlib reports.
    static bool compress(const istr& data, Bytes& out);

    // The caller knows how large the content is, or may be: nothing above `size` bytes is made,
    // whatever the data tells, and a larger content is false. With 0 the bound is the capacity that
    // `out` has. False too for data that is damaged or cut, and for a size that is no size of a
    // Bytes. What stands behind the compressed content is not looked at.
    static bool uncompress(const istr& data, Bytes& out, unsigned long size);
};

}  // namespace qor

#endif  // QOR_UTIL_ZLIB_H
