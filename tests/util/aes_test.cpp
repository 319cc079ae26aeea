#include "qor/util/aes.h"

#include "platform/processor.h"
#include "support/test.h"
#include "util/aes_forms.h"

namespace qor {
namespace {

static_assert(!std::is_copy_constructible_v<AES> && !std::is_copy_assignable_v<AES>);

Bytes encrypted(const AES& aes, istr data) {
    Bytes out(istr("old"));
    aes.encrypt(data, out);
    return out;
}

Bytes decrypted(const AES& aes, istr data) {
    Bytes out(istr("old"));
    aes.decrypt(data, out);
    return out;
}

// NIST SP 800-38A, F.2: the first two blocks.
TEST(AES, Standard) {
    const Bytes iv = hexstr2bytes("000102030405060708090a0b0c0d0e0f");
    const Bytes plain =
        hexstr2bytes("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51");
    const Bytes key16 = hexstr2bytes("2b7e151628aed2a6abf7158809cf4f3c");
    const Bytes key32 =
        hexstr2bytes("603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4");
    const auto expectCoded = [&](const AES& aes, const char* text) {
        EXPECT_EQ(encrypted(aes, plain), hexstr2bytes(text));
        EXPECT_EQ(decrypted(aes, hexstr2bytes(text)), plain);
    };
    expectCoded(AES(key16, iv), "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2");
    expectCoded(AES(key32, iv, false),
                "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d");
}

TEST(AES, FormsAgree) {
    EXPECT_TRUE(platform::vectorsAllowed() || util::aesForms().size() == 1);
    std::mt19937 random(3);
    const auto bytes = [&random](std::size_t size) {
        std::vector<unsigned char> result(size);
        std::generate(result.begin(), result.end(), [&random] { return random(); });
        return result;
    };
    for (const std::size_t keySize : {16, 32}) {
        const auto key = bytes(keySize), iv = bytes(16);
        for (std::size_t size = 1; size < 1200; size += size < 200 ? 1 : 61) {
            const auto data = bytes(size);
            const std::size_t whole = (size + 15) / 16 * 16;
            std::vector<unsigned char> wanted;
            for (const util::AesForm& form : util::aesForms()) {
                SCOPED_TRACE(form.name + std::to_string(size));
                util::Rijndael cipher(form);
                cipher.set(key.data(), keySize, iv.data());
                std::vector<unsigned char> coded(whole), plain(whole);
                cipher.encrypt(data.data(), size, coded.data());
                if (wanted.empty()) wanted = coded;
                ASSERT_EQ(coded, wanted);
                cipher.decrypt(coded.data(), whole, plain.data());
                ASSERT_TRUE(std::equal(data.begin(), data.end(), plain.begin()));
                ASSERT_EQ(std::count(plain.begin() + static_cast<long>(size), plain.end(), 0),
                          static_cast<long>(whole - size));
            }
        }
    }
}

TEST(AES, FillsToBlocks) {
    const AES aes("key", "vector");
    EXPECT_TRUE(encrypted(aes, "").empty() && encrypted(aes, istr(nullptr, 5)).empty());
    EXPECT_TRUE(decrypted(aes, "").empty());
    const std::string data(17, 'x');
    EXPECT_EQ(encrypted(aes, istr(data, 16)).size(), 16UL);
    const Bytes coded = encrypted(aes, data);
    EXPECT_EQ(coded.size(), 32UL);
    EXPECT_EQ(decrypted(aes, coded), data + std::string(15, '\0'));
    // Each call begins with the initial vector.
    EXPECT_EQ(encrypted(aes, data), coded);
    // What no encryption made is refused: `out` is sized, and what it held stays.
    Bytes out(istr("0123456789ABCDEFGH"));
    aes.decrypt(istr(coded).leftstr(17), out);
    EXPECT_EQ(out, "0123456789ABCDEFG");
    aes.decrypt(istr(coded).leftstr(31), out);
    EXPECT_EQ(out.size(), 31UL);
    EXPECT_TRUE(istr(out).beginWith("0123456789ABCDEFG"));
}

TEST(AES, CutsAndFillsKeys) {
    const std::string k16(16, 'k'), k32(32, 'k'), v16(16, 'v'), zeros(32, '\0');
    const auto same = [](const AES& a, const AES& b) {
        return encrypted(a, "content") == encrypted(b, "content");
    };
    EXPECT_TRUE(same(AES(k32, v16 + "more"), AES(k16, v16)));
    EXPECT_TRUE(same(AES(k32 + "more", v16, true), AES(k32, v16, false)));
    EXPECT_TRUE(same(AES("", ""), AES(istr(zeros, 16), istr(nullptr, 3))));
    EXPECT_TRUE(same(AES("", "", true), AES(zeros, zeros, true)));
    EXPECT_FALSE(same(AES(k16, v16, true), AES(k16, v16)));
    EXPECT_FALSE(same(AES(k16, v16), AES(k16, "v")));
}

TEST(Rijndael, RefusesInvalidCalls) {
    unsigned char block[32] = {}, out[32] = {7};
    util::Rijndael cipher;
    cipher.encrypt(block, 16, out);
    cipher.decrypt(block, 16, out);
    EXPECT_EQ(out[0], 7) << "no key";
    cipher.set(block, 16, block);
    cipher.encrypt(nullptr, 16, out);
    cipher.decrypt(nullptr, 16, out);
    cipher.encrypt(block, 0, out);
    for (const std::size_t n : {0, 15, 17, 31})
        cipher.decrypt(block, n, out);
    EXPECT_EQ(out[0], 7);
}

TEST(Rijndael, ErasesItsKeys) {
    const std::string key = "0123456789ABCDEF0123456789abcdef", iv = "FEDCBA9876543210";
    const auto* keyBytes = reinterpret_cast<const unsigned char*>(key.data());
    alignas(util::Rijndael) unsigned char memory[sizeof(util::Rijndael)];
    auto* cipher = new (memory) util::Rijndael;
    cipher->set(keyBytes, 32, reinterpret_cast<const unsigned char*>(iv.data()));
    unsigned char schedule[240] = {}, block[16] = {};
    util::AesRoundKeys encryption, decryption;
    util::aes_portable::expandKey(keyBytes, 32, encryption, decryption);
    std::copy_n(decryption.bytes, 240, schedule);
    const auto holds = [&](const void* part, std::size_t size) {
        const auto* bytes = static_cast<const unsigned char*>(part);
        return std::search(memory, std::end(memory), bytes, bytes + size) != std::end(memory);
    };
    ASSERT_TRUE(holds(key.data(), 16) && holds(iv.data(), 16) && holds(schedule, 240));
    cipher->encrypt(block, 16, block);
    cipher->~Rijndael();
    for (std::size_t i = 0; i < 240; i += 16) {
        EXPECT_FALSE(holds(encryption.bytes + i, 16)) << i;
        EXPECT_FALSE(holds(schedule + i, 16)) << i;
    }
    EXPECT_FALSE(holds(iv.data(), 16));
}

}  // namespace
}  // namespace qor
