#include "qor/util/BinaryStream.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "qor/util/BinaryInStream.h"
#include "qor/util/BinaryOutStream.h"
#include "support/allocation.h"

namespace qor {
namespace {

TEST(BinaryStream, WritesNumbersInTheFewestBytes) {
    for (unsigned bit = 0; bit < 64; ++bit) {
        for (const long long offset : {-1LL, 0LL, 1LL}) {
            const unsigned long long value =
                (1ULL << bit) + static_cast<unsigned long long>(offset);
            for (const unsigned long width : {1UL, 2UL, 4UL, 8UL, 9UL}) {
                char buffer[16];
                std::fill_n(buffer, 16, '\x55');
                const auto count =
                    static_cast<unsigned>(BinaryStream::writeInt(buffer, value, width));
                ASSERT_GE(count, 1U);
                ASSERT_LE(count, width);
                EXPECT_EQ(buffer[count], '\x55');
                const unsigned read = std::min(count, 8U);
                const unsigned long long cut = width < 8 ? value % (1ULL << (8 * width)) : value;
                EXPECT_EQ(BinaryStream::load(buffer, read), cut);
                // One byte less would not have done.
                if (count < width) {
                    EXPECT_GE(buffer[count - 1], 0) << value;
                }
                if (count > 1 && count < width && buffer[count - 1] == 0) {
                    EXPECT_LT(buffer[count - 2], 0) << value;
                }
            }
        }
    }
    char buffer[8];
    EXPECT_EQ(BinaryStream::writeInt(buffer, -1, 4), 4);
    EXPECT_EQ(BinaryStream::writeInt(buffer, 0, 0), 1);
}

TEST(BinaryStream, ObfuscatesWithItsOwnInverse) {
    EXPECT_EQ(BinaryStream::encrypt(static_cast<unsigned char>(1)), 254);
    std::string text(300, 'a');
    BinaryStream::encrypt(ostr(text.data(), text.size()));
    EXPECT_EQ(text[0], static_cast<char>('a' ^ 0xFF));
    EXPECT_EQ(text[257], static_cast<char>('a' ^ 0xFE));
    BinaryStream::decrypt(ostr(text.data(), text.size()));
    EXPECT_EQ(text, std::string(300, 'a'));
}

Bytes bytes(istr hex) {
    String digits(hex);
    std::erase(digits, ' ');
    return hexstr2bytes(digits);
}

TEST(BinaryInStream, ReadsInTheOrderOfWriting) {
    BinaryOutStream out;
    out.write(Ulong(200)).write(String("Å")).write(Time::microSeconds(-5)).write(-1L);
    out.write(Bytes(istr("xyz"))).write(L"\u5b89").write(null_type()).write(true).writeRaw('!');
    BinaryInStream in(out.str());
    Ulong number;
    String text;
    Time time;
    long long wide = 0;
    Bytes data;
    std::wstring wideText;
    int none = 5;
    bool last = false;
    unsigned char raw = 0;
    in.read(number).read(text).read(time).read(wide).read(data).read(wideText).read(none);
    in.read(last).readRaw(raw);
    EXPECT_EQ(number, 200u);
    EXPECT_EQ(text, "Å");
    EXPECT_EQ(time, Time::microSeconds(-5));
    EXPECT_EQ(wide, 4294967295LL) << "nothing is sign-extended";
    EXPECT_EQ(data, istr("xyz"));
    EXPECT_EQ(wideText, L"\u5b89");
    EXPECT_EQ(none, 0);
    EXPECT_TRUE(last);
    EXPECT_EQ(raw, '!');
    // Behind the end all is empty.
    in.read(number).read(text).read(time).read(data).read(wideText).read(last).readRaw(raw);
    EXPECT_TRUE(number == 0 && text.empty() && time == Time() && data.empty() && wideText.empty());
    EXPECT_TRUE(!last && raw == 0);
}

struct NumberCase {
    const char* hex;
    const char* outcome;  // the number, or the message
};

TEST(BinaryInStream, ReadsNumbersAsTold) {
    const NumberCase cases[] = {
        {"", "0"},
        {"00", "0"},
        {"00 05", "0"},
        {"01", "0"},
        {"01 01", "0"},
        {"01 00 07", "0"},
        {"01 01 C8", "200"},
        {"01 02 C8 01", "456"},
        {"01 02 C8", "0"},
        {"01 05 01 02 03 04 05", "67305985"},
        {"02 01 01", "BinaryDecodeException: invalid los 2"},
        {"F1 01 01", "BinaryDecodeException: invalid los 241"},
        {"01 09 01", "BinaryDecodeException: invalid size 9"},
        {"01 80 01", "BinaryDecodeException: invalid size -128"},
    };
    for (const NumberCase& c : cases) {
        const Bytes input = bytes(c.hex);
        Ulong number(77);
        String outcome;
        try {
            BinaryInStream(input).read(number);
            outcome = number.toString();
        } catch (const BinaryDecodeException& e) {
            outcome = e.msg();
        }
        EXPECT_EQ(outcome, c.outcome) << c.hex;
    }
}

TEST(BinaryInStream, ReadsBytesAsTold) {
    const NumberCase cases[] = {
        {"", ""},
        {"00 61", ""},
        {"01", ""},
        {"01 01", ""},
        {"01 00 61", ""},
        {"01 02 61 62 63", "ab"},
        {"F1 02 61 62", "ab"},
        {"01 09 61 62", "ab"},
        {"04 02 00 00 00 61 62", "ab"},
        {"04 FF FF FF FF 61 62", "ab"},
        {"04 01", ""},
        {"05 01 61", "BinaryDecodeException: invalid los 5"},
    };
    for (const NumberCase& c : cases) {
        const Bytes input = bytes(c.hex);
        Bytes data(istr("old"));
        String outcome;
        try {
            BinaryInStream(input).read(data);
            outcome = istr(data);
        } catch (const BinaryDecodeException& e) {
            outcome = e.msg();
        }
        EXPECT_EQ(outcome, c.outcome) << c.hex;
    }
    EXPECT_EQ(BinaryInStream(istr("\xF2")).readLos(), 2);
    char raw[4] = "...";
    unsigned long size = 3;
    BinaryInStream(istr("ab")).readRaw(raw, &size);
    EXPECT_EQ(size, 2u);
    EXPECT_STREQ(raw, "ab.");
}

TEST(BinaryOutStream, StaysAsItWasWhenMemoryEnds) {
    BinaryOutStream out;
    out.write(istr(std::string(200, 'x')));
    const Bytes before(out.str());
    const std::string more(500, 'y');
    EXPECT_EQ(support::failEachAllocation([&] { out.write(istr(more)); },
                                          [&] { ASSERT_EQ(before, out.str()); }),
              1u);
}

}  // namespace
}  // namespace qor
