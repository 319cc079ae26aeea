#ifndef QOR_UTIL_GZLIB_H
#define QOR_UTIL_GZLIB_H

#include "qor/api.h"

// The gzip format (RFC 1952) in memory: what comp makes is a file for the gzip program, and what
// that one makes uncomp reads.
//
//     unsigned char* packed = nullptr;
//     int size = -1;
//     GZlibCompressor::comp("some text", packed, size);
//     if (size != 0) file.write(istr(packed, size));
//     delete[] packed;
//
// `out` is a new array of `size` bytes, without a terminator, that the caller releases with
// delete[]; what it pointed to before is not looked at. Only if there is no memory for the array it
// is null, and the size 0.
//
// There is no report: success is judged by `size` and `out`. A failure leaves what was made until
// then, which is nothing if the start failed. Sizes end at 2 GiB less one byte, and a result that
// would be larger is left there, short. Nothing is raised. Any thread may call these at any time.
class QOR_API GZlibCompressor {
public:
    // `size` has the number of bytes at `data` and gets the number of bytes at `out`. On entry -1
    // tells that the data is terminated text, which may be longer than an int counts. Null data and
    // other negative sizes are no data. A complete result has at least 20 bytes. Always 0.
    static int comp(const char* data, unsigned char*& out, int& size) noexcept;

    // `size` has the number of bytes at `data` and gets the number of bytes at `out`. Data that
    // does not begin with the bytes 1F 8B is handed on unchanged, but for a 1F alone, which has
    // nothing behind it. A header that is damaged or cut gives no bytes, and content that is
    // damaged or cut gives what stands before the damage.
    //
    // One member of a gzip file is read, the first: what follows its content is not looked at. So
    // neither are its checksum and size, since nothing could tell that they differ. Memory is taken
    // as content arrives, whatever sizes the data tells, and up to a thousand times that of the
    // data: where it comes from strangers, zlib::uncompress has a bound. Always 0.
    static int uncomp(const char* data, char*& out, int& size) noexcept;
};

namespace qor {

// The same as GZlibCompressor, with a bool that says nothing: it tells whether the result there is
// not 0, and so is false after a success too. That is meant. Look at `size` and `out`.
class QOR_API gzlib {
public:
    static bool comp(const char* data, unsigned char*& out, int& size) noexcept;
    static bool uncomp(const char* data, char*& out, int& size) noexcept;
};

}  // namespace qor

#endif  // QOR_UTIL_GZLIB_H
