#include "nuv_mask_keyword.h"

#include "support/formats.h"
#include "support/test.h"

namespace {

TEST(MaskKeyword, Addresses) {
    const std::string nine = "7777:8888:9999:";
    const struct {
        std::string input;
        std::string output;  // empty: refused
        std::size_t room = 46;
    } cases[] = {
        {"1.2.3.4", "", 45},
        {"a.b.c.d", "a.**.**.d"},
        {"10..3.4", "10.**.**.4"},
        {"192.168.100.200", "192.**.**.200"},
        {"1.2.3.", ""},
        {"1.2.3.4.", ""},
        {"1.2.3.4444", ""},
        {"111.222.333", ""},
        {"1:2:3:4:5:6:7:", ""},
        {"1:2:3:4:5:6:7:8", "1:2:****:****:****:****:7:8"},
        {"12345:2:3:4:5:6:7:8", ""},
        {"1:2:3:4:5:6:7:8:9", ""},
        {"1:2:3:4:5:6:7:8:9:0", "1:2:****:****:****:****:7:8:9:0"},
        {"1:2:3:4:5:6:7:8:9:0:1:2", ""},
        {"1:2:3:4:5:6:7:8:9:0:1:2:3", ""},
        // A ":" anywhere makes it an address of the longer kind.
        {"1:2:3:4:5:6:7:1.2", "1:2:****:****:****:****:7:1.2"},
        // 45 and 46 characters.
        {"1:2222:3333:4444:5555:666:" + nine + "0000",
         "1:2222:****:****:****:****:" + nine + "0000", 47},
        {"1:2222:3333:4444:5555:6666:" + nine + "0000", "", 47},
        // The masked form has 45 and 46.
        {"1:2222:3:4:5:6:" + nine + "000", "1:2222:****:****:****:****:" + nine + "000"},
        {"1:2222:3:4:5:6:" + nine + "0000", ""},
    };
    for (const auto& [input, output, room] : cases) {
        std::string masked(room, 'x');
        EXPECT_EQ(nuv_mask_keyword(input.c_str(), masked.data(), room), output.empty()) << input;
        EXPECT_EQ(masked.c_str(), output) << input;
    }
    char output[46] = "x";
    EXPECT_EQ(nuv_mask_keyword("1.2.3.4", nullptr, 46), 1);
    EXPECT_EQ(nuv_mask_keyword("1.2.3.4", output, 0), 1);
    EXPECT_STREQ(output, "x");
    EXPECT_EQ(nuv_mask_keyword(nullptr, output, 46), 1);
    EXPECT_STREQ(output, "");
}

std::optional<std::string> masked(const std::string& text) {
    char* result = nullptr;
    std::size_t length = 0;
    if (nuv_mask_text(text.c_str(), &result, &length) != 0) return std::nullopt;
    std::string copy(result);
    std::free(result);
    EXPECT_EQ(copy.size(), length);
    return copy;
}

using support::repeated;

TEST(MaskText, Occurrences) {
    nuv_set_keyword("1.2.3.4");
    const std::pair<std::string, std::string> cases[] = {
        {"none", "none"},
        {"1.2.3.4", "1.**.**.4"},
        {"from 1.2.3.4 to 11.2.3.45", "from 1.**.**.4 to 11.**.**.45"},
        {"1.2.3.1.2.3.4", "1.2.3.1.**.**.4"},
        // Each occurrence takes 2 of the 100 spare bytes, and the terminator takes one.
        {repeated("1.2.3.4", 49) + "!", repeated("1.**.**.4", 49) + "!"},
        {repeated("1.2.3.4", 50) + "!", repeated("1.**.**.4", 50)},
        {repeated("1.2.3.4", 60) + "!", repeated("1.**.**.4", 60).substr(0, 520)},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(masked(text), expected);
}

TEST(MaskText, Refused) {
    nuv_set_keyword("1.2.3.4");
    char* result = nullptr;
    std::size_t length = 0;
    EXPECT_EQ(nuv_mask_text(nullptr, &result, &length), 1);
    EXPECT_EQ(nuv_mask_text("x", nullptr, &length), 1);
    EXPECT_EQ(nuv_mask_text("x", &result, nullptr), 1);
    EXPECT_EQ(masked(""), std::nullopt);
    const std::string tooLong = "2001:0db8:85a3:0000:0000:8a2e:0370:7334:0000:0";
    for (const char* keyword : {"1.2.3.4444", static_cast<const char*>(nullptr), tooLong.c_str()}) {
        nuv_set_keyword(keyword);
        EXPECT_EQ(masked("text"), std::nullopt);
    }
}

TEST(MaskText, KeywordIsSetByAnyThread) {
    nuv_set_keyword("1.2.3.4");
    std::thread setter([] {
        for (int i = 0; i < 2000; ++i)
            nuv_set_keyword(i % 2 == 0 ? "111.222.111.222" : "1.2.3.4");
    });
    for (int i = 0; i < 2000; ++i) {
        const std::string text = masked("1.2.3.4 111.222.111.222").value();
        EXPECT_TRUE(text == "1.**.**.4 111.222.111.222" || text == "1.2.3.4 111.**.**.222") << text;
    }
    setter.join();
}

}  // namespace
