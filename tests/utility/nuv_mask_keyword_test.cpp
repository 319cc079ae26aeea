#include "nuv_mask_keyword.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

namespace {

TEST(MaskKeyword, Addresses) {
    const struct {
        const char* input;
        const char* output;  // null: refused
    } cases[] = {
        {"1.2.3.4", "1.**.**.4"},
        {"192.168.100.200", "192.**.**.200"},
        {"a.b.c.d", "a.**.**.d"},
        {"10..3.4", "10.**.**.4"},
        {"....", nullptr},
        {"1.2.3.", nullptr},       // 6 characters
        {"1.2.3.44444", nullptr},  // a part of more than 3
        {"1.2.3.4.", nullptr},
        {"1.2.33", nullptr},
        {"111.222.33", nullptr},
        {"192.168.100.2000", nullptr},  // 16 characters
        {"1234567", nullptr},
        {"1:2:3:4:5:6:7:8", "1:2:****:****:****:****:7:8"},
        {"1:2:3:4:5:6:7:", nullptr},  // 14 characters
        {"fe80::1:2:3:4:5:6", "fe80::****:****:****:****:5:6"},
        {"2001:0db8:85a3:0000:0000:8a2e:0370:7334", "2001:0db8:****:****:****:****:0370:7334"},
        {"1:2:3:4:5:6:7:8:9", nullptr},
        {"1:2:3:4:5:6:7:8:9:0", "1:2:****:****:****:****:7:8:9:0"},
        {"1:2:3:4:5:6:7:8:9:0:1", nullptr},
        {"1:2:3:4:5:6:7:8:9:0:1:2:3", nullptr},
        {"12345:2:3:4:5:6:7:8", nullptr},
        {"1:2:3:4:5:6:7:1.2", "1:2:****:****:****:****:7:1.2"},  // ":" decides
        {"::ffff:1.2.3.4", nullptr},
        // 45 and 46 characters.
        {"1:2:3333:4444:5555:6666:7777:8888:9999:000:", nullptr},
        {"1:22:3333:4444:5555:6666:7777:8888:9999:00000", nullptr},
        {"1:2222:3333:4444:5555:6666:7777:8888:9999:000",
         "1:2222:****:****:****:****:7777:8888:9999:000"},
        {"1:2222:3333:4444:5555:6666:7777:8888:9999:0000", nullptr},
        // Its masked form has 46 characters.
        {"11:2222:3:4:5:6:7777:8888:9999:0000", "11:2222:****:****:****:****:7777:8888:9999:0000"},
    };
    for (const auto& [input, output] : cases) {
        std::string room(100, 'x');
        EXPECT_EQ(nuv_mask_keyword(input, room.data(), room.size()), output != nullptr ? 0 : 1)
            << input;
        EXPECT_STREQ(room.c_str(), output != nullptr ? output : "") << input;
    }
}

TEST(MaskKeyword, Room) {
    const struct {
        const char* input;
        std::size_t room;
        int result;
    } cases[] = {
        {"1.2.3.4", 46, 0},
        {"1.2.3.4", 45, 1},
        {nullptr, 46, 1},
        {"1:2222:3:4:5:6:7777:8888:9999:000", 46, 0},
        {"1:2222:3:4:5:6:7777:8888:9999:0000", 46, 1},
        {"1:2222:3:4:5:6:7777:8888:9999:0000", 47, 0},
    };
    for (const auto& [input, size, result] : cases) {
        std::string room(size, 'x');
        EXPECT_EQ(nuv_mask_keyword(input, room.data(), size), result) << size;
        EXPECT_EQ(room[0] == '\0', result != 0) << size;
    }
    EXPECT_EQ(nuv_mask_keyword("1.2.3.4", nullptr, 46), 1);
    char untouched = 'x';
    EXPECT_EQ(nuv_mask_keyword("1.2.3.4", &untouched, 0), 1);
    EXPECT_EQ(untouched, 'x');
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

std::string times(int n, const std::string& text) {
    std::string all;
    while (n-- > 0)
        all += text;
    return all;
}

TEST(MaskText, Occurrences) {
    nuv_set_keyword("1.2.3.4");
    const std::pair<std::string, std::string> cases[] = {
        {"none", "none"},
        {"1.2.3.4", "1.**.**.4"},
        {"from 1.2.3.4 to 11.2.3.45", "from 1.**.**.4 to 11.**.**.45"},
        {"1.2.3.1.2.3.4", "1.2.3.1.**.**.4"},
        // Each takes 2 of the 100 bytes, of which the terminator needs one.
        {times(49, "1.2.3.4") + "!", times(49, "1.**.**.4") + "!"},
        {times(50, "1.2.3.4") + "!", times(50, "1.**.**.4").substr(0, 450)},
        {times(60, "1.2.3.4") + "!", times(60, "1.**.**.4").substr(0, 520)},
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
    for (const char* keyword :
         {"1.2.3.", "1.2.3.4444", "", static_cast<const char*>(nullptr), tooLong.c_str()}) {
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
