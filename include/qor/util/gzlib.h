#ifndef QOR_UTIL_GZLIB_H
#define QOR_UTIL_GZLIB_H

#include "qor/api.h"

// The gzip format (RFC 1952) in memory: comp makes what the gzip program reads, and uncomp reads
// what it writes.
//
//     unsigned char* packed = nullptr;
//     int size = -1;
//     GZlibCompressor::comp("some text", packed, size);
//     if (size != 0) file.write(istr(packed, size));
//     delete[] packed;
//
// `out` is set to a new array of `size` bytes, without a terminator, that the caller releases with
// delete[]; its previous value is ignored. If there is no memory for the array, `out` is null and
// `size` 0.
//
// Failures are not reported: judge success by `size` and `out`. On failure `out` has the bytes that
// were made before it, which may be none. A result is cut at 2 GiB less one byte. Nothing is
// raised. Any thread may call these at any time.
class QOR_API GZlibCompressor {
public:
    // On entry `size` is the number of bytes at `data`, on return that at `out`. On entry -1 means
    // that the data is terminated text, which may be longer than 2 GiB. Null data and other
    // negative sizes are empty data. A complete result has at least 20 bytes. Always returns 0.
    static int comp(const char* data, unsigned char*& out, int& size) noexcept;

    // On entry `size` is the number of bytes at `data`, on return that at `out`. Data that does not
    // begin with the bytes 1F 8B is copied unchanged; the single byte 1F counts as a header that is
    // cut. A damaged or cut header gives no bytes, and damaged or cut content gives the bytes
    // before the damage.
    //
    // Only the first member of a gzip file is read. Everything after its content is ignored, also
    // its checksum and size: a mismatch could not be reported. Memory grows with the content, up to
    // a thousand times the size of the data: for untrusted data use zlib::uncompress, which has a
    // bound. Always returns 0.
    static int uncomp(const char* data, char*& out, int& size) noexcept;
};

namespace qor {

// The same as GZlibCompressor. Deliberate (compatibility): the result is whether that of
// GZlibCompressor is not 0, and so is always false. Judge success by `size` and `out`.
class QOR_API gzlib {
public:
    static bool comp(const char* data, unsigned char*& out, int& size) noexcept;
    static bool uncomp(const char* data, char*& out, int& size) noexcept;
};

}  // namespace qor

#endif  // QOR_UTIL_GZLIB_H
