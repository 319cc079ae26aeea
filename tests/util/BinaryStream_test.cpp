#include "qor/util/BinaryStream.h"

#include "support/test.h"

namespace qor {
namespace {

// The bytes by the rule, one after another.
std::string byRule(unsigned long long value, unsigned long width) {
    std::string bytes;
    do {
        bytes += static_cast<char>(value);
        value >>= 8;
    } while (bytes.size() < width && (value != 0 || (bytes.back() & 0x80) != 0));
    return bytes;
}

TEST(BinaryStream, WritesNumbersInTheFewestBytesAndReadsThem) {
    for (unsigned bit = 0; bit < 64; ++bit) {
        for (const unsigned long long offset : {~0ULL, 0ULL, 1ULL}) {
            const unsigned long long value = (1ULL << bit) + offset;
            for (const unsigned long width : {1UL, 2UL, 4UL, 8UL, 9UL}) {
                char buffer[9];
                const char count = BinaryStream::writeInt(buffer, value, width);
                ASSERT_EQ(istr(buffer, count), istr(byRule(value, width))) << value;
                if (width > 8) continue;
                const unsigned long long cut = width < 8 ? value % (1ULL << (8 * width)) : value;
                EXPECT_EQ(BinaryStream::readUint(buffer, count, width), cut);
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

TEST(BinaryInStream, ReadsInTheOrderOfWriting) {
    const std::tuple written(Ulong(200), String("Å"), Time::microSeconds(-5), Bytes(istr("xyz")),
                             std::wstring(L"\u5b89"), true);
    auto read = written;
    BinaryOutStream out;
    std::apply([&](const auto&... value) { (out.write(null_type()).write(value), ...); }, written);
    out.write(-1L).writeRaw('!');
    BinaryInStream in(out.str());
    int none = 5;
    const auto readAll = [&](auto&... value) { (in.read(none).read(value), ...); };
    std::apply(readAll, read);
    EXPECT_TRUE(read == written);
    EXPECT_EQ(none, 0);
    long long wide = 0;
    unsigned char raw = 0;
    in.read(wide).readRaw(raw);
    EXPECT_EQ(wide, 4294967295LL) << "nothing is sign-extended";
    EXPECT_EQ(raw, '!');
    // After the end all is empty.
    std::apply(readAll, read);
    EXPECT_TRUE(read == decltype(read)());
    in.readRaw(raw);
    EXPECT_EQ(raw, 0);
}

template <class T>
String outcomeOf(istr input, T target) {
    try {
        BinaryInStream(input).read(target);
        dumper d;
        d.write(target);
        return d.str();
    } catch (const BinaryDecodeException& e) {
        return e.msg();
    }
}

// The bytes, and what is read from them or the message.
TEST(BinaryInStream, ReadsNumbersAndText) {
    const std::pair<const char*, const char*> numbers[] = {
        {"00 05", "0"},
        {"F1", "0"},
        {"01 00 07", "0"},
        {"01 02 C8 01", "456"},
        {"01 02 C8", "0"},
        {"01 05 01 02 03 04 05", "67305985"},
        {"02 01 01", "BinaryDecodeException: invalid los 2"},
        {"F1 01 01", "BinaryDecodeException: invalid los 241"},
        {"01 09 01", "BinaryDecodeException: invalid size 9"},
        {"01 80 01", "BinaryDecodeException: invalid size -128"},
    };
    for (const auto& [hex, outcome] : numbers)
        EXPECT_EQ(outcomeOf(bytes(hex), 77U), outcome) << hex;
    const std::pair<const char*, const char*> texts[] = {
        {"00 61", ""},
        {"05", ""},
        {"01 00 61", ""},
        {"F1 02 61 62 63", "ab"},
        {"04 02 00 00 00 61 62", "ab"},
        {"04 FF FF FF FF 61 62", "ab"},
        {"04 01", ""},
        {"05 01 61", "BinaryDecodeException: invalid los 5"},
    };
    for (const auto& [hex, outcome] : texts) {
        EXPECT_EQ(outcomeOf(bytes(hex), String("old")), outcome) << hex;
        EXPECT_EQ(outcomeOf(bytes(hex), istr("old")), outcome) << hex;
    }
}

TEST(BinaryInStream, ReadsRawBytes) {
    EXPECT_EQ(BinaryInStream(istr("\xF2")).readLos(), 2);
    char raw[4] = "...";
    unsigned long size = 3;
    BinaryInStream(istr("ab")).readRaw(raw, &size);
    EXPECT_EQ(size, 2u);
    EXPECT_STREQ(raw, "ab.");
}

TEST(BinaryOutStream, IsUnchangedWithoutMemory) {
    BinaryOutStream out;
    out.write(istr(std::string(200, 'x')));
    const Bytes before(out.str());
    const std::string more(500, 'y');
    EXPECT_EQ(
        failEachAllocation([&] { out.write(istr(more)); }, [&] { ASSERT_EQ(before, out.str()); }),
        1u);
}

}  // namespace
}  // namespace qor
