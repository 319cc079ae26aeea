#include "qor/json/qor_json_parser.h"

#include "support/formats.h"
#include "support/test.h"

// docs/formats.md has the dialect in its tables, and tests/docs holds the parser to them.

namespace qor::json {
namespace {

std::string rewritten(istr text) {
    return JsonParser::from(text)->encode(false, false, 0);
}

constexpr char kEverything[] =
    "{\"text\":\"a\\n\\u00e9\\/\",\"a key that is longer than others\":[1,-2.5e7,[],{},null,"
    "true],un\\tquoted : word , \"a\":false,\"a\":{\"b\":{\"c\":[[[1]]]}}}";

TEST(JsonParser, RaisesInTheOperationThatFails) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "parse"},          {"{\"a\":\"\"]", "parseObject"},
        {"[[]}", "parseArray"}, {"[1", "getValue"},
        {"{a", "getName"},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(raisedIn<DecodeException>([&] { JsonParser::from(test.first); }),
                  std::string("qor::json::JsonParser::") + test.second);
    }
}

TEST(JsonParser, TakesBlanksOfAllKindsAndZerosAsText) {
    EXPECT_EQ(rewritten(" \t\n\v\f\r         [ \t\n\v\f\r 1 \t\n\v\f\r ] \t\n\v\f\r"), "[ 1 ]");
    EXPECT_EQ(rewritten(istr("{a\0b:\"\0\",c:\xA0\0}", 14)),
              std::string("{ \"a\0b\":\"\0\", \"c\":\xA0\0 }", 21));
    EXPECT_EQ(rewritten("[1\xC3\xA5,2]"), "[ 1\xC3\xA5, 2 ]");
}

// Each prefix is at the very end of its memory.
TEST(JsonParser, ReadsNothingAfterTheTextAndLeaksNothing) {
    const istr whole(kEverything);
    const std::string expected = rewritten(whole);
    unsigned long raised = 0;
    for (unsigned long n = 0; n <= whole.size(); ++n) {
        const std::vector<char> part(whole.begin(), whole.begin() + n);
        const AllocationCounter counter;
        try {
            const Handle<JsonValue> tree = JsonParser::from(istr(part.data(), n));
            EXPECT_TRUE(n < whole.size() || tree->encode(false, false, 0) == expected);
        } catch (const DecodeException&) {
            ++raised;
        }
        EXPECT_EQ(counter.outstanding(), 0) << n;
    }
    EXPECT_EQ(raised, whole.size() - 5);  // a text may end after an outer bracket or comma
}

// While parsing, at the first use of each value, at a change, and while writing.
TEST(JsonParser, FreesEverythingWhenMemoryEnds) {
    std::string text(kEverything);
    text.back() = ',';
    text += "\"many\":[" + repeated("{\"k\":[1,\"x\"]},", 400) + "]}";
    const std::string expected = rewritten(text);  // also makes the code page known
    const AllocationCounter counter;
    const auto isFreed = [&] { EXPECT_EQ(counter.outstanding(), 0); };
    EXPECT_GE(failEachAllocation([&] { JsonParser::from(text); }, isFreed), 4u);
    {
        JsonUnit unit;
        unit.decode(text);
        const auto isUnchanged = [&] { EXPECT_EQ(unit.encode(false, false, 0), expected); };
        const auto look = [&] {
            const JsonUnit& constant = unit;
            istr view;
            constant["text"] >> view;
            const JsonUnit& last = constant["many"].arrayValue()->at(399)["k"];
            EXPECT_EQ(last.arrayValue()->at(1).value()->toString(), "\"x\"");
            for (const auto& [key, child] : *constant.objectValue())
                EXPECT_FALSE(child.value() == nullptr && key != "c" && key != "quoted");
        };
        const auto set = [&] {
            unit["many"].arrayValue().at(7)["k"] << "a text that needs memory";
        };
        EXPECT_GE(failEachAllocation(look, isUnchanged), 3u);
        EXPECT_GE(failEachAllocation([&] { unit.encode(false, false, 0); }, [] {}), 1u);
        EXPECT_GE(failEachAllocation([&] { unit["many"].newChild(); }, isUnchanged), 1u);
        EXPECT_GE(failEachAllocation(set, [] {}), 1u);
    }
    isFreed();
}

TEST(JsonParser, KeepsAPartOfADeepTree) {
    constexpr unsigned long kDepth = 100000;
    for (const auto& [open, close] :
         {std::pair("[", "]"), {"{\"k\":", "}"}, {"[{k:[[],0],j:", "}]"}}) {
        const Handle<JsonValue> tree =
            JsonParser::from(repeated(open, kDepth) + "[]" + repeated(close, kDepth));
        JsonUnit root(tree);
        const JsonUnit* middle = &root;
        for (unsigned long i = 0; i < kDepth / 2; ++i) {
            const JsonArray* const array = middle->arrayValue();
            middle = array != nullptr ? &array->at(0) : &middle->objectValue()->begin()->second;
        }
        const JsonUnit rest = *middle;
        root.setNull();
        EXPECT_GT(rest.encode().size(), kDepth);
    }
}

TEST(JsonParser, NamesTheRestOfTheInputOnce) {
    const std::string rest = "x " + repeated("[\"", 50000);
    const std::string text = repeated("[", 50000) + "\"\" " + rest;
    EXPECT_EQ(raised<DecodeException>([&] { JsonParser::from(text); }),
              "qor::json::JsonParser::parseArray: qor::json::DecodeException: "
              "array value no end : " +
                  rest);
}

}  // namespace
}  // namespace qor::json
