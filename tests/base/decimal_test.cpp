#include "base/decimal.h"

#include "support/test.h"

#if defined(__SIZEOF_INT128__)  // else the header reads nothing

namespace qor::decimal {
namespace {

// Whether the text is read: both forms agree, and the value is that of the standard library for the
// whole text. The text is at the very end of its memory.
bool isRead(const std::string& text) {
    const std::vector<char> exact(text.begin(), text.end());
    const std::optional<double> value = read<FastFraction>({exact.data(), exact.size()});
    EXPECT_EQ(value, read<PortableFraction>({exact.data(), exact.size()})) << text;
    if (!value.has_value()) return false;
    char* end = nullptr;
    const double wanted = std::strtod(text.c_str(), &end);
    EXPECT_EQ(*end, '\0') << text;
    EXPECT_EQ(std::bit_cast<Word>(*value), std::bit_cast<Word>(wanted)) << text;
    return true;
}

// 15 bytes, no digit before the point, 8 of them, 17 places, 20 digits, and no such numbers.
TEST(Decimal, LeavesOtherTextsToTheStandardLibrary) {
    std::istringstream others(
        "1.0000000000000|.000000000000000|12345678.00000000|1.00000000000000000|"
        "1234.0000000000000000|1.0000000000000000000000000|"
        "|.|1.5|1.5e0000000000000|1..00000000000000|1234567890123456|1234567 12345678");
    for (std::string text; std::getline(others, text, '|');)
        EXPECT_FALSE(isRead(text)) << text;
}

TEST(Decimal, AcceptsNoOtherByteAtAnyPlace) {
    for (const std::string text :
         {"1.23456789012345", "1234567.12345678", "12.3456789012345678", "1234567.890123456789",
          "123.4567890123456789", "0.0000000000000000"}) {
        EXPECT_TRUE(isRead(text));
        for (std::size_t place = 0; place < text.size(); ++place) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string odd = text;
                odd[place] = static_cast<char>(byte);
                const bool isDigit = byte >= '0' && byte <= '9';
                const bool read = isRead(odd);
                EXPECT_TRUE(read == (odd == text) || (isDigit && text[place] != '.')) << odd;
            }
        }
    }
}

TEST(Decimal, ReadsWholeNumbers) {
    const std::string digits = "9876543210987654";
    for (std::size_t size = 1; size <= digits.size(); ++size) {
        const bool common = size >= 4 && size <= 15;
        for (const std::string& text :
             {digits.substr(0, size), std::string(size, '9'), std::string(size, '0')})
            EXPECT_EQ(isRead(text), common) << text;
        for (std::size_t place = 0; common && place < size; ++place) {
            for (const char other : {'/', ':', '.', 'e', '-', ' ', '\0', '\x80', '\xB1'}) {
                std::string odd = digits.substr(0, size);
                odd[place] = other;
                EXPECT_FALSE(isRead(odd)) << odd;
            }
        }
    }
}

TEST(Decimal, RoundsLikeTheStandardLibrary) {
    std::mt19937_64 random(7);
    constexpr unsigned kTexts = 100000;
    unsigned read = 0;
    for (unsigned i = 0; i < kTexts; ++i) {
        const auto whole = 1 + random() % 7;
        const auto least = 15 - whole;
        const auto most = std::min<std::size_t>(16, 19 - whole);
        const auto places = least + random() % (most - least + 1);
        std::string text;
        // Long runs of one digit at times.
        const char run = static_cast<char>('0' + random() % 10);
        const bool inRuns = random() % 4 == 0;
        while (text.size() < whole + places) {
            const char digit = static_cast<char>('0' + random() % 10);
            text += inRuns && random() % 8 != 0 ? run : digit;
        }
        text.insert(whole, 1, '.');
        read += isRead(text) ? 1 : 0;
    }
    EXPECT_GT(read, kTexts / 100 * 99);
    // Those next to the middle between two doubles; a long double has the middle itself.
    read = 0;
    std::uniform_real_distribution<double> magnitudes(0, 20);
    for (unsigned i = 0; i < kTexts; ++i) {
        const double value = std::ldexp(1 + std::ldexp(double(random() >> 12), -52),
                                        static_cast<int>(magnitudes(random)));
        const long double middle = (static_cast<long double>(value) +
                                    static_cast<long double>(std::nextafter(value, 1e9))) /
                                   2;
        const int whole = std::snprintf(nullptr, 0, "%.0f", std::floor(value));
        char text[64];
        std::snprintf(text, sizeof text, "%.*Lf", std::min(16, 19 - whole), middle);
        read += isRead(text) ? 1 : 0;
    }
    EXPECT_GT(read, kTexts / 2);
    EXPECT_LT(read, kTexts);  // some need the longer calculation
}

}  // namespace
}  // namespace qor::decimal

#endif  // __SIZEOF_INT128__
