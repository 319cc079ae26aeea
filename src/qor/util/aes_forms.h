#ifndef QOR_SRC_UTIL_AES_FORMS_H
#define QOR_SRC_UTIL_AES_FORMS_H

#include <cstddef>
#include <span>

#include "util/wipe.h"

namespace qor::util {

inline constexpr std::size_t aesBlockSize = 16;
inline constexpr unsigned aesMostRounds = 14;

// A key for each round and one before them, in the order of their use. Those for decrypting belong
// to the inverse cipher whose rounds have the order of the forward ones.
struct AesRoundKeys {
    unsigned rounds;
    alignas(aesBlockSize) unsigned char bytes[(aesMostRounds + 1) * aesBlockSize];
};

// One implementation of the cipher in CBC mode, over one block or more. Input and output do not
// overlap. Memory accesses do not depend on the data or the key. All implementations give the same
// results.
struct AesForm {
    using Convert = void(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
                         std::size_t blocks, unsigned char* out) noexcept;
    const char* name;
    Convert* encrypt;
    // With the keys for decrypting.
    Convert* decrypt;
};

// The forms that this machine can run, the fastest first.
std::span<const AesForm> aesForms() noexcept;

namespace aes_portable {
AesForm::Convert encrypt, decrypt;
// The key schedule of a key of 16 or 32 bytes.
void expandKey(const unsigned char* key, std::size_t size, AesRoundKeys& encryption,
               AesRoundKeys& decryption) noexcept;
}  // namespace aes_portable

#if defined(__x86_64__)
namespace aes_ni {
bool runsHere() noexcept;
AesForm::Convert encrypt, decrypt;
}  // namespace aes_ni

namespace aes_vector {
bool runsHere() noexcept;
AesForm::Convert decrypt;
}  // namespace aes_vector
#endif

// The cipher with its key and initialisation vector.
class Rijndael {
public:
    explicit Rijndael(const AesForm& form = aesForms().front()) noexcept : form_(form) {}

    // A key of 16 or 32 bytes, and a vector of one block.
    void set(const unsigned char* key, std::size_t size, const unsigned char* iv) noexcept;

    // `out` has room for the n bytes in whole blocks, and does not overlap the input. Nothing is
    // written without a key, and for a null pointer.
    void encrypt(const unsigned char* in, std::size_t n, unsigned char* out) const noexcept;
    // The same; nothing is written either if n is 0 or no multiple of the block size.
    void decrypt(const unsigned char* in, std::size_t n, unsigned char* out) const noexcept;

private:
    struct State {
        bool hasKey;
        AesRoundKeys encryption, decryption;
        unsigned char iv[aesBlockSize];
    };
    const AesForm& form_;
    Secret<State> state_;
};

}  // namespace qor::util

#endif  // QOR_SRC_UTIL_AES_FORMS_H
