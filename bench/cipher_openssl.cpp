#include <openssl/evp.h>

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

}  // namespace
