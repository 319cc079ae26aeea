#ifndef QOR_UTIL_ZLIB_H
#define QOR_UTIL_ZLIB_H

#include "qor/base/base_type_bytes.h"

// Not the zlib library's header <zlib.h>: include this one as "qor/util/zlib.h".

namespace qor {

// Compression of whole buffers in the zlib format (RFC 1950), compatible with every other program
// that uses zlib.
//
// The results replace the content of `out`, which may own the memory that the data views; its
// memory is reused if it is sufficient. If the result is false, `out` is empty. If std::bad_alloc
// is raised, `out` is unchanged. Any thread may call these at any time.
class QOR_API zlib {
public:
    // Compresses at zlib's default level. `out` gets a capacity of 1.1 times the size of the data
    // plus 30 bytes, more than any data needs. Returns false for data above 3.9 GB, for which Bytes
    // cannot have that capacity, and if zlib fails.
    [[nodiscard]] static bool compress(const istr& data, Bytes& out);

    // `size` is the largest content that the caller accepts, in bytes; 0 means the capacity of
    // `out`. No more memory is used, whatever the data claims. Returns false if the content is
    // larger, if the data is damaged or incomplete, and for a size that Bytes cannot have. Bytes
    // after the compressed content are ignored.
    [[nodiscard]] static bool uncompress(const istr& data, Bytes& out, unsigned long size);
};

}  // namespace qor

#endif  // QOR_UTIL_ZLIB_H
