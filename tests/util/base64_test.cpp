#include "qor/util/base64.h"

#include "platform/processor.h"
#include "support/test.h"
#include "util/base64_forms.h"

namespace qor {
namespace {

String encoded(istr data, bool lineBreak = false) {
    String text("old");
    Base64::encode(data, text, lineBreak);
    return text;
}

Bytes decoded(istr text) {
    Bytes data(istr("old content, and more than the text has"));
    Base64::decode(text, data);
    return data;
}

// The samples of RFC 4648, and the character of each value.
TEST(Base64, Standard) {
    const char* const texts[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (unsigned long size = 0; size < std::size(texts); ++size) {
        EXPECT_EQ(encoded(istr("foobar", size)), texts[size]);
        EXPECT_EQ(decoded(texts[size]), istr("foobar", size));
    }
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EXPECT_EQ(encoded(decoded(alphabet)), alphabet);
    EXPECT_EQ(encoded(istr("\xFB\xEF\xBE")), "++++");
    EXPECT_EQ(encoded(std::string(58, '\0'), true), std::string(76, 'A') + "\r\nAA==");
    for (int i = 0; i < 256; ++i) {
        const char c = static_cast<char>(i);
        EXPECT_EQ(Base64::isBase64(c), (alphabet + "=").find(c) != std::string::npos) << i;
    }
}

TEST(Base64, DecodesAnything) {
    const std::pair<const char*, istr> cases[] = {
        // The third byte is there although the second is not.
        {"TQ=A", istr("M\0", 2)},
        {"=", istr("\0", 1)},
        // The end is the end of the text, and not a padding.
        {"TQ==TWE=TWFu", "MMaMan"}};
    for (const auto& [text, data] : cases)
        EXPECT_EQ(decoded(text), data) << text;
    EXPECT_TRUE(decoded(istr(nullptr, 4)).empty());
    std::vector<unsigned char> bytes(9, 'x');
    Base64::decode("TWFu", bytes);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "Man");
    String text;
    Base64::encode(bytes, text, false);
    EXPECT_EQ(text, "TWFu");
}

// By the rule, one character after another.
Bytes plainlyDecoded(istr given) {
    std::string text;
    std::copy_if(given.begin(), given.end(), std::back_inserter(text), Base64::isBase64);
    text.append((4 - text.size() % 4) % 4, '=');
    Bytes data;
    for (std::size_t i = 0; i < text.size(); i += 4) {
        unsigned group = 0;
        for (std::size_t k = i; k < i + 4; ++k) {
            const std::size_t value = util::base64Alphabet.find(text[k]);
            group = group << 6 | (text[k] == '=' ? 0 : static_cast<unsigned>(value));
        }
        const char bytes[] = {static_cast<char>(group >> 16), static_cast<char>(group >> 8),
                              static_cast<char>(group)};
        data.append(istr(bytes, 1));
        if (text[i + 2] != '=') data.append(istr(bytes + 1, 1));
        if (text[i + 3] != '=') data.append(istr(bytes + 2, 1));
    }
    return data;
}

// The text is at the end of a block, and the result in one of exactly its size, so that a sanitizer
// finds what reads or writes too far.
void expectDecodes(const util::Base64Form& form, istr text) {
    const std::vector<char> held(text.begin(), text.end());
    Bytes data;
    util::base64Decode(form, istr(held.data(), held.size()), data);
    const Bytes wanted = plainlyDecoded(text);
    ASSERT_TRUE(data == wanted) << text;
    std::vector<unsigned char> vector;
    util::base64Decode(form, istr(held.data(), held.size()), vector);
    ASSERT_TRUE(istr(vector.data(), vector.size()) == wanted) << text;
}

TEST(Base64, FormsAgree) {
    EXPECT_TRUE(platform::vectorsAllowed() || util::base64Forms().size() == 1);
    constexpr std::size_t kSmall = 400, kLarge = 100000;
    std::mt19937 random(7);
    std::string data(kLarge, '\0');
    std::generate(data.begin(), data.end(), [&random] { return static_cast<char>(random()); });
    // The large one is long enough for every step in which a result grows.
    for (std::size_t size = 0; size <= kLarge; size += size < kSmall ? 1 : kLarge - kSmall) {
        const Bytes held(istr(data, size));
        for (const util::Base64Form& form : util::base64Forms()) {
            SCOPED_TRACE(form.name + std::to_string(size));
            std::string text, lines;
            util::base64Encode(form, {held.data(), size}, text, false);
            util::base64Encode(form, {held.data(), size}, lines, true);
            ASSERT_EQ(text.size(), (size + 2) / 3 * 4);
            ASSERT_TRUE(plainlyDecoded(text) == held);
            std::string joined = lines;
            for (std::size_t i = 76; i < joined.size(); i += 76)
                joined.erase(i, 2);
            ASSERT_TRUE(joined == text) << lines;
            expectDecodes(form, text);
            expectDecodes(form, lines);
            // Any character at any place.
            for (unsigned i = 0; i < 8 && !text.empty(); ++i) {
                text[random() % text.size()] = static_cast<char>(random());
                expectDecodes(form, text);
            }
            lines.insert(random() % (lines.size() + 1), random() % 5, random() % 2 ? '=' : ' ');
            expectDecodes(form, lines);
        }
    }
}

TEST(Base64, LeavesTheResultWhenItFails) {
    const std::string data(1000, 'x');
    String text("old");
    std::vector<unsigned char> vector(1, 'x');
    EXPECT_EQ(failEachAllocation([&] { Base64::encode(data, text, true); },
                                 [&] { EXPECT_EQ(text, "old"); }),
              1U);
    EXPECT_EQ(failEachAllocation([&] { Base64::decode(text, vector); },
                                 [&] { EXPECT_EQ(vector.size(), 1U); }),
              1U);
    // Only the size is read.
    String huge("old");
    EXPECT_THROW(Base64::encode(istr(data.c_str(), 0xC0000000UL), huge, false), std::bad_alloc);
    EXPECT_THROW(Base64::encode(istr(data.c_str(), 0xBF000000UL), huge, true), std::bad_alloc);
    EXPECT_EQ(huge, "old");
    // The result is reserved once, and then used again.
    const AllocationCounter counter;
    Base64::encode(data, text, true);
    Base64::decode(text, vector);
    EXPECT_EQ(counter.allocations(), 0U);
    // The result may own the source.
    const String coded = encoded(text);
    text.reserve(5000);
    Base64::encode(text, text, false);
    EXPECT_EQ(text, coded);
}

}  // namespace
}  // namespace qor
