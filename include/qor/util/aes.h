#ifndef QOR_UTIL_AES_H
#define QOR_UTIL_AES_H

#include "qor/base/base_type_bytes.h"
#include "qor/base/interface.h"

namespace qor {

// AES (FIPS 197) with keys of 128 or 256 bits, in CBC mode (NIST SP 800-38A).
//
// CBC hides content but does not protect it from change: changed encrypted bytes decrypt to changed
// content without an error. Where that matters, authenticate the encrypted bytes before decrypting
// them. Every call starts from the object's initialisation vector, so equal content gives equal
// bytes: use an object for one message only, with an unpredictable vector.
//
// A key or vector that is too long is cut; one that is too short, even an empty one, is padded with
// zeros. The key is used as it is: do not pass a password.
//
// An object does not change: any number of threads may use it at the same time, each with its own
// `out`. It cannot be copied, since it holds the key; the destructor overwrites the round keys with
// zeros.
class QOR_API AES : noncopyable {
public:
    // AES-128: a key and an initialisation vector of 16 bytes each.
    AES(istr key, istr iv);
    // AES-256: a key of 32 bytes, an initialisation vector of 16. The bool only selects this
    // constructor; its value has no effect.
    AES(istr key, istr iv, bool);
    ~AES();

    // Both replace the content of `out`, which may own the memory that `data` views. If
    // std::bad_alloc is raised, `out` is unchanged.
    //
    // The result has the size of the data, rounded up to a multiple of 16; the data is padded with
    // zeros. Data whose size is a multiple of 16 gets no extra block.
    void encrypt(istr data, Bytes& out) const;
    // The result has the size of the data. The padding is not removed: the caller must know the
    // size of the content. Data whose size is not a multiple of 16 is not decrypted: `out` gets the
    // size of the data, keeps its own content, and is padded with zeros.
    void decrypt(istr data, Bytes& out) const;

private:
    class State;
    State* state_;
};

}  // namespace qor

#endif  // QOR_UTIL_AES_H
