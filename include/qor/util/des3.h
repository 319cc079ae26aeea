#ifndef QOR_UTIL_DES3_H
#define QOR_UTIL_DES3_H

#include "qor/base/base_type_bytes.h"

namespace qor {

// Single DES in ECB mode (FIPS 46-3), in spite of the name, for exchanging data with systems that
// still use it. It is not secure: a key of 56 bits can be found by trying all keys, equal blocks of
// 8 bytes give equal results, and changed blocks are not detected. Use AES if you can choose.
//
// The key is the first 8 bytes of `key`; a shorter one is padded with zeros. The lowest bit of each
// byte, its parity, is ignored. The round keys are overwritten after use. Any thread may call these
// at any time.
//
// The functions replace the content of `out`, which may own the memory that the data or the key
// views. Its size is that of the data, rounded up to a multiple of 8; the data is padded with
// zeros. Data whose size is a multiple of 8 gets no extra block. If std::bad_alloc is raised, `out`
// is unchanged.
class QOR_API des3 {
public:
    // Always true.
    static bool encode(const istr& data, Bytes& out, const istr& key);
    // The padding is not removed: the caller must know the size of the content. Always true.
    static bool decode(const istr& data, Bytes& out, const istr& key);
};

}  // namespace qor

#endif  // QOR_UTIL_DES3_H
