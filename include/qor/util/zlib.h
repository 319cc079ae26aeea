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

    // `size` is the largest content that the caller accepts, in bytes; 0 means the capacity of
    // `out`. No more memory is used, whatever the data claims, and larger content is false. False
    // also for data that is damaged or cut, and for a size that Bytes cannot have. Bytes after the
    // compressed content are ignored.
    static bool uncompress(const istr& data, Bytes& out, unsigned long size);
};

}  // namespace qor

#endif  // QOR_UTIL_ZLIB_H
