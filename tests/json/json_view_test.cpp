#include "qor/json/json_view.h"

#include "support/formats.h"
#include "support/test.h"
#include "support/threads.h"

// tests/docs and the fuzz target `json` compare views with other readings of the dialect.

namespace qor::json {
namespace {

static_assert(std::ranges::forward_range<JsonElements> && std::ranges::forward_range<JsonMembers>);
static_assert(std::is_trivially_copyable_v<JsonView>);

std::string keysOf(JsonView object) {
    std::string keys;
    for (const auto& [key, value] : object.members())
        keys.append(std::string_view(key)).append(value.isNull() ? "? " : " ");
    return keys;
}

TEST(JsonView, IsNullForMissingValues) {
    const JsonDocument document = JsonDocument::from("{a:[1,[2],{}],b:null,c:[7,8],d:\"\"}");
    const JsonView root = document.root();
    for (const JsonView missing : std::vector<JsonView>{
             JsonView(), JsonDocument().root(), root["x"], root["b"], root["a"]["a"],
             root["d"]["a"], root["a"].at(3), root["c"].at(2), root["c"].at(npos32), root.at(0),
             root["d"].at(0), root["x"]["y"].at(1), root.members().child("x"),
             root["a"].members().child("a")}) {
        EXPECT_EQ(missing.kind(), JsonKind::Null);
        EXPECT_TRUE(missing.isNull() && !missing.isArray() && !missing.isObject());
        EXPECT_EQ(missing.size(), 0u);
        EXPECT_TRUE(missing.text().is_null());
        EXPECT_EQ(missing.toJson(), "null");
        EXPECT_EQ(keysOf(missing), "");
        for (const JsonView element : missing.elements())
            ADD_FAILURE() << element.toJson();
    }
    EXPECT_TRUE(root["d"].isString() && root["d"].text().empty() && !root["d"].text().is_null());
}

TEST(JsonView, FindsElementsAndMembers) {
    const JsonDocument document = JsonDocument::from(
        "{list:[0,[],[1,{x:2}],\"s\",null,3],flat:[5,6],b:1,a:2,b:{c:[true]},\"\\u0061a\":null,B:"
        "4}");
    const JsonView root = document.root();
    EXPECT_EQ(keysOf(root), "B a aa? b flat list ");
    EXPECT_EQ(root.size(), 6u);
    EXPECT_EQ(root["b"].toJson(), "{ \"c\":[ true ] }");
    EXPECT_EQ(root.members().child("b").toJson(), "{ \"c\":[ true ] }");
    EXPECT_EQ(root["list"].size(), 5u);
    EXPECT_EQ(root["list"].at(2).at(1)["x"].text(), "2");
    EXPECT_EQ(root["list"].at(4).text(), "3");
    EXPECT_EQ(root["flat"].at(1).text(), "6");
    EXPECT_EQ(root.encode(true, false, 0),
              JsonParser::from(root.toFormattedSample())->encode(true, false, 0));
}

TEST(JsonView, FindsTheMembersOfLargeObjects) {
    const auto keyOf = [](int i) { return (i % 2 == 0 ? "k" : "a long key ") + std::to_string(i); };
    for (const char* const value : {":1,", ":[[2]],"}) {
        std::string text = "{";
        for (int i = 0; i < 1000; ++i)
            text.append(keyOf(i * 7 % 1000)).append(value);
        const JsonDocument document = JsonDocument::from(text);
        const JsonMembers members = document.root().members();
        ASSERT_EQ(members.size(), 1000u);
        for (int i = 0; i < 1000; ++i) {
            const std::string key = keyOf(i);
            EXPECT_FALSE(members.child(key).isNull() || document.root()[key].isNull()) << key;
        }
        EXPECT_TRUE(members.child("k1000").isNull() && members.child("zz").isNull());
    }
}

// Each value is the one that a unit reads from the same text, also where the unit reads nothing.
TEST(JsonView, ReadsAsUnitsDo) {
    std::istringstream texts(
        R"(1 -1 255 300 40000 -2147483649 99999999999 1.5 -65.613616999999977 1e400 abc - TRUE true )"
        R"(false null 1500000000123 "" "1" "aGk=" "true" "\u00e9\n\q" "å" "\"" [1] {} )"
        R"("a-text-that-is-longer-than-a-short-one")");
    for (std::string text; texts >> text;) {
        const std::string whole = "{v:" + text + "}";
        JsonUnit tree;
        tree.decode(whole);
        const JsonUnit& unit = std::as_const(tree)["v"];
        const JsonDocument document = JsonDocument::from(whole);
        const JsonView view = document.root()["v"];
        const auto compareOne = [&](auto fromUnit, auto fromView) {
            unit >> fromUnit;
            view >> fromView;
            EXPECT_TRUE(fromUnit == fromView) << text;
        };
        const auto compare = [&](auto... before) { (compareOne(before, before), ...); };
        compare(true, false, char(7), static_cast<signed char>(7), static_cast<unsigned char>(7),
                wchar_t(7), short(7), 7U, 7L, 7UL, 7LL, 7ULL, 7.5F, 7.5, Long(7), Double(7.5));
        compare(std::string("before"), String("before"), std::wstring(L"before"), Bytes(istr("b")),
                Time::milliSeconds(7), istr("before"));
        EXPECT_EQ(unit.isNull(), view.isNull());
        EXPECT_EQ(view.isString(), unit.stringValue() != nullptr);
        EXPECT_EQ(view.isNumber(), unit.numberValue() != nullptr);
        EXPECT_EQ(view.isBoolean(), unit.booleanValue() != nullptr);
        EXPECT_EQ(view.toJson(), unit.encode()) << text;
    }
}

// Large texts are copied while they are read: with more unescaped text than there is room for, with
// long parts that are skipped, with few nodes, with most nodes at the end, and of any depth.
TEST(JsonDocument, TakesLargeTexts) {
    const std::string blanks(50000, ' '), letters(50000, 'x');
    for (const std::string& text :
         {"[" + repeated("\"\\u00e9\\n and \\\"more\\\"\",{\"\\u0061\":\"\\/\"},", 4000) + "1]",
          "[1,\"\\t\"] " + letters, "[\"" + letters + "\"]",
          "[\"" + letters + "\\n" + letters + "\"]",
          "[1" + blanks + repeated(",[1,2,{a:3}]", 20000) + "]",
          repeated("[[1,2,{a:\"b\\n\"}],", 3000) + blanks + repeated("]", 2999) + "]",
          JsonFormat::deep(300000).text}) {
        const std::vector<char> exact(text.begin(), text.end());
        const JsonDocument document = JsonDocument::from(istr(exact.data(), exact.size()));
        const std::string wanted = JsonParser::from(text)->toJson();
        EXPECT_TRUE(document.root().toJson() == wanted);
        const std::string part = text.substr(0, text.size() / 2) + "\"";
        EXPECT_TRUE(raised<DecodeException>([&] { JsonDocument::from(part); }) ==
                    raised<DecodeException>([&] { JsonParser::from(part); }));
    }
}

TEST(JsonDocument, LivesAsLongAsOneOfItsCopies) {
    const AllocationCounter counter;
    {
        std::optional<JsonDocument> first(JsonDocument::from("{\"a\":[\"te\\\\xt\",\"plain\"]}"));
        const JsonView list = first->root()["a"];
        istr escaped, plain;
        list.at(0) >> escaped;
        list.at(1) >> plain;
        JsonDocument second = *first;
        first.reset();
        JsonDocument third = std::move(second);
        second = JsonDocument();
        EXPECT_TRUE(second.root().isNull());
        EXPECT_EQ(escaped, "te\\xt");
        EXPECT_EQ(plain, "plain");
        EXPECT_EQ(list.toJson(), "[ \"te\\\\xt\", \"plain\" ]");
    }
    EXPECT_EQ(counter.outstanding(), 0);
}

// While parsing, and at the first use of members.
TEST(JsonDocument, FreesEverythingWhenMemoryEnds) {
    std::string many;
    for (int i = 0; i < 200; ++i)
        many.append("k").append(std::to_string(i)).append(":[{\"x\\n\":\"\\n\"}],");
    const std::string text =
        "{large:[" + repeated("{\"k\":[1,\"x\\n\"]},", 3000) + "],m:{" + many + "}}";
    const std::string wanted = JsonDocument::from(text).root().toJson();
    const AllocationCounter counter;
    const auto isFreed = [&] { EXPECT_EQ(counter.outstanding(), 0); };
    EXPECT_GE(failEachAllocation([&] { JsonDocument::from(text); }, isFreed), 4u);
    {
        const JsonDocument document = JsonDocument::from(text);
        EXPECT_GE(failEachAllocation([&] { document.root()["m"].members(); }, [] {}), 2u);
        EXPECT_GE(failEachAllocation([&] { document.root().toJson(); }, [] {}), 1u);
        EXPECT_TRUE(document.root().toJson() == wanted);
    }
    isFreed();
}

// Reading a known object of some sixty members allocates nothing.
TEST(JsonView, NeedsNoMemoryForUsualObjects) {
    std::string text = "{";
    for (int i = 0; i < 60; ++i)
        text.append("k").append(std::to_string(i)).append(":[[\"\\n\"]],");
    const JsonDocument document = JsonDocument::from(text);
    EXPECT_EQ(document.root().size(), 60u);
    const FailAllocations failing(1);
    istr view;
    for (const auto& [key, value] : document.root().members())
        value.at(0).at(0) >> view;
    EXPECT_FALSE(failing.happened());
    EXPECT_EQ(view, "\n");
}

// All threads find the shapes of the objects at once.
TEST(JsonView, IsReadByManyThreadsAtOnce) {
    const std::string text =
        "[" + repeated("{a:1,b:{c:[2,{d:\"\\n\"}]}},{b:\"x\",a:[3]},{e:{}},", 300) + "]";
    const std::string wanted = JsonParser::from(text)->toJson();
    const JsonDocument document = JsonDocument::from(text);
    inThreads(4, [&](unsigned i) {
        const JsonDocument copy = document;
        EXPECT_TRUE(i % 2 != 0 || copy.root().toJson() == wanted);
        unsigned long members = 0;
        for (const JsonView element : document.root().elements()) {
            for (const auto& [key, value] : element.members())
                members += 1 + value["c"].size() + value.size();
        }
        EXPECT_EQ(members, 300u * 9);
        EXPECT_TRUE(document.root().toJson() == wanted);
    });
}

}  // namespace
}  // namespace qor::json
