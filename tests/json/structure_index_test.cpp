#include "json/structure_index.h"

#include <clocale>

#include "platform/processor.h"
#include "support/test.h"

namespace qor::json {
namespace {

struct Found {
    std::vector<ulong32> positions;
    bool anyBackslash = false;
    bool ended = false;

    bool operator==(const Found&) const = default;
};

// A byte at a time.
Found plainlyFound(const std::string& text) {
    Found found;
    bool inString = false, inToken = false, escaped = false;
    for (ulong32 i = 0; i < text.size() && !found.ended; ++i) {
        const char c = text[i];
        const bool isEscaped = std::exchange(escaped, c == '\\' && !escaped);
        found.anyBackslash |= c == '\\';
        const bool isQuote = c == '"' && !(inString && isEscaped);
        const bool isStructural = std::string_view("{}[]:,").find(c) != std::string_view::npos;
        const bool isToken = !inString && !isQuote && !isStructural && !CharIsSpace(c);
        if (isQuote || (!inString && isStructural) || (isToken && !inToken))
            found.positions.push_back(i);
        inToken = isToken;
        if (isQuote) found.ended = isEscaped;
        if (isQuote) inString = !inString;
    }
    return found;
}

// Through the index, moving by 1 to kAhead positions. The text is at the very end of its memory.
Found indexed(const StructureForm& form, const std::string& text, bool oneByOne) {
    const std::vector<char> exact(text.begin(), text.end());
    const auto size = static_cast<ulong32>(exact.size());
    StructureIndex index(form, exact.data(), size);
    Found found;
    for (std::size_t step = 1; *index.current() != size;
         step = oneByOne ? 1 : step % StructureIndex::kAhead + 1) {
        const ulong32* const at = index.current();
        for (std::size_t i = 0; i < step && at[i] != size; ++i)
            found.positions.push_back(at[i]);
        index.moveTo(at + step);
    }
    // After the last position the index returns the end, any number of times.
    for (std::size_t i = 0; i < 3 * StructureIndex::kAhead; ++i) {
        EXPECT_EQ(index.current()[i % StructureIndex::kAhead], size);
        if (i % 5 == 0) index.moveTo(index.current() + 1);
    }
    found.anyBackslash = index.anyBackslashFrom(0);
    return found;
}

// By the form alone, with blocksAtOnce blocks in a call; the last block is padded with blanks. The
// call also copies the blocks that it reads.
Found foundInBlocks(const StructureForm& form, std::string text, std::size_t blocksAtOnce) {
    constexpr std::size_t kBlock = 64;
    text.resize((text.size() + kBlock - 1) / kBlock * kBlock, ' ');
    const std::vector<char> exact(text.begin(), text.end());
    std::vector<ulong32> room(exact.size() + kBlock);
    std::vector<char> copy(exact.size());
    StructureState state;
    ulong32* out = room.data();
    for (std::size_t at = 0; at < exact.size();) {
        const std::size_t blocks = std::min(blocksAtOnce, (exact.size() - at) / kBlock);
        out = form.find(state, exact.data() + at, blocks, static_cast<ulong32>(at), out,
                        copy.data() + at);
        at += blocks * kBlock;
    }
    const std::size_t seen = state.ended() ? out[-1] : exact.size();
    EXPECT_TRUE(
        std::equal(copy.begin(), copy.begin() + static_cast<std::ptrdiff_t>(seen), exact.begin()))
        << text;
    return {{room.data(), out}, state.takeBackslash(), state.ended()};
}

void expectSamePositions(const std::string& text) {
    const Found wanted = plainlyFound(text);
    ASSERT_EQ(structureForms().back().find, structure_portable::find);
    ASSERT_TRUE(platform::vectorsAllowed() || structureForms().size() == 1);
    for (const StructureForm& form : structureForms()) {
        for (const std::size_t blocksAtOnce : {1U, 3U, 1000U}) {
            const Found found = foundInBlocks(form, text, blocksAtOnce);
            ASSERT_TRUE(found == wanted) << form.name << ' ' << blocksAtOnce << '\n' << text;
        }
        for (const bool oneByOne : {false, true}) {
            const Found found = indexed(form, text, oneByOne);
            ASSERT_EQ(found.positions, wanted.positions) << form.name << '\n' << text;
            ASSERT_EQ(found.anyBackslash, wanted.anyBackslash) << form.name << '\n' << text;
        }
    }
}

// The text at every place around the edge of a block, after text of several kinds.
void expectSameAroundEdges(const std::string& text) {
    for (const char before : {' ', 'x', ',', '"', '\\'}) {
        for (const std::size_t block : {64U, 128U, 4096U}) {
            const std::size_t first = block - std::min<std::size_t>(text.size() + 2, block);
            for (std::size_t place = first; place <= block + 1; ++place) {
                expectSamePositions(std::string(place, before) + text);
                expectSamePositions('[' + std::string(place, before) + text + "\",\"a\"]:{1 2}");
            }
        }
    }
}

TEST(StructureIndex, FindsWhatAPlainReadingFinds) {
    const std::string texts[] = {std::string(), " ", "\"", "\\", "\\\"", "\\\\\"", "\"\\\\\"",
                                 "\"\\\"\"", "\"\\\\\\\"x\"", "\\,\\ \"a\"", "x\\\" y\"z\"",
                                 "\"a\"b\"c\"", "{}[]:,", "\"{}[]:,\"", "[\x80\xFF\xA0,\"\x85\"]",
                                 "a\tb\vc\fd\re\nf g", std::string("\0\1\x1F\x7F", 4),
                                 // Bytes that differ from a structural one in one bit.
                                 "\x1A\x0C;-[{]}\x3B\x5C\x7C\x5F\x7F"};
    for (const std::string& text : texts)
        expectSameAroundEdges(text);
    for (const std::size_t run : {1U, 2U, 62U, 63U, 64U, 65U, 127U, 128U, 129U}) {
        const std::string backslashes(run, '\\');
        for (const std::size_t place : {0U, 1U, 2U, 62U, 63U, 64U}) {
            const std::string before(place, ' ');
            expectSamePositions(before + backslashes + "\"a\",1");
            expectSamePositions(before + '"' + backslashes + "\"a\",1");
        }
    }
}

TEST(StructureIndex, FindsTheSameInRandomTexts) {
    std::mt19937 random(5);
    const std::string alphabets[] = {"\"\\a ", "\"\"\"\\ ,:[]{}ab\xE9", "{}[]:,\"", "a \n\xA0",
                                     "\"\\"};
    const auto randomText = [&](const std::string& alphabet, std::size_t size) {
        std::string text;
        while (text.size() < size)
            text += alphabet[random() % alphabet.size()];
        return text;
    };
    for (const std::string& alphabet : alphabets) {
        for (std::size_t size = 0; size <= 300; ++size)
            expectSamePositions(randomText(alphabet, size));
        for (const std::size_t size : {4030U, 4095U, 4096U, 4097U, 4160U, 8200U, 12288U})
            expectSamePositions(randomText(alphabet, size));
        // Any bytes, and a text without the backslashes that may end it early.
        std::string bytes = randomText(alphabet, 64);
        for (char& c : bytes)
            c = static_cast<char>(random());
        expectSamePositions(bytes);
        std::string plain = randomText(alphabet, 9000);
        std::erase(plain, '\\');
        expectSamePositions(plain);
    }
}

// Sets a locale in which two bytes outside ASCII are blanks.
bool setHighBlanks() {
    const TempDir dir;
    dir.file("charmap",
             "<code_set_name> TEST\n<mb_cur_max> 1\n<escape_char> /\nCHARMAP\n"
             "<U0000>..<U007F> /x00\n<U0080>..<U00FE> /x80\nEND CHARMAP\n");
    dir.file("classes",
             "LC_CTYPE\nupper <U0041>..<U005A>\nlower <U0061>..<U007A>\n"
             "space <U0009>..<U000D>;<U0020>;<U0085>;<U00A0>\nEND LC_CTYPE\n");
    const std::string make = "cd " + dir.path() +
                             " && localedef -c -f ./charmap -i ./classes ./blanks "
                             ">/dev/null 2>&1; test -f blanks/LC_CTYPE";
    if (std::system(make.c_str()) != 0) return false;
    setenv("LOCPATH", dir.path().c_str(), 1);
    const bool isSet = std::setlocale(LC_CTYPE, "blanks") != nullptr;
    unsetenv("LOCPATH");
    return isSet;
}

TEST(StructureIndex, AsksTheLocaleForBlanksOutsideAscii) {
    if (!setHighBlanks()) GTEST_SKIP() << "no locale can be made";
    EXPECT_TRUE(CharIsSpace('\xA0') && CharIsSpace('\x85') && !CharIsSpace('\x86'));
    for (const char* const text : {"\xA0", "a\x85\xE9\xA0", "\"\xA0\"\xA0x\xE9\xA0", "\xA0\\\""})
        expectSameAroundEdges(text);
    std::mt19937 random(6);
    for (std::size_t size = 0; size < 500; ++size) {
        std::string text;
        while (text.size() < size)
            text += "\xA0\x85\xE9 x,\""[random() % 7];
        expectSamePositions(text);
    }
    std::setlocale(LC_CTYPE, "C");
}

}  // namespace
}  // namespace qor::json
