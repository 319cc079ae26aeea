#ifndef QOR_UTIL_AES_H
#define QOR_UTIL_AES_H

#include "qor/base/base_type_bytes.h"
#include "qor/base/interface.h"

namespace qor {

// AES (FIPS 197) with keys of 128 or 256 bits, in CBC mode (NIST SP 800-38A). The output is raw
// bytes.
//
// CBC hides content and does not protect it from change: altered encrypted bytes decrypt to altered
// content without an error. Where that matters, authenticate the encrypted bytes before decrypting
// them. Every call starts from the object's initialisation vector, so equal content gives equal
// bytes: use an object for one message, with an unpredictable vector.
//
// A key or vector that is too long is cut; one that is too short, even an empty one, is filled with
// zeros. No key is derived from a password here.
//
// An object is immutable: any number of threads may use it at the same time, each with its own
// `out`. It holds its key, and so cannot be copied; the destructor overwrites the key and the round
// keys.
class QOR_API AES : noncopyable {
public:
    // AES-128: 16 bytes of key, and of initialisation vector.
    AES(istr key, istr iv);
    // AES-256: 32 bytes of key, 16 of initialisation vector. The bool chooses this constructor, and
    // true and false do the same.
    AES(istr key, istr iv, bool);
    ~AES();

    // `out` is replaced, and may own the memory that the data views. When memory is short, it is as
    // it was.
    //
    // The size is that of the data, rounded up to a multiple of 16; the data is filled with zeros.
    // Data of just such a size gets no block more.
    void encrypt(istr data, Bytes& out) const;
    // `out` gets the size of the data. The padding is not removed: the caller must know the size of
    // the content. Data whose size is no multiple of 16 was not made by encrypt and is not
    // decrypted: `out` gets its size, and keeps its own content, padded with zeros.
    void decrypt(istr data, Bytes& out) const;

private:
    class State;
    State* state_;
};

}  // namespace qor

#endif  // QOR_UTIL_AES_H
