#include "support/test.h"

namespace qor {
namespace {

template <class T>
std::size_t hashOf(const T& value) {
    return std::hash<T>()(value);
}

// Equal values have the same hash, and the different ones here have different hashes.
template <class T>
void expectAgreement(std::initializer_list<T> values) {
    for (const T& left : values) {
        for (const T& right : values)
            EXPECT_EQ(hashOf(left) == hashOf(right), left == right);
    }
    EXPECT_LT(std::unordered_set<T>(values).size(), values.size()) << "no two are equal";
}

TEST(Hash, OfTextIsThatOfItsCharacters) {
    const std::string content("a\0b", 3);
    const std::size_t expected = std::hash<std::string_view>()(content);
    EXPECT_EQ(hashOf(istr(content)), expected);
    EXPECT_EQ(hashOf(String(content)), expected);
    EXPECT_EQ(hashOf(Bytes(istr(content))), expected);
    EXPECT_EQ(hashOf(ansi(content)), expected);
    EXPECT_EQ(hashOf(utf8(content)), expected);
    EXPECT_EQ(hashOf(base64(content)), expected);
    EXPECT_EQ(hashOf(istr_cp(content, 1252)), expected);
    EXPECT_NE(hashOf(istr("a")), expected);
    // Null and empty text are equal.
    expectAgreement<istr>({istr(), istr(""), istr("a")});
    expectAgreement<Bytes>({Bytes(), Bytes(8), Bytes(istr("a"))});

    const std::wstring wide(L"a\0b", 3);
    expectAgreement<iwstr>({iwstr(wide), iwstr(std::wstring(wide).c_str(), 1), L"a", L"", iwstr()});
    EXPECT_EQ(hashOf(wstr(wide)), hashOf(iwstr(wide)));
    EXPECT_EQ(hashOf(iwstr_cp(wide, 1)), std::hash<std::wstring_view>()(wide));
}

TEST(Hash, OfScalarsIsThatOfTheirValues) {
    expectAgreement<Bit>({true, false, 7});
    expectAgreement<Byte>({1, 257, 2});
    expectAgreement<Sbyte>({-1, 255, 1});
    expectAgreement<Char>({'a', 'b', 'a'});
    expectAgreement<Short>({-1, 65535, 1});
    expectAgreement<Ushort>({1, 65537, 2});
    expectAgreement<Long>({1, 0x100000001LL, -1});
    expectAgreement<Ulong>({1, 0x100000001LL, -1});
    expectAgreement<Longlong>({1, 1, 2});
    expectAgreement<Ulonglong>({1, 1, 2});
    expectAgreement<Wchar>({L'a', L'b', L'a'});
    // The two zeros are equal.
    expectAgreement<Float>({0.0F, -0.0F, 1.5F});
    expectAgreement<Double>({0.0, -0.0, 1.5});
}

TEST(Hash, OfOtherValuesAgreesWithTheirEquality) {
    expectAgreement<TriBool>({TriBool(), -5, 0, false, true});
    expectAgreement<Time>({Time(), Time::microSeconds(0), Time::seconds(1), Time::forever()});
    expectAgreement<Version>({{2, 5}, {5, 2}, {2, 5}});
    expectAgreement<TcpAddr>({{80, "a"}, {80, "b"}, {81, "a"}, {80, "a"}});
    expectAgreement<Optional<String>>({{}, Optional<String>(), String("a"), String("a")});
    // By the packed form, which has 15 bits of the generation.
    expectAgreement<TimerId>({TimerId(1, 2), TimerId(1 + (1UL << 15), 2), TimerId(2, 1)});
}

template <class T>
concept HasHash = std::is_default_constructible_v<std::hash<T>>;
struct NoHash {};
// The equality of slices is no equivalence; see their header.
static_assert(!HasHash<StringSlice> && !HasHash<Optional<NoHash>> && HasHash<Optional<Time>>);

}  // namespace
}  // namespace qor
