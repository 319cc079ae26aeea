#ifndef QOR_SRC_UTIL_AES_FORMS_H
#define QOR_SRC_UTIL_AES_FORMS_H

#include <cstddef>
#include <span>

#include "util/wipe.h"

namespace qor::util {

inline constexpr std::size_t aesBlockSize = 16;
inline constexpr unsigned aesMostRounds = 14;

// A key for each round and one before the rounds, in the order of their use. The keys for
// decrypting are those of the equivalent inverse cipher of FIPS 197, whose steps have the order of
// the forward ones.
struct AesRoundKeys {
    unsigned rounds;
    alignas(aesBlockSize) unsigned char bytes[(aesMostRounds + 1) * aesBlockSize];
};

// An implementation of the cipher in CBC mode, for one block or more. Input and output must not
// overlap. Memory accesses do not depend on the data or the key. All implementations give the same
// results.
struct AesForm {
    using Convert = void(const AesRoundKeys& keys, const unsigned char* iv, const unsigned char* in,
                         std::size_t blocks, unsigned char* out) noexcept;
    const char* name;
    bool (*runsHere)() noexcept;  // whether this machine can run it
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

    // `out` must have room for the n bytes, rounded up to whole blocks, and must not overlap the
    // input. Without a key, and for a null pointer, nothing is written.
    void encrypt(const unsigned char* in, std::size_t n, unsigned char* out) const noexcept;
    // The same; if n is 0 or not a multiple of the block size, nothing is written.
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
