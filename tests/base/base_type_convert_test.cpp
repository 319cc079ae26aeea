#include "qor/base/base_type_convert.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <random>

#include "platform/codepage.h"
#include "platform/utf8.h"

using namespace qor;

namespace {

constexpr long kUtf8 = 65001;
constexpr wchar_t kReplacement = 0xFFFD;

// The well-formed sequences as the Unicode standard lists them: the lead byte, the second byte, and
// the length.
struct WellFormed {
    unsigned leadFrom, leadTo, secondFrom, secondTo;
    std::size_t length;
};
constexpr WellFormed kWellFormed[] = {
    {0x00, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

struct Part {
    wchar_t character;
    std::size_t length;
};

Part referencePart(std::string_view text) {
    const auto byte = [&](std::size_t i) -> unsigned {
        return static_cast<unsigned char>(text[i]);
    };
    for (const WellFormed& row : kWellFormed) {
        if (byte(0) < row.leadFrom || byte(0) > row.leadTo) continue;
        unsigned c = row.length == 1 ? byte(0) : byte(0) & (0x7FU >> row.length);
        for (std::size_t i = 1; i < row.length; ++i) {
            const unsigned from = i == 1 ? row.secondFrom : 0x80;
            const unsigned to = i == 1 ? row.secondTo : 0xBF;
            if (i == text.size() || byte(i) < from || byte(i) > to) return {kReplacement, i};
            c = c << 6 | (byte(i) & 0x3F);
        }
        return {static_cast<wchar_t>(c), row.length};
    }
    return {kReplacement, 1};
}

std::string referenceBytes(wchar_t wide) {
    auto c = static_cast<unsigned>(wide);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    const auto byte = [c](unsigned mark, unsigned shift, unsigned mask) {
        return static_cast<char>(mark | (c >> shift & mask));
    };
    if (c < 0x80) return {byte(0, 0, 0x7F)};
    if (c < 0x800) return {byte(0xC0, 6, 0x1F), byte(0x80, 0, 0x3F)};
    if (c < 0x10000) return {byte(0xE0, 12, 0xF), byte(0x80, 6, 0x3F), byte(0x80, 0, 0x3F)};
    return {byte(0xF0, 18, 7), byte(0x80, 12, 0x3F), byte(0x80, 6, 0x3F), byte(0x80, 0, 0x3F)};
}

// What comes of a text when so much room is given, and how far that is.
template <class Out>
struct Converted {
    Out text;
    std::size_t read = 0;
};

Converted<std::wstring> referenceWide(std::string_view text, std::size_t room = npos) {
    Converted<std::wstring> result;
    while (result.read < text.size() && result.text.size() < room) {
        const Part part = referencePart(text.substr(result.read));
        result.text += part.character;
        result.read += part.length;
    }
    return result;
}

Converted<std::string> referenceUtf8(std::wstring_view text, std::size_t room = npos) {
    Converted<std::string> result;
    for (; result.read < text.size(); ++result.read) {
        const std::string bytes = referenceBytes(text[result.read]);
        if (bytes.size() > room - result.text.size()) break;
        result.text += bytes;
    }
    return result;
}

// Memory that ends where no page is: what reads or writes behind it crashes.
template <class Char>
class Guarded {
public:
    Guarded()
        : block_(static_cast<char*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        mprotect(block_ + size, size, PROT_NONE);
    }
    ~Guarded() { munmap(block_, 2 * size); }
    Char* last(std::size_t n) { return reinterpret_cast<Char*>(block_ + size) - n; }
    std::basic_string_view<Char> hold(std::basic_string_view<Char> text) {
        std::copy(text.begin(), text.end(), last(text.size()));
        return {last(text.size()), text.size()};
    }

private:
    static constexpr std::size_t size = 1 << 16;
    char* block_;
};

class RandomText {
public:
    unsigned below(unsigned n) { return static_cast<unsigned>(random_()) % n; }

    // Some scripts, in runs as text has them; of `damage` in 100 runs something malformed.
    std::string utf8(unsigned damage) {
        static const std::string malformed[] = {"\x80",
                                                "\xC0\x80",
                                                "\xE0\x9F\xBF",
                                                "\xED\xA0\x80",
                                                "\xED\xBF\xBF",
                                                "\xE2\x82",
                                                "\xF0\x8F\xBF\xBF",
                                                "\xF4\x90\x80\x80",
                                                "\xF1\x80\x80",
                                                "\xF9\x88\x80\x80",
                                                "\xFF\xBF\xBF\xBF",
                                                std::string(8, '\x80'),
                                                std::string(40, '\x80')};
        std::string text;
        for (unsigned runs = below(24); runs > 0; --runs) {
            if (below(100) < damage) text += malformed[below(std::size(malformed))];
            for (const wchar_t c : wideRun(false))
                text += referenceBytes(c);
        }
        if (below(100) < damage)
            text.resize(text.size() - std::min<std::size_t>(text.size(), below(4)));
        return text;
    }
    std::wstring wide() {
        std::wstring text;
        for (unsigned runs = below(24); runs > 0; --runs)
            text += wideRun(true);
        return text;
    }

private:
    std::wstring wideRun(bool alsoNoCharacters) {
        static constexpr unsigned ranges[][2] = {
            {0, 0x7F},           {0x61, 0x7A},     {0x80, 0x7FF},
            {0x410, 0x44F},      {0x800, 0xD7FF},  {0xE000, 0xFFFF},
            {0x10000, 0x10FFFF}, {0xD800, 0xDFFF}, {0x110000, 0xFFFFFFFF}};
        const auto& range = ranges[below(alsoNoCharacters ? 9 : 7)];
        std::wstring run(1 + below(below(4) == 0 ? 90 : 9), L'\0');
        for (wchar_t& c : run)
            c = static_cast<wchar_t>(range[0] + random_() % (range[1] - range[0] + 1));
        return run;
    }

    std::mt19937_64 random_{1};
};

class Utf8Forms : public testing::TestWithParam<platform::Utf8Form> {};

INSTANTIATE_TEST_SUITE_P(, Utf8Forms,
                         testing::ValuesIn(platform::utf8Forms().begin(),
                                           platform::utf8Forms().end()),
                         [](const auto& param) {
                             std::string name = param.param.name;
                             std::erase(name, '-');
                             return name;
                         });

// A form gets a room that is just enough, too much or too little, and neither leaves its text nor
// its room.
TEST_P(Utf8Forms, ReadWhatTheReferenceReads) {
    Guarded<char> text;
    Guarded<wchar_t> room;
    RandomText random;
    for (int i = 0; i < 6000; ++i) {
        const std::string given = random.utf8(i % 3 == 0 ? 0 : i % 3 == 1 ? 3 : 60);
        const std::size_t all = referenceWide(given).text.size();
        const std::size_t size =
            i % 4 == 0 ? random.below(static_cast<unsigned>(all) + 1) : all + random.below(3);
        const auto wanted = referenceWide(given, size);
        const auto got = GetParam().toWide(text.hold(given), room.last(size), size);
        ASSERT_EQ(std::wstring(room.last(size), got.written), wanted.text)
            << testing::PrintToString(given);
        ASSERT_EQ(got.read, wanted.read) << testing::PrintToString(given);
    }
}

TEST_P(Utf8Forms, WriteWhatTheReferenceWrites) {
    Guarded<wchar_t> text;
    Guarded<char> room;
    RandomText random;
    for (int i = 0; i < 6000; ++i) {
        const std::wstring given = random.wide();
        const std::size_t all = referenceUtf8(given).text.size();
        const std::size_t size =
            i % 4 == 0 ? random.below(static_cast<unsigned>(all) + 1) : all + random.below(3) * 200;
        const auto wanted = referenceUtf8(given, size);
        const auto got = GetParam().toUtf8(text.hold(given), room.last(size), size);
        ASSERT_EQ(std::string(room.last(size), got.written), wanted.text)
            << testing::PrintToString(given);
        ASSERT_EQ(got.read, wanted.read);
    }
}

TEST_P(Utf8Forms, ReplaceMaximalParts) {
    const struct {
        std::string bytes;
        std::wstring wide;
    } cases[] = {
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82"
         "A",
         L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"
         L"A"},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF"
         "A",
         L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"
         L"A"},
        {"\xF4\x91\x92\x93\xFF"
         "A\x80\xBF"
         "B",
         L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"
         L"A\xFFFD\xFFFD"
         L"B"},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF"
         "A",
         L"\xFFFD\xFFFD\xFFFD\xFFFD"
         L"A"},
        {"\xF4\x8F\xBF\xBF\xED\x9F\xBF\xE0\xA0\x80", L"\x10FFFF\xD7FF\x800"},
    };
    for (const auto& [bytes, wide] : cases) {
        // Behind ASCII, which brings the sequences over every border inside of a form.
        for (std::size_t before = 0; before < 80; ++before) {
            const std::string text = std::string(before, '.') + bytes + std::string(80, '.');
            std::wstring out(text.size(), L'\0');
            out.resize(GetParam().toWide(text, out.data(), out.size()).written);
            ASSERT_EQ(out, std::wstring(before, L'.') + wide + std::wstring(80, L'.'));
        }
    }
}

// Long texts are converted in pieces, and none of them cuts a sequence.
TEST(Convert, LongTextsAreWhole) {
    RandomText random;
    for (int i = 0; i < 200; ++i) {
        std::string text;
        std::wstring wideText;
        while (text.size() < 5000) {
            text += random.utf8(i % 2 == 0 ? 0 : 20);
            wideText += random.wide();
        }
        std::erase(text, '\0');
        std::erase(wideText, L'\0');
        std::wstring wide = L"before";
        utf8ToWstring(text, wide);
        ASSERT_EQ(wide, referenceWide(text).text);
        Bytes bytes(istr("before"));
        wstringToUtf8(wideText, bytes);
        ASSERT_EQ(istr(bytes), istr(referenceUtf8(wideText).text));
        String narrow = "before";
        wstringToAnsi(wideText, narrow, -1);
        ASSERT_EQ(narrow, referenceUtf8(wideText).text);
    }
}

struct PageText {
    const char* name;
    long page;
    std::string bytes;
    std::wstring wide;
};
const auto nameOf = [](const auto& param) { return param.param.name; };

class Pages : public testing::TestWithParam<PageText> {};

INSTANTIATE_TEST_SUITE_P(
    , Pages,
    testing::Values(PageText{"Latin1", 28591, "na\xEFve", L"naïve"},
                    PageText{"Western", 1252, "\x80 5", L"€ 5"},
                    PageText{"Cyrillic", 1251, "\xC4\xE0", L"Да"},
                    PageText{"Dos", 437, "\x81", L"ü"}, PageText{"Host", 37, "\xC1\x6F", L"A?"},
                    PageText{"Chinese", 936, "\xC4\xE3z", L"你z"},
                    PageText{"ChineseIn4Bytes", 54936, "\x94\x39\xFC\x36", L"😀"},
                    PageText{"ChineseTag", 54936, "\xD3\x36\x9C\x33", L"\xE0041"},
                    PageText{"Japanese", 932, "\x82\xA0", L"あ"},
                    PageText{"Koi8", 20866, "\xC4", L"д"}, PageText{"HeldBack", 1258, "\xE0", L"à"},
                    PageText{"Utf8", kUtf8, "\xE2\x82\xAC", L"€"},
                    PageText{"Configured", -1, "\xE2\x82\xAC", L"€"},
                    PageText{"ConfiguredIn32Bits", 0xFFFFFFFF, "\xE2\x82\xAC", L"€"}),
    nameOf);

TEST_P(Pages, ConvertBothWays) {
    const auto& [name, page, bytes, wide] = GetParam();
    const std::string utf8Bytes = referenceUtf8(wide).text;
    EXPECT_EQ(toWstring(ansi(bytes), page), wide);
    EXPECT_EQ(toAnsi(wstr(wide), page), bytes);
    EXPECT_EQ(toAnsi(utf8(utf8Bytes), page), bytes);
    EXPECT_EQ(toUtf8(ansi(bytes), page), istr(utf8Bytes));
    EXPECT_EQ(istr(to_str(wide.c_str(), page).get()), istr(bytes));
    EXPECT_EQ(iwstr(to_wstr(bytes.c_str(), page).get()), iwstr(wide));
    String again;
    ansiToAnsi(bytes, page, again, kUtf8);
    EXPECT_EQ(again, utf8Bytes);
}

// Neither is more written than there is room for, nor a part of a character.
TEST_P(Pages, StopAtTheRoom) {
    const auto& [name, given, bytes, wide] = GetParam();
    const long page = static_cast<long32>(given) == -1 ? kUtf8 : given;
    Guarded<char> narrowRoom;
    Guarded<wchar_t> wideRoom;
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const long n = platform::wideToCodepage(page, wide, narrowRoom.last(size), size);
        ASSERT_GE(n, 0);
        const std::string start(narrowRoom.last(size), static_cast<std::size_t>(n));
        const std::wstring whole = toWstring(ansi(start), page);
        EXPECT_EQ(whole, wide.substr(0, whole.size()));
        EXPECT_EQ(size == bytes.size(), whole == wide);
    }
    for (std::size_t size = 0; size <= wide.size(); ++size) {
        ASSERT_EQ(platform::codepageToWide(page, bytes, wideRoom.last(size), size),
                  static_cast<long>(size));
        EXPECT_EQ(std::wstring(wideRoom.last(size), size), wide.substr(0, size));
    }
}

class MalformedPages : public testing::TestWithParam<PageText> {};

INSTANTIATE_TEST_SUITE_P(, MalformedPages,
                         testing::Values(PageText{"UndefinedByte", 1252, "a\x81z", L"a\xFFFDz"},
                                         PageText{"LeadAlone", 936, "\x81", L"\xFFFD"},
                                         PageText{"LeadBeforeAscii", 936, "\x81 z", L"\xFFFD z"},
                                         PageText{"NoLead", 936, "\xC4\xE3\xFFz", L"你\xFFFDz"},
                                         PageText{"CutIn4Bytes", 54936, "z\x94\x39\xFC",
                                                  L"z\xFFFD"},
                                         PageText{"BehindOneHeldBack", 1258, "A\x8Az", L"A\xFFFDz"},
                                         PageText{"UnknownPage", 4, "text", L""},
                                         PageText{"NegativePage", -2, "text", L""}),
                         nameOf);

TEST_P(MalformedPages, AreReplaced) {
    EXPECT_EQ(toWstring(ansi(GetParam().bytes), GetParam().page), GetParam().wide);
}

class LackingPages : public testing::TestWithParam<PageText> {};

INSTANTIATE_TEST_SUITE_P(
    , LackingPages,
    testing::Values(PageText{"Character", 1252, "a?z", L"aДz"},
                    PageText{"LastCharacter", 1252, "a?", L"aД"},
                    PageText{"InItsOwnCode", 37, "\x6F", L"Д"},
                    PageText{"Tag", 1252, "a?!", L"a\xE0041!"},
                    PageText{"Tags", 1252, "??", L"\xE0041\xE0042"},
                    PageText{"Surrogate", 1252, "?", L"\xD800"},
                    PageText{"SurrogateWithReplacement", 54936, "\x84\x31\xA4\x37", L"\xD800"},
                    PageText{"TooGreat", 1252, "?z", {static_cast<wchar_t>(0x110000), L'z'}},
                    PageText{"UnknownPage", 4, "", L"text"}),
    nameOf);

TEST_P(LackingPages, GiveAQuestionMark) {
    EXPECT_EQ(toAnsi(wstr(GetParam().wide), GetParam().page), GetParam().bytes);
    EXPECT_EQ(toAnsi(utf8(referenceUtf8(GetParam().wide).text), GetParam().page), GetParam().bytes);
}

TEST(Convert, PageOfTheCLocaleIsUtf8) {
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(toWstring(ansi(istr("\xE2\x82\xAC")), 0), L"€");
    EXPECT_EQ(toAnsi(wstr(L"€"), 0), "\xE2\x82\xAC");
}

// Zeros and malformed bytes too.
TEST(Convert, SameEncodingIsPassedOn) {
    const std::string text("\xFF\0\xC3", 3);
    String narrow;
    utf8ToAnsi(text, narrow, kUtf8);
    EXPECT_EQ(narrow, text);
    EXPECT_EQ(toAnsi(utf8(text)), text);
    EXPECT_EQ(toUtf8(ansi(text)), istr(text));
    EXPECT_EQ(toUtf8(utf8(text)), istr(text));
    EXPECT_EQ(toAnsi(ansi(text)), text);
    ansiToAnsi(text, 1252, narrow, 1252);
    EXPECT_EQ(narrow, text);
    ansiToAnsi(text, -1, narrow, 0xFFFFFFFF);
    EXPECT_EQ(narrow, text);
    const std::wstring wide(L"a\0\xD800", 3);
    EXPECT_EQ(toWstring(wstr(wide)), wide);
}

TEST(Convert, EndsAtTheFirstZero) {
    const std::string text("a\0z", 3);
    const std::wstring wide(L"a\0z", 3);
    EXPECT_EQ(toWstring(utf8(text)), L"a");
    EXPECT_EQ(toWstring(ansi(text), 1252), L"a");
    EXPECT_EQ(toAnsi(wstr(wide), kUtf8), "a");
    EXPECT_EQ(toAnsi(wstr(wide), 1252), "a");
    EXPECT_EQ(toUtf8(wstr(wide)), istr("a"));
    EXPECT_EQ(toAnsi(utf8(text), 1252), "a");
    EXPECT_EQ(toUtf8(ansi(text), 1252), istr("a"));
}

// -1 and the page that it stands for are two numbers, so the text is converted.
TEST(Convert, PagesAreComparedAsGiven) {
    String narrow;
    ansiToAnsi(istr("\xFF\0z", 3), -1, narrow, kUtf8);
    EXPECT_EQ(narrow, "\xEF\xBF\xBD");
}

TEST(Convert, OutputMayOwnTheSource) {
    const std::string western(3000, '\xE9');
    const std::string utf8Bytes = toAnsi(wstr(std::wstring(3000, L'é')), kUtf8);
    String text = utf8Bytes;
    utf8ToAnsi(text, text, 1252);
    EXPECT_EQ(text, western);
    ansiToAnsi(text, 1252, text, kUtf8);
    EXPECT_EQ(text, utf8Bytes);
    utf8ToAnsi(istr(text).removeLeft(2998), text, kUtf8);
    EXPECT_EQ(text, utf8Bytes.substr(2998));
    Bytes bytes{istr(western)};
    ansiToUtf8(bytes, bytes, 1252);
    EXPECT_EQ(bytes, istr(utf8Bytes));
    std::wstring wide(2000, L'a');
    utf8ToWstring(istr(reinterpret_cast<const char*>(wide.data()), 1), wide);
    EXPECT_EQ(wide, L"a");
}

TEST(Convert, NoTextIsEmptyText) {
    String narrow = "before";
    utf8ToAnsi(istr(), narrow, 1252);
    EXPECT_TRUE(narrow.empty());
    wstringToAnsi(iwstr(nullptr, npos), narrow = "before", kUtf8);
    EXPECT_TRUE(narrow.empty());
    Bytes bytes(istr("before"));
    ansiToUtf8(istr(), bytes, 1252);
    EXPECT_TRUE(bytes.empty());
    EXPECT_STREQ(to_str(static_cast<const char*>(nullptr)).get(), "");
    EXPECT_STREQ(to_str(static_cast<const wchar_t*>(nullptr)).get(), "");
    EXPECT_STREQ(to_utf8str(L"").get(), "");
    EXPECT_STREQ(to_wstr("").get(), L"");
    EXPECT_STREQ(to_wstr(static_cast<const wchar_t*>(nullptr)).get(), L"");
}

}  // namespace
