#ifndef QOR_UTIL_GZLIB_H
#define QOR_UTIL_GZLIB_H

#include "qor/api.h"

// The gzip format (RFC 1952) in memory, compatible with the gzip program: comp compresses, uncomp
// decompresses.
//
//     unsigned char* packed = nullptr;
//     int size = -1;
//     GZlibCompressor::comp("some text", packed, size);
//     if (size != 0) file.write(istr(packed, size));
//     delete[] packed;
//
// `out` is set to a new array of `size` bytes, without a terminator, which the caller releases by
// delete[]; its previous value is ignored. If there is no memory for the array, `out` is null and
// `size` 0.
//
// Failures are not reported: check `size` and `out`. On failure `out` has the bytes up to the
// failure, perhaps none. A result of 2 GiB or more is cut, at most 4 KiB before 2 GiB. No exception
// is raised. Any thread may call these at any time.
class QOR_API GZlibCompressor {
public:
    // On entry `size` is the number of bytes at `data`, on return that at `out`. On entry, -1 means
    // that the data is terminated text, which may be longer than 2 GiB. Null data and other
    // negative sizes mean empty data. A complete result has at least 20 bytes. Always returns 0.
    static int comp(const char* data, unsigned char*& out, int& size) noexcept;

    // On entry `size` is the number of bytes at `data`, on return that at `out`. Data that does not
    // begin with the bytes 1F 8B is copied unchanged; a single byte 1F counts as an incomplete
    // header. A damaged or incomplete header gives no bytes; damaged or incomplete content gives
    // the bytes before the damage.
    //
    // Only the first member of a gzip file is read. Everything after its content is ignored, also
    // its checksum and size, since a mismatch could not be reported. The result may be a thousand
    // times as large as the data: for untrusted data use zlib::uncompress, which has a limit.
    // Always returns 0.
    static int uncomp(const char* data, char*& out, int& size) noexcept;
};

namespace qor {

// The same as GZlibCompressor. Deliberate (compatibility): the result is always false, also on
// success. Check `size` and `out`.
class QOR_API gzlib {
public:
    static bool comp(const char* data, unsigned char*& out, int& size) noexcept;
    static bool uncomp(const char* data, char*& out, int& size) noexcept;
};

}  // namespace qor

#endif  // QOR_UTIL_GZLIB_H
