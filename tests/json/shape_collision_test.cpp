#include "base/text_hash.h"
#include "support/formats.h"
#include "support/test.h"

// Objects whose keys have the same hash share a place in the table of shapes, and keep their keys.
// The hash has a random key; in this program it is a known one.

#if defined(__GLIBCXX__)

namespace {

constexpr std::uint32_t kDrawn = 0x9E3779B1;
constexpr std::uint64_t kKey = std::uint64_t(kDrawn) << 32 | kDrawn;

}  // namespace

// Replaces the standard library's function, for the library too.
std::random_device::result_type std::random_device::_M_getval() {
    return kDrawn;
}

namespace qor::json {
namespace {

// The steps of TextHash for a word, and for a key of 8 bytes.
std::uint64_t mixed(std::uint64_t value, std::uint64_t word) {
    value = (value ^ word) * kKey;
    value = (value ^ value >> 32) * kKey;
    return value ^ value >> 32;
}
std::uint64_t beforeWord(std::uint64_t value) {
    return mixed(value, 8);
}

std::uint64_t wordOf(const std::string& key) {
    std::uint64_t word = 0;
    std::memcpy(&word, key.data(), sizeof word);
    return word;
}

std::uint64_t hashOf(const std::string& first, const std::string& second) {
    TextHash hash;
    hash.add(first);
    hash.add(second);
    return hash.value();
}

bool isPlain(const std::string& key) {
    return std::all_of(key.begin(), key.end(),
                       [](char c) { return c >= '#' && c <= '~' && c != '\\'; });
}

std::string objectOf(const std::string& first, const std::string& second) {
    return "{ \"" + first + "\":1, \"" + second + "\":2 }";
}

TEST(ShapeTable, KeepsKeysOfOneHashApart) {
    const std::string a = "keyAAAAA", b = "keyBBBBB";
    const std::uint64_t state = beforeWord(mixed(beforeWord(kKey), wordOf(a)));
    // The state after another first key determines the second key that leads to the same hash.
    std::string c, d(8, '\0');
    for (unsigned i = 0; !isPlain(d) || d < c; ++i) {
        ASSERT_LT(i, 1000000u);
        c = std::to_string(10000000 + i);
        const std::uint64_t other = beforeWord(mixed(beforeWord(kKey), wordOf(c)));
        const std::uint64_t word = state ^ wordOf(b) ^ other;
        std::memcpy(d.data(), &word, sizeof word);
    }
    ASSERT_EQ(hashOf(a, b), hashOf(c, d));

    // A text of few objects has no table.
    const std::string one = objectOf(a, b), two = objectOf(c, d);
    const JsonUnit all(JsonParser::from("[" + repeated(one + "," + two + ",", 30) + "]"));
    for (unsigned i = 0; i < 60; ++i)
        EXPECT_EQ(all.arrayValue()->at(i).value()->toString(), i % 2 == 0 ? one : two) << i;
}

// Texts whose hashes would be equal with any key if a word was multiplied only once.
TEST(TextHash, KeepsFlippedHighestBitsApart) {
    for (std::uint64_t i = 0; i < 100; ++i) {
        const std::uint64_t words[] = {i * 0x9E3779B97F4A7C15, i};
        const std::uint64_t flipped[] = {words[0] ^ 1ULL << 63, words[1] ^ 1ULL << 63 ^ 1ULL << 31};
        TextHash one, other;
        one.add(istr(reinterpret_cast<const char*>(words), sizeof words));
        other.add(istr(reinterpret_cast<const char*>(flipped), sizeof flipped));
        EXPECT_NE(one.value(), other.value()) << i;
    }
}

}  // namespace
}  // namespace qor::json

#endif
