#include "cipher_peers.h"
#include "qor/util/aes.h"
#include "qor/util/base64.h"
#include "qor/util/des3.h"

// Each benchmark compares the library with its usual alternative. The part of a name after the
// underscore is qor or the alternative. Results are written to memory that is already allocated.

namespace {

void Base64Encode_qor(benchmark::State& state) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    qor::String text;
    cipher::measure(state, data.size(), [&] {
        qor::Base64::encode(data, text, false);
        return text.data();
    });
}

void Base64EncodeLines_qor(benchmark::State& state) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    qor::String text;
    cipher::measure(state, data.size(), [&] {
        qor::Base64::encode(data, text, true);
        return text.data();
    });
}

// Decodes the text of as many bytes as the argument of the benchmark, with or without line ends.
void decode(benchmark::State& state, bool lineBreak) {
    qor::String text;
    qor::Base64::encode(cipher::randomBytes(static_cast<std::size_t>(state.range())), text,
                        lineBreak);
    qor::Bytes data;
    cipher::measure(state, text.size(), [&] {
        qor::Base64::decode(text, data);
        return data.data();
    });
}

void Base64Decode_qor(benchmark::State& state) {
    decode(state, false);
}

void Base64DecodeLines_qor(benchmark::State& state) {
    decode(state, true);
}

BENCHMARK(Base64Encode_qor)->Arg(64)->Arg(1 << 20);
BENCHMARK(Base64Decode_qor)->Arg(64)->Arg(1 << 20);
BENCHMARK(Base64EncodeLines_qor)->Arg(1 << 20);
BENCHMARK(Base64DecodeLines_qor)->Arg(1 << 20);

void encrypt(benchmark::State& state, const qor::AES& aes) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    qor::Bytes out;
    cipher::measure(state, data.size(), [&] {
        aes.encrypt(data, out);
        return out.data();
    });
}

void decrypt(benchmark::State& state, const qor::AES& aes) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    qor::Bytes out;
    cipher::measure(state, data.size(), [&] {
        aes.decrypt(data, out);
        return out.data();
    });
}

void Aes128Encrypt_qor(benchmark::State& state) {
    encrypt(state, qor::AES(cipher::kKey, cipher::kKey));
}
void Aes128Decrypt_qor(benchmark::State& state) {
    decrypt(state, qor::AES(cipher::kKey, cipher::kKey));
}
void Aes256Encrypt_qor(benchmark::State& state) {
    encrypt(state, qor::AES(cipher::kKey, cipher::kKey, true));
}
void Aes256Decrypt_qor(benchmark::State& state) {
    decrypt(state, qor::AES(cipher::kKey, cipher::kKey, true));
}

void DesEncode_qor(benchmark::State& state) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    qor::Bytes out;
    cipher::measure(state, data.size(), [&] {
        qor::des3::encode(data, out, cipher::kKey);
        return out.data();
    });
}

void DesDecode_qor(benchmark::State& state) {
    const std::string data = cipher::randomBytes(static_cast<std::size_t>(state.range()));
    qor::Bytes out;
    cipher::measure(state, data.size(), [&] {
        qor::des3::decode(data, out, cipher::kKey);
        return out.data();
    });
}

BENCHMARK(DesEncode_qor)->Arg(64)->Arg(1 << 20);
BENCHMARK(DesDecode_qor)->Arg(1 << 20);
BENCHMARK(Aes128Encrypt_qor)->Arg(1 << 20);
BENCHMARK(Aes128Decrypt_qor)->Arg(1 << 20);
BENCHMARK(Aes256Encrypt_qor)->Arg(1 << 20);
BENCHMARK(Aes256Decrypt_qor)->Arg(1 << 20);

}  // namespace
