#include "qor/base/base_type_convert.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <random>

#include "platform/codepage.h"
#include "platform/utf8.h"

using namespace qor;

namespace {

constexpr long kUtf8 = 65001;
constexpr wchar_t kReplacement = 0xFFFD;

// What comes of a text when so much room is given, and how far that is.
template <class Out>
struct Converted {
    Out text;
    std::size_t read = 0;
};

// The well-formed sequences as the Unicode standard lists them: the lead byte, the second byte, and
// the length.
constexpr struct {
    unsigned leadFrom, leadTo, secondFrom, secondTo;
    std::size_t length;
} kWellFormed[] = {
    {0x00, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

// The first character of a text and its length.
std::pair<wchar_t, std::size_t> referencePart(std::string_view text) {
    const auto byte = [&](std::size_t i) { return unsigned(static_cast<unsigned char>(text[i])); };
    for (const auto& row : kWellFormed) {
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

Converted<std::wstring> referenceWide(std::string_view text, std::size_t room = npos) {
    Converted<std::wstring> result;
    while (result.read < text.size() && result.text.size() < room) {
        const auto [character, length] = referencePart(text.substr(result.read));
        result.text += character;
        result.read += length;
    }
    return result;
}

std::string referenceBytes(wchar_t wide) {
    auto c = static_cast<unsigned>(wide);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = kReplacement;
    const unsigned tails = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    const unsigned marks[] = {0, 0xC0, 0xE0, 0xF0};
    std::string bytes(1, static_cast<char>(marks[tails] | c >> 6 * tails));
    for (unsigned i = tails; i-- > 0;)
        bytes += static_cast<char>(0x80 | (c >> 6 * i & 0x3F));
    return bytes;
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
    unsigned below(std::size_t n) { return static_cast<unsigned>(random_() % n); }

    // Some scripts, in runs as text has them; the last two ranges are no characters.
    std::wstring wide(unsigned ranges = 9) {
        static constexpr unsigned all[][2] = {
            {0, 0x7F},           {0x61, 0x7A},     {0x80, 0x7FF},
            {0x410, 0x44F},      {0x800, 0xD7FF},  {0xE000, 0xFFFF},
            {0x10000, 0x10FFFF}, {0xD800, 0xDFFF}, {0x110000, 0xFFFFFFFF}};
        std::wstring text;
        for (unsigned runs = below(24); runs > 0; --runs) {
            const auto& [from, to] = all[below(ranges)];
            for (unsigned n = 1 + below(below(4) == 0 ? 90 : 9); n > 0; --n)
                text += static_cast<wchar_t>(from + random_() % (to - from + 1));
        }
        return text;
    }
    // Behind so many of 1000 characters stands what is at a border of the well-formed, or a run of
    // tails; the end may be cut.
    std::string utf8(unsigned damages) {
        static constexpr std::string_view leads = "\xC0\xC1\xC2\xE0\xED\xF0\xF4\xF5\xF9\xFF";
        static constexpr std::string_view seconds = "\x80\x8F\x90\x9F\xA0\xBF", tails = "\x80\xBF";
        std::string text;
        for (const wchar_t c : wide(7)) {
            text += referenceBytes(c);
            if (below(1000) >= damages) continue;
            const char border[] = {leads[below(leads.size())], seconds[below(seconds.size())],
                                   tails[below(2)], tails[below(2)]};
            text += below(4) == 0 ? std::string(below(2) * 30 + below(12), tails[0])
                                  : std::string(border, below(4) + 1);
        }
        text.resize(text.size() - std::min<std::size_t>(text.size(), damages != 0 ? below(4) : 0));
        return text;
    }

private:
    std::mt19937_64 random_{1};
};

// A conversion gets a room that is just enough, too much or too little, and leaves neither its text
// nor its room.
template <class From, class To>
void expectLike(auto reference, auto convert, const std::basic_string<From>& given,
                RandomText& random) {
    const std::size_t all = reference(given, npos).text.size();
    const std::size_t size =
        random.below(4) == 0 ? random.below(all + 1) : all + random.below(3) * random.below(200);
    const auto wanted = reference(given, size);
    static Guarded<From> text;
    static Guarded<To> room;
    const auto got = convert(text.hold(given), room.last(size), size);
    ASSERT_EQ(std::basic_string<To>(room.last(size), got.written), wanted.text)
        << testing::PrintToString(given);
    ASSERT_EQ(got.read, wanted.read) << testing::PrintToString(given);
}

TEST(Utf8, EveryFormConvertsAsTheReference) {
    for (const platform::Utf8Form& form : platform::utf8Forms()) {
        SCOPED_TRACE(form.name);
        RandomText random;
        for (unsigned i = 0; i < 9000; ++i) {
            const std::string text = random.utf8(i % 3 == 0 ? 0 : i % 3 == 1 ? 9 : 200);
            expectLike<char, wchar_t>(referenceWide, form.toWide, text, random);
            if (i % 2 == 0)
                expectLike<wchar_t, char>(referenceUtf8, form.toUtf8, random.wide(), random);
        }
    }
}

// The examples of the Unicode standard.
TEST(Utf8, ReplacesMaximalParts) {
    const std::pair<const char*, std::wstring> cases[] = {
        {"C0AFE080BFF0818241", std::wstring(8, kReplacement) + L"A"},
        {"EDA080EDBFBFEDAF41", std::wstring(8, kReplacement) + L"A"},
        {"F4919293FF4180BF42",
         L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"
         L"A\xFFFD\xFFFD"
         L"B"},
        {"E180E2F09192F1BF41", std::wstring(4, kReplacement) + L"A"},
        {"F48FBFBFED9FBFE0A080", L"\x10FFFF\xD7FF\x800"}};
    for (const auto& [hex, wide] : cases)
        EXPECT_EQ(toWstring(utf8(hexstr2bytes(hex))), wide) << hex;
}

// Long texts are converted in pieces, and none of them cuts a sequence.
TEST(Convert, LongTextsAreWhole) {
    RandomText random;
    for (unsigned i = 0; i < 200; ++i) {
        std::string text;
        std::wstring wideText;
        while (text.size() < 5000) {
            text += random.utf8(i % 2 * 9);
            wideText += random.wide();
        }
        std::erase(text, '\0');
        std::erase(wideText, L'\0');
        ASSERT_EQ(toWstring(utf8(text)), referenceWide(text).text);
        ASSERT_EQ(toUtf8(wstr(wideText)), istr(referenceUtf8(wideText).text));
        ASSERT_EQ(toAnsi(wstr(wideText)), referenceUtf8(wideText).text);
    }
}

struct PageText {
    long page;
    std::string bytes;
    std::wstring wide;
};

const PageText kPages[] = {
    {28591, "na\xEFve", L"naïve"},
    {1252, "\x80 5", L"€ 5"},
    {1251, "\xC4\xE0", L"Да"},
    {437, "\x81", L"ü"},
    {37, "\xC1\x6F", L"A?"},
    {936, "\xC4\xE3z", L"你z"},
    {54936, "\x94\x39\xFC\x36", L"😀"},
    {54936, "\xD3\x36\x9C\x33", L"\xE0041"},
    {932, "\x82\xA0", L"あ"},
    {20866, "\xC4", L"д"},
    {1258, "\xE0", L"à"},  // held back by the converter: more could belong to it
    {kUtf8, "\xE2\x82\xAC", L"€"},
    {-1, "\xE2\x82\xAC", L"€"},
    {0xFFFFFFFF, "\xE2\x82\xAC", L"€"},
};

TEST(Pages, ConvertBothWays) {
    for (const auto& [page, bytes, wide] : kPages) {
        SCOPED_TRACE(page);
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
}

// Neither is more written than there is room for, nor a part of a character.
TEST(Pages, StopAtTheRoom) {
    Guarded<char> narrowRoom;
    Guarded<wchar_t> wideRoom;
    for (const auto& [given, bytes, wide] : kPages) {
        const long page = static_cast<long32>(given) == -1 ? kUtf8 : given;
        SCOPED_TRACE(page);
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
}

TEST(Pages, ReplaceWhatIsMalformedOrLacking) {
    const PageText malformed[] = {{1252, "a\x81z", L"a\xFFFDz"},
                                  {936, "\x81", L"\xFFFD"},
                                  {936, "\x81 z", L"\xFFFD z"},
                                  {936, "\xC4\xE3\xFFz", L"你\xFFFDz"},
                                  {54936, "z\x94\x39\xFC", L"z\xFFFD"},
                                  {1258, "A\x8Az", L"A\xFFFDz"},
                                  {4, "text", L""},
                                  {-2, "text", L""}};
    for (const auto& [page, bytes, wide] : malformed)
        EXPECT_EQ(toWstring(ansi(bytes), page), wide) << page << bytes;
    const PageText lacking[] = {{1252, "a?z", L"aДz"},
                                {1252, "a?", L"aД"},
                                {37, "\x6F", L"Д"},
                                {1252, "a?!", L"a\xE0041!"},
                                {1252, "??", L"\xE0041\xE0042"},
                                {1252, "?", L"\xD800"},
                                {54936, "\x84\x31\xA4\x37", L"\xD800"},
                                {1252, "?z", {static_cast<wchar_t>(0x110000), L'z'}},
                                {4, "", L"text"}};
    for (const auto& [page, bytes, wide] : lacking) {
        EXPECT_EQ(toAnsi(wstr(wide), page), bytes) << page;
        EXPECT_EQ(toAnsi(utf8(referenceUtf8(wide).text), page), bytes) << page;
    }
}

TEST(Pages, OfTheCLocaleIsUtf8) {
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(toWstring(ansi("\xE2\x82\xAC"), 0), L"€");
    EXPECT_EQ(toAnsi(wstr(L"€"), 0), "\xE2\x82\xAC");
}

// Zeros and malformed bytes too.
TEST(Convert, SameEncodingIsPassedOn) {
    const std::string text("\xFF\0\xC3", 3);
    EXPECT_EQ(toAnsi(utf8(text), kUtf8), text);
    EXPECT_EQ(toAnsi(utf8(text)), text);
    EXPECT_EQ(toUtf8(ansi(text)), istr(text));
    EXPECT_EQ(toUtf8(utf8(text)), istr(text));
    EXPECT_EQ(toAnsi(ansi(text)), text);
    const std::wstring wide(L"a\0\xD800", 3);
    EXPECT_EQ(toWstring(wstr(wide)), wide);
    // -1 and the page that it stands for are two numbers, so the text is converted.
    const std::pair<std::pair<long, long>, std::string> pages[] = {
        {{1252, 1252}, text}, {{-1, 0xFFFFFFFF}, text}, {{-1, kUtf8}, "\xEF\xBF\xBD"}};
    for (const auto& [page, expected] : pages) {
        String narrow;
        ansiToAnsi(text, page.first, narrow, page.second);
        EXPECT_EQ(narrow, expected);
    }
}

TEST(Convert, EndsAtTheFirstZero) {
    const std::string text("a\0z", 3);
    const std::wstring wide(L"a\0z", 3);
    EXPECT_EQ(toWstring(utf8(text)) + toWstring(ansi(text), 1252), L"aa");
    EXPECT_EQ(toAnsi(wstr(wide), kUtf8) + toAnsi(wstr(wide), 1252), "aa");
    EXPECT_EQ(toUtf8(wstr(wide)), istr("a"));
    EXPECT_EQ(toAnsi(utf8(text), 1252), "a");
    EXPECT_EQ(toUtf8(ansi(text), 1252), istr("a"));
}

TEST(Convert, OutputMayOwnTheSource) {
    const std::string western(3000, '\xE9');
    const std::string utf8Bytes = referenceUtf8(std::wstring(3000, L'é')).text;
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
}

TEST(Convert, NoTextIsEmptyText) {
    String narrow = "before";
    utf8ToAnsi(istr(), narrow, 1252);
    EXPECT_TRUE(narrow.empty());
    wstringToAnsi(iwstr(nullptr, npos), narrow = "before", kUtf8);
    EXPECT_TRUE(narrow.empty());
    EXPECT_STREQ(to_str(static_cast<const char*>(nullptr)).get(), "");
    EXPECT_STREQ(to_utf8str(nullptr).get(), "");
    EXPECT_STREQ(to_wstr("").get(), L"");
    EXPECT_STREQ(to_wstr(static_cast<const wchar_t*>(nullptr)).get(), L"");
}

}  // namespace
