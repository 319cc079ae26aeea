#ifndef QOR_UTIL_DES3_H
#define QOR_UTIL_DES3_H

#include "qor/base/base_type_bytes.h"

namespace qor {

// Single DES in ECB mode (FIPS 46-3), in spite of the name, for exchanging data with those who use
// it still. It keeps no secret: a key of 56 bits is found by trying, equal blocks of 8 bytes stay
// equal, and nobody notices when blocks are changed. Use AES for whatever may be chosen.
//
// The key is the first 8 bytes of `key`; a shorter one is filled with zeros. The lowest bit of each
// byte, its parity, is not looked at. Nothing that was made of the key is left in memory. Any
// thread may call these at any time.
//
// `out` is replaced, and may own the memory that the data or the key views. Its size is that of the
// data, rounded up to a multiple of 8; the data is filled with zeros. Data of just such a size gets
// no block more. When memory is short, `out` is as it was.
class QOR_API des3 {
public:
    // Always true.
    static bool encode(const istr& data, Bytes& out, const istr& key);
    // The filling is not removed: the caller must know the size of the content. Always true.
    static bool decode(const istr& data, Bytes& out, const istr& key);
};

}  // namespace qor

#endif  // QOR_UTIL_DES3_H
