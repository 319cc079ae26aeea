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

// NBS Special Publication 500-20: the samples that together use every entry of the S-boxes.
struct Sample {
    const char* key;
    const char* plain;
    const char* coded;
} const kSamples[] = {{"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
                      {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
                      {"07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
                      {"3849674C2602319E", "51454B582DDF440A", "7178876E01F19B2A"},
                      {"04B915BA43FEB5B6", "42FD443059577FA2", "AF37FB421F8C4095"},
                      {"0113B970FD34F2CE", "059B5E0851CF143A", "86A560F10EC6D85B"},
                      {"0170F175468FB5E6", "0756D8E0774761D2", "0CD3DA020021DC09"},
                      {"43297FAD38E373FE", "762514B829BF486A", "EA676B2CB7DB2B7A"},
                      {"07A7137045DA2A16", "3BDD119049372802", "DFD64A815CAF1A0F"},
                      {"04689104C2FD3B2F", "26955F6835AF609A", "5C513C9C4886C088"},
                      {"37D06BB516CB7546", "164D5E404F275232", "0A2AEEAE3FF4AB77"},
                      {"1F08260D1AC2465E", "6B056E18759F5CCA", "EF1BF03E5DFA575A"},
                      {"584023641ABA6176", "004BD6EF09176062", "88BF0DB6D70DEE56"},
                      {"025816164629B007", "480D39006EE762F2", "A1F9915541020B56"},
                      {"49793EBC79B3258F", "437540C8698F3CFA", "6FBF1CAFCFFD0556"},
                      {"4FB05E1515AB73A7", "072D43A077075292", "2F22E49BAB7CA1AC"},
                      {"49E95D6D4CA229BF", "02FE55778117F12A", "5A6B612CC26CCE4A"},
                      {"018310DC409B26D6", "1D9D5C5018F728C2", "5F4C038ED12B2E41"},
                      {"1C587F1C13924FEF", "305532286D6F295A", "63FAC0D034D9F793"}};

TEST(des3, Standard) {
    for (const auto& [keyText, plainText, codedText] : kSamples) {
        const Bytes key = hexstr2bytes(keyText), plain = hexstr2bytes(plainText),
                    coded = hexstr2bytes(codedText);
        EXPECT_EQ(encrypted(plain, key), coded) << keyText;
        EXPECT_EQ(decrypted(coded, key), plain) << keyText;
    }
    // Rivest's test, in which a block is its own key. That also shows that both may be in `out`.
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
