#if defined(__GNUC__)
// OpenSSL has deprecated its functions for DES.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif

#include <openssl/des.h>
#include <openssl/evp.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "cipher_peers.h"

namespace {

int sizeOf(const std::string& bytes) {
    return static_cast<int>(bytes.size());
}

const unsigned char* bytesOf(const std::string& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

void Base64Encode_openssl(benchmark::State& state) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    std::vector<unsigned char> text(data.size() / 3 * 4 + 5);
    cipher::measure(state, data.size(), [&] {
        EVP_EncodeBlock(text.data(), bytesOf(data), sizeOf(data));
        return text.data();
    });
}

void Base64Decode_openssl(benchmark::State& state) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    std::string text(data.size() / 3 * 4 + 5, '\0');
    text.resize(static_cast<std::size_t>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(text.data()), bytesOf(data), sizeOf(data))));
    std::vector<unsigned char> decoded(text.size());
    cipher::measure(state, text.size(), [&] {
        EVP_DecodeBlock(decoded.data(), bytesOf(text), sizeOf(text));
        return decoded.data();
    });
}

BENCHMARK(Base64Encode_openssl)->Arg(64)->Arg(1 << 20);
BENCHMARK(Base64Decode_openssl)->Arg(64)->Arg(1 << 20);

// Starts from the initialization vector in every call, as qor does.
void convert(benchmark::State& state, const EVP_CIPHER* kind, int encrypt) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    const auto* key = reinterpret_cast<const unsigned char*>(cipher::kKey);
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                             EVP_CIPHER_CTX_free);
    EVP_CipherInit_ex(context.get(), kind, nullptr, key, key, encrypt);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    std::vector<unsigned char> out(data.size() + 16);
    cipher::measure(state, data.size(), [&] {
        int size = 0;
        EVP_CipherInit_ex(context.get(), nullptr, nullptr, nullptr, key, encrypt);
        EVP_CipherUpdate(context.get(), out.data(), &size, bytesOf(data), sizeOf(data));
        return out.data();
    });
}

void Aes128Encrypt_openssl(benchmark::State& state) {
    convert(state, EVP_aes_128_cbc(), 1);
}
void Aes128Decrypt_openssl(benchmark::State& state) {
    convert(state, EVP_aes_128_cbc(), 0);
}
void Aes256Encrypt_openssl(benchmark::State& state) {
    convert(state, EVP_aes_256_cbc(), 1);
}
void Aes256Decrypt_openssl(benchmark::State& state) {
    convert(state, EVP_aes_256_cbc(), 0);
}

// Computes the key schedule in every call, as qor does.
void des(benchmark::State& state, int encrypt) {
    std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    DES_cblock key;
    std::copy_n(cipher::kKey, sizeof key, key);
    std::vector<unsigned char> out(data.size());
    cipher::measure(state, data.size(), [&] {
        DES_key_schedule schedule;
        DES_set_key_unchecked(&key, &schedule);
        for (std::size_t i = 0; i < data.size(); i += sizeof(DES_cblock)) {
            DES_ecb_encrypt(reinterpret_cast<const_DES_cblock*>(data.data() + i),
                            reinterpret_cast<DES_cblock*>(out.data() + i), &schedule, encrypt);
        }
        return out.data();
    });
}

void DesEncode_openssl(benchmark::State& state) {
    des(state, DES_ENCRYPT);
}
void DesDecode_openssl(benchmark::State& state) {
    des(state, DES_DECRYPT);
}

BENCHMARK(DesEncode_openssl)->Arg(64)->Arg(1 << 20);
BENCHMARK(DesDecode_openssl)->Arg(1 << 20);
BENCHMARK(Aes128Encrypt_openssl)->Arg(1 << 20);
BENCHMARK(Aes128Decrypt_openssl)->Arg(1 << 20);
BENCHMARK(Aes256Encrypt_openssl)->Arg(1 << 20);
BENCHMARK(Aes256Decrypt_openssl)->Arg(1 << 20);

}  // namespace
