#include "qor/base/base_type_number.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <random>
#include <sstream>

#include "qor/log/log_dumper.h"

namespace qor {
namespace {

template <class T>
std::string written(T value) {
    std::ostringstream os;
    os.imbue(std::locale::classic());
    os << value;
    return os.str();
}

// What a stream makes of the text, told as one string.
template <class T>
std::string readByStream(const std::string& text) {
    T value = 77;
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    const bool good = static_cast<bool>(in >> value);
    return written(value) + (good ? " good" : " bad");
}

template <class T>
std::string readByUs(const std::string& text) {
    T value = 77;
    const bool good = parseNumber(istr(text), value);
    String shown;
    formatNumber(value, shown);
    return shown + (good ? " good" : " bad");
}

template <class T, class Streamed = T>
void expectSame(const std::string& text) {
    EXPECT_EQ(readByUs<T>(text), readByStream<Streamed>(text)) << '"' << text << '"';
}

void expectSameForAllTypes(const std::string& text) {
    expectSame<short>(text);
    expectSame<unsigned short>(text);
    expectSame<int>(text);
    expectSame<unsigned>(text);
    expectSame<long, int>(text);
    expectSame<unsigned long, unsigned>(text);
    expectSame<long long>(text);
    expectSame<unsigned long long>(text);
    expectSame<float>(text);
    expectSame<double>(text);
}

TEST(Number, IsReadAsAStreamReadsIt) {
    std::istringstream texts(
        "|0|-0|+0|00012|42|-42|+42|- 42|--42|+-42|-+4| \t\n\v\f\r42|42 |42abc|abc|-|+|.|-.|0x1F|0x|"
        "1,234|32767|32768|-32768|-32769|65535|65536|-65535|-65536|2147483647|2147483648|"
        "-2147483648|-2147483649|4294967295|4294967296|-1|-4294967295|-4294967296|"
        "9223372036854775807|9223372036854775808|-9223372036854775808|-9223372036854775809|"
        "18446744073709551615|18446744073709551616|-18446744073709551615|-99999999999999999999999|"
        "1.5|-1.5|.5|5.|1.5.5|1e5|1E+5|1e-5|1e|1e+|1e-|1ex|1e5e|1e5-|1e5.5|1.e5|.e5|e5|-e5|1p3|"
        "inf|-INF|nan|-nan|1e400|-1e400|1e-400|-1e-400|1e39|1e-46|0e999999999999|1e38.|"
        "1e999999999999999999999|1e-999999999999999999999|0.001e+400|0.000001e300|0.1e-309|0.1|"
        "16777217|"
        "3.4028235e38|3.4028236e38|1.7976931348623157e308|1.7976931348623159e308|4.9e-324|2.4e-324|"
        "1.4e-45|0.7e-45|9007199254740993|1.00000005960464477539| |");
    for (std::string text; std::getline(texts, text, '|');)
        expectSameForAllTypes(text);
    expectSameForAllTypes(std::string("4\0002", 3));
    // Long runs of digits on both sides of the point.
    for (const int exponent : {-420, -330, -50, 0, 30, 330}) {
        expectSameForAllTypes("0." + std::string(300, '0') + "12e" + std::to_string(exponent));
        expectSameForAllTypes("12" + std::string(300, '0') + ".0e" + std::to_string(exponent));
    }
}

TEST(Number, IsReadAsAStreamReadsRandomText) {
    std::mt19937 random(1);
    const std::string alphabet = "0123456789012345678901234567890123456789+-..eE xna";
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (auto n = random() % 14; n > 0; --n)
            text += alphabet[random() % alphabet.size()];
        expectSameForAllTypes(text);
    }
}

template <class T>
void expectWrittenTheSame(T value) {
    String text = "=";
    std::string expected = text;
    formatNumber(value, text);
    expected += written(value);
    EXPECT_EQ(text, expected);
}

TEST(Number, IsWrittenAsAStreamWritesIt) {
    expectWrittenTheSame<short>(-32768);
    expectWrittenTheSame(std::numeric_limits<long long>::min());
    expectWrittenTheSame(std::numeric_limits<unsigned long long>::max());
    String text;
    formatNumber(0x1FFFFFFFFL, text);
    EXPECT_EQ(text, "-1");
    std::mt19937_64 random(2);
    for (const double value : {0.0, -0.0, 1.0, 1e5, 999999.5, 1234567.0, 1e-4, 1e-5, 0.1 + 0.2,
                               5e-324, 1.7e308, HUGE_VAL, -HUGE_VAL, std::nan(""), -std::nan("")}) {
        expectWrittenTheSame(value);
        expectWrittenTheSame(static_cast<float>(value));
    }
    for (int i = 0; i < 5000; ++i)
        expectWrittenTheSame(std::bit_cast<double>(random()));
}

TEST(Scalar, ReadsByItsParseType) {
    EXPECT_TRUE(Bit("2") && !Bit("true") && !Bit("0"));
    EXPECT_EQ(Bit("7").toString() + Bit().toString(), "10");
    EXPECT_EQ(Byte("300").toString(), "44");
    EXPECT_EQ(Sbyte("200").toString(), "-56");
    EXPECT_EQ(Char("abc").toString(), "a");
    EXPECT_EQ(Char("").toString(), istr("", 1));
    EXPECT_EQ(Short("40000").toString(), "32767");
    EXPECT_EQ(Long(5000000000L).toString(), "705032704");
    EXPECT_EQ(Ulong("4294967296").toString(), "4294967295");
    EXPECT_EQ(Double(" 2.50").toString(), "2.5");
    EXPECT_EQ(Wchar("65601").toString(), "65");
}

TEST(Scalar, KeepsItsValueWhenThereIsNoText) {
    EXPECT_EQ(Long(7).fromString(" \t").value(), 7);
    EXPECT_EQ(Long(7).fromString("x").value(), 0);
    EXPECT_TRUE(Bit(true).fromString(""));
    EXPECT_EQ(Sbyte(-3).fromString("").value(), -3);
    EXPECT_EQ(Wchar(0x1F600).fromString("").value(), 0x1F600);
}

TEST(Scalar, IsMadeFromScalarsAndWrappers) {
    enum Colour { kRed = 3 };
    Ulong number(Long(-1));
    EXPECT_EQ(number, 0xFFFFFFFFU);
    number = Byte(200);
    EXPECT_EQ(number, 200U);
    EXPECT_EQ(Double(kRed) + 0.5, 3.5);
    EXPECT_TRUE(Bit(2) && !Bit(0.0));
    Long sum = 5;
    sum += number;
    EXPECT_EQ(sum.value(), 205);
    EXPECT_EQ(sizeof(Bit) + sizeof(Long) + sizeof(Double), sizeof(bool) + 4 + sizeof(double));
    EXPECT_EQ((-Sbyte(-128)).value(), -128);
    EXPECT_EQ(-Long(std::numeric_limits<int>::min()), std::numeric_limits<int>::min());
    EXPECT_EQ((-Double(0.0)).toString(), "-0");
}

TEST(Scalar, HasHalves) {
    EXPECT_EQ(Byte(0x12, 0x3A).value(), 0xA2);
    EXPECT_EQ(Char(1, 4).value(), 'A');
    EXPECT_EQ(Short(0x34, 0xF2).value(), static_cast<short>(0xF234));
    EXPECT_EQ(Long(2, 0x8001).value(), static_cast<long32>(0x80010002));
    EXPECT_EQ(Ulonglong(1u, 0xFFFFFFFFu).value(), 0xFFFFFFFF00000001ULL);
    Longlong value(-2);
    EXPECT_EQ(value.high(), 0xFFFFFFFFU);
    EXPECT_EQ(value.high(0).low(), 0xFFFFFFFEU);
    EXPECT_EQ(value.low(5).value(), 5);
    EXPECT_EQ(Byte(0xAB).low(0xFC).value(), 0xAC);
}

TEST(Scalar, ByteHasBits) {
    Byte byte(0b1010);
    byte[0] = true;
    byte[1] = byte[2];
    byte[7] = byte[3];
    EXPECT_EQ(byte.value(), 0b10001001);
    byte.set(4, true).reset(0);
    EXPECT_TRUE(byte.get(4) && !std::as_const(byte)[0]);
}

TEST(Scalar, CharKnowsItsClass) {
    EXPECT_TRUE(Char('x').in(istr("xyz", 0)) && Char('\0').in("abc") && !Char('a').in("xyz"));
    EXPECT_TRUE(Char('a').isXdigit() && Char('a').isLower() && !Char('\xE9').isAlpha());
    EXPECT_EQ(Char().fromHex(0xFB).toHex(), 11);
}

template <class W>
std::string dumped(W value) {
    std::ostringstream os;
    value.dump(os << std::setfill('*') << std::setw(6));
    os << '|' << std::setw(3) << 10 << '|';
    dumper d(os);
    value.dump(d);
    return os.str();
}

TEST(Scalar, Dumps) {
    EXPECT_EQ(dumped(Bit(true)), "true| 10|true");
    EXPECT_EQ(dumped(Byte(65)), "65| 10|'A'");
    EXPECT_EQ(dumped(Sbyte(-1)), "-1| 10|'\\377'");
    EXPECT_EQ(dumped(Char('\r')), "<CR>| 10|'<CR>'");
    EXPECT_EQ(dumped(Long(-5)), "-5| 10|-5");
    EXPECT_EQ(dumped(Double(0.5)), "0.5| 10|0.5");
    EXPECT_EQ(dumped(Wchar(L'A')), "A| 10|65");
}

TEST(Bits, CountAcrossBytes) {
    EXPECT_EQ(BitPos(2, 9).bit_no(), 1);
    const BitPos end = BitsSub(BitPos(1, 6), 5).end();
    EXPECT_EQ(end.byte_no() * 10 + end.bit_no(), 23);
    EXPECT_EQ(end.toTotal(), 19UL);
}

TEST(Hex16, EncodesAndDecodes) {
    EXPECT_EQ(Hex16::encode(static_cast<unsigned char>(16)), '?');
    EXPECT_TRUE(Hex16::isHexChar('F') && !Hex16::isHexChar('G'));
    String text = "\xAB\x01";
    Hex16::encode(text, text);
    EXPECT_EQ(text, "AB01");
    // Reading is one place behind, which is meant.
    Bytes bytes(istr("old"));
    Hex16::decode("0A0B", bytes);
    EXPECT_EQ(bytes, istr("\xA0\xB0"));
    Hex16::decode(istr("x1234", 4), bytes);
    EXPECT_EQ(bytes, istr("\x12\x34"));
    Hex16::decode(istr(), bytes);
    EXPECT_TRUE(bytes.empty());
}

TEST(NetworkOrder, IsMostSignificantFirst) {
    EXPECT_EQ(hton(static_cast<unsigned short>(258)), (octets<2>{1, 2}));
    EXPECT_EQ(hton(0x1FF000002UL), (octets<4>{0xFF, 0, 0, 2}));
    EXPECT_EQ(hton(1ULL << 56), (octets<8>{1}));
    EXPECT_EQ(ntoh(hton(0xFEDCBA98UL)), 0xFEDCBA98U);
    EXPECT_EQ(ntoh(hton(0xFEDCBA9876543210ULL)), 0xFEDCBA9876543210ULL);
    EXPECT_EQ(ip_aton("1.2.3.4"), htonl(0x01020304));
    EXPECT_EQ(ip_ntoa(ip_aton("192.168.0.255")), "192.168.0.255");
    EXPECT_EQ(ip_aton("no address"), 0xFFFFFFFFU);
    EXPECT_EQ(ip_aton(istr()), 0xFFFFFFFFU);
}

}  // namespace
}  // namespace qor
