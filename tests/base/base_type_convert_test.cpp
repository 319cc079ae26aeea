#include "qor/base/base_type_convert.h"

#include <sys/mman.h>

#include "platform/codepage.h"
#include "platform/processor.h"
#include "platform/utf8.h"
#include "support/child.h"
#include "support/test.h"

using namespace qor;

namespace {

constexpr long kUtf8 = 65001;
constexpr wchar_t kReplacement = 0xFFFD;

// Whole texts, as the form that runs everywhere converts them.
std::wstring wideOf(std::string_view text) {
    std::wstring out(text.size(), L'\0');
    out.resize(platform::utf8Forms().back().toWide(text, out.data(), out.size()).written);
    return out;
}

std::string bytesOf(std::wstring_view text) {
    std::string out(4 * text.size(), '\0');
    out.resize(platform::utf8Forms().back().toUtf8(text, out.data(), out.size()).written);
    return out;
}

// Memory that ends before an unmapped page: reading or writing after it crashes.
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
    // After `damages` of 1000 characters come bytes at a border of the well-formed ones, or a run
    // of tails. The end may be cut.
    std::string utf8(unsigned damages) {
        static constexpr std::string_view leads = "\xC0\xC1\xC2\xE0\xED\xF0\xF4\xF5\xF9\xFF";
        static constexpr std::string_view seconds = "\x80\x8F\x90\x9F\xA0\xBF", tails = "\x80\xBF";
        std::string text;
        for (const wchar_t c : wide(7)) {
            text += bytesOf({&c, 1});
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

// In a room that is large enough or too small, a form writes as much as fits, and never reads or
// writes outside of its text and its room.
template <class To, class From>
void expectLike(auto whole, auto convert, const std::basic_string<From>& given,
                RandomText& random) {
    const std::basic_string<To> all = whole(given);
    const std::size_t size = random.below(4) == 0
                                 ? random.below(all.size() + 1)
                                 : all.size() + random.below(3) * random.below(200);
    static Guarded<From> text;
    static Guarded<To> room;
    const auto [read, written] = convert(text.hold(given), room.last(size), size);
    ASSERT_EQ(std::basic_string<To>(room.last(size), written) + whole(given.substr(read)), all);
    ASSERT_TRUE(read == given.size() || whole(given.substr(read, 1)).size() > size - written);
}

TEST(Utf8, FormsAgree) {
    EXPECT_TRUE(platform::vectorsAllowed() || platform::utf8Forms().size() == 1);
    for (const platform::Utf8Form& form : platform::utf8Forms()) {
        SCOPED_TRACE(form.name);
        RandomText random;
        for (unsigned i = 0; i < 9000; ++i) {
            const std::string text = random.utf8(i % 3 == 0 ? 0 : i % 3 == 1 ? 9 : 200);
            expectLike<wchar_t>(wideOf, form.toWide, text, random);
            if (i % 2 == 0) expectLike<char>(bytesOf, form.toUtf8, random.wide(), random);
        }
    }
}

// The examples of the Unicode standard, and the borders of the well-formed sequences.
TEST(Utf8, ReplacesMaximalParts) {
    const std::pair<const char*, std::wstring> cases[] = {
        {"EDA080EDBFBFEDAF41", std::wstring(8, kReplacement) + L"A"},
        {"E180E2F09192F1BF41", std::wstring(4, kReplacement) + L"A"},
        {"C1BFC280DFBF", L"\xFFFD\xFFFD\x80\x7FF"},
        {"E09FBFE0A080", L"\xFFFD\xFFFD\xFFFD\x800"},
        {"ED9FBFEE8080EFBFBF", L"\xD7FF\xE000\xFFFF"},
        {"F08FBFBFF0908080", L"\xFFFD\xFFFD\xFFFD\xFFFD\x10000"},
        {"F48FBFBFF4908080F580", L"\x10FFFF\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"}};
    for (const auto& [hex, wide] : cases) {
        const Bytes bytes = hexstr2bytes(hex);
        EXPECT_EQ(wideOf({bytes.c_str(), bytes.size()}), wide) << hex;
    }
    const wchar_t characters[] = {0x7F,    0x80,     0x7FF,  0x800,  0xD7FF,   0xE000,     0xFFFF,
                                  0x10000, 0x10FFFF, 0xD800, 0xDFFF, 0x110000, wchar_t(-1)};
    EXPECT_EQ(bytes2hexstr(bytesOf({characters, std::size(characters)})),
              "7FC280DFBFE0A080ED9FBFEE8080EFBFBFF0908080F48FBFBFEFBFBDEFBFBDEFBFBDEFBFBD");
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
        ASSERT_EQ(toWstring(utf8(text)), wideOf(text));
        ASSERT_EQ(toUtf8(wstr(wideText)), istr(bytesOf(wideText)));
        ASSERT_EQ(toAnsi(wstr(wideText)), bytesOf(wideText));
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
    {37, "\xC1\x6F", L"A?"},
    {936, "\xC4\xE3z", L"你z"},
    {54936, "\x94\x39\xFC\x36", L"😀"},
    {54936, "\xD3\x36\x9C\x33", L"\xE0041"},
    {20866, "\xC4", L"д"},
    {1258, "\xE0", L"à"},  // held back by the converter: more could belong to it
    {kUtf8, "\xE2\x82\xAC", L"€"},
    {-1, "\xE2\x82\xAC", L"€"},
    {support::longOf(0xFFFFFFFF), "\xE2\x82\xAC", L"€"},
};

TEST(Pages, ConvertBothWays) {
    for (const auto& [page, bytes, wide] : kPages) {
        SCOPED_TRACE(page);
        const std::string utf8Bytes = bytesOf(wide);
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

// iconv consumes this sequence and reports it as malformed.
TEST(Pages, LoseNothingAfterAMalformedSequence) {
    EXPECT_EQ(toWstring(ansi(istr("\xA2\xE8 after", 2)), 949), L"\xFFFD");
    EXPECT_EQ(toWstring(ansi("\xA2\xE8<\xA2\xE8\xA2\xE8x"), 949), L"\xFFFD<\xFFFD\xFFFDx");
}

// To open a conversion, the C library takes a lock that it does not release in a child.
TEST(Pages, AreConvertedInAChildWhoseParentWasConverting) {
    const auto convert = [] { return toWstring(ansi("\xB0\xA1"), 949) == L"\uAC00"; };
    EXPECT_EQ(support::statusBesideThread(convert, true), 0);
}

// Writes no more than there is room for, and no part of a character.
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

TEST(Pages, ReplaceMalformedAndMissingCharacters) {
    const PageText malformed[] = {{1252, "a\x81\x81z", L"a\xFFFD\xFFFDz"},
                                  {936, "\x81 z", L"\xFFFD z"},
                                  {936, "\xC4\xE3\xFFz", L"你\xFFFDz"},
                                  {54936, "z\x94\x39\xFC", L"z\xFFFD"},
                                  {1258, "A\x8Az", L"A\xFFFDz"},
                                  {4, "text", L""},
                                  {-2, "text", L""}};
    for (const auto& [page, bytes, wide] : malformed)
        EXPECT_EQ(toWstring(ansi(bytes), page), wide) << page << bytes;
    const PageText lacking[] = {{1252, "a?z", L"aДz"},
                                {37, "\x6F", L"Д"},
                                {1252, "a?!", L"a\xE0041!"},
                                {1252, "??", L"\xE0041\xE0042"},
                                {1252, "?", L"\xD800"},
                                {54936, "\x84\x31\xA4\x37", L"\xD800"},
                                {1252, "?z", {static_cast<wchar_t>(0x110000), L'z'}},
                                {4, "", L"text"}};
    for (const auto& [page, bytes, wide] : lacking) {
        EXPECT_EQ(toAnsi(wstr(wide), page), bytes) << page;
        EXPECT_EQ(toAnsi(utf8(bytesOf(wide)), page), bytes) << page;
    }
}

TEST(Pages, OfTheCLocaleIsUtf8) {
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(toWstring(ansi("\xE2\x82\xAC"), 0), L"€");
    EXPECT_EQ(toAnsi(wstr(L"€"), 0), "\xE2\x82\xAC");
}

// Zeros and malformed bytes too.
TEST(Convert, SameEncodingIsNotConverted) {
    const std::string text("\xFF\0\xC3", 3);
    EXPECT_EQ(toAnsi(utf8(text), kUtf8), text);
    EXPECT_EQ(toAnsi(utf8(text)), text);
    EXPECT_EQ(toUtf8(ansi(text)), istr(text));
    EXPECT_EQ(toUtf8(utf8(text)), istr(text));
    EXPECT_EQ(toAnsi(ansi(text)), text);
    const std::wstring wide(L"a\0\xD800", 3);
    EXPECT_EQ(toWstring(wstr(wide)), wide);
    // -1 and the page that it selects are different numbers, so the text is converted.
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
    const std::string utf8Bytes = bytesOf(std::wstring(3000, L'é'));
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
