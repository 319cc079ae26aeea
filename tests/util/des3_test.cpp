#include "qor/util/des3.h"

#include "support/test.h"

namespace qor {
namespace {

Bytes encrypted(istr data, istr key) {
    Bytes out(istr("old"));
    EXPECT_TRUE(des3::encode(data, out, key));
    return out;
}

Bytes decrypted(istr data, istr key) {
    Bytes out(istr("old"));
    EXPECT_TRUE(des3::decode(data, out, key));
    return out;
}

TEST(des3, Standard) {
    // A sample of NBS Special Publication 500-20.
    EXPECT_EQ(encrypted(hexstr2bytes("01A1D6D039776742"), hexstr2bytes("7CA110454A1A6E57")),
              hexstr2bytes("690F5B0D9A26939B"));
    // Rivest's test, in which a block is its own key. Any wrong entry of the S-boxes or of the key
    // schedules shows in its result. That also shows that both may be in `out`.
    Bytes x = hexstr2bytes("9474B8E8C73BCA7D");
    for (int i = 0; i < 16; ++i)
        EXPECT_TRUE(i % 2 == 0 ? des3::encode(x, x, x) : des3::decode(x, x, x));
    EXPECT_EQ(x, hexstr2bytes("1B1A2DDB4C642438"));
}

TEST(des3, FillsDataAndKey) {
    EXPECT_TRUE(encrypted("", "key").empty() && decrypted(istr(nullptr, 9), "key").empty());
    const std::string all = "each block is coded for itself, however many there are";
    for (unsigned size = 1; size <= all.size(); ++size) {
        const std::string data = all.substr(0, size);
        const std::string filled = data + std::string((8 - size % 8) % 8, '\0');
        Bytes coded;
        for (unsigned at = 0; at < size; at += 8)
            coded += encrypted(filled.substr(at, 8), "abcdefgh");
        ASSERT_EQ(encrypted(data, "abcdefgh"), coded);
        ASSERT_EQ(decrypted(coded, "abcdefgh"), filled);
        // Decoding fills too.
        ASSERT_EQ(encrypted(decrypted(data, "key"), "key"), filled);
    }
    EXPECT_EQ(encrypted("data", "abcdefghij"), encrypted("data", "abcdefgh"));
    EXPECT_EQ(encrypted("data", "abc"), encrypted("data", istr("abc\0\0\0\0\0", 8)));
    EXPECT_EQ(encrypted("data", ""), encrypted("data", istr(nullptr, 8)));
    // 'a' and '`' differ in the parity bit.
    EXPECT_EQ(encrypted("data", "abcdefgh"), encrypted("data", "`bbddffh"));
    EXPECT_NE(encrypted("data", "abcdefgh"), encrypted("data", "abcdefgj"));
}

}  // namespace
}  // namespace qor
