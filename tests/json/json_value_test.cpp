#include "qor/json/json_value.h"

#include "support/leak_table.h"
#include "support/test.h"

namespace qor::json {
namespace {

// docs/formats.md has the usual escapes.
TEST(JsonString, UnescapesByTheFormat) {
    const std::pair<istr, istr> cases[] = {
        {"\"", "\""},
        {"\\", "\\"},
        {"\"\"", ""},
        {"\"null\"", "null"},
        {"\"abc", "\"abc"},
        {"abc\"", "abc\""},
        {"\"\\\"", ""},
        {"\"\\\\\\\"\\/\\b\\f\\n\\r\\t\"", "\\\"/\b\f\n\r\t"},
        {"\\u0041\\u00e9\\u20AC!", "A\xC3\xA9\xE2\x82\xAC!"},
        {"\\u0000b", "b"},
        {"\\u12G4x", "\xEF\xBF\xBFx"},
        {{"\0a\0", 3}, {"\0a\0", 3}},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(JsonString::unescape(text), Optional<String>(value)) << std::string(text);
    }
    EXPECT_FALSE(JsonString::unescape("null").isSet());
    EXPECT_EQ(JsonString::from("null"), nullptr);
    EXPECT_EQ(Handle<JsonString>(JsonString::from("\"\\n\""))->getValue(), "\n");
}

TEST(JsonString, EscapesEightBytesAndNoOthers) {
    EXPECT_EQ(JsonString::escape({}), "null");
    EXPECT_EQ(JsonString::escape(String("\"\\/\b\f\n\r\t")), R"("\"\\\/\b\f\n\r\t")");
    // Each byte, at each place in a word.
    for (int c = 0; c < 256; ++c) {
        for (unsigned long before = 0; before < 9; ++before) {
            String text(std::string(before, 'x') + "?123456789");
            text[before] = static_cast<char>(c);
            const String escaped = JsonString::escape(text);
            const bool special = std::string_view("\"\\/\b\f\n\r\t").find(static_cast<char>(c)) !=
                                 std::string_view::npos;
            EXPECT_EQ(escaped.size(), text.size() + 2 + special);
            EXPECT_EQ(JsonString::unescape(escaped).value(), text);
            EXPECT_EQ(JsonString(text).toString(), escaped);
        }
    }
}

TEST(JsonText, HoldsTextOfEverySize) {
    for (const unsigned long size : {0UL, 1UL, 4UL, 5UL, 4096UL, 4097UL, 70000UL}) {
        const String text(std::string(size, 'n'));
        JsonNumber number(text);
        Handle<JsonValue> read = JsonParser::from("[x" + text + ",\"" + text + "\"]");
        auto& units = static_cast<JsonArray&>(*read);
        JsonUnit made;
        made << text;
        EXPECT_EQ(number.getValue(), text);
        EXPECT_EQ(units.at(0).numberValue().getValue(), "x" + text);
        EXPECT_EQ(units.at(1).stringValue().text(), text);
        EXPECT_EQ(made.stringValue().text(), text);
        for (JsonText* const value :
             {static_cast<JsonText*>(&number), static_cast<JsonText*>(&made.stringValue()),
              static_cast<JsonText*>(&units.at(1).stringValue())}) {
            const String& string = value->getValue();
            EXPECT_EQ(&string, &value->getValue());
            value->setValue(istr(string).substr(1));  // a part of itself
            EXPECT_EQ(value->getValue().size(), size == 0 ? 0 : size - 1);
            value->setValue("new");
            EXPECT_EQ(value->text(), "new");
        }
    }
    JsonString string("a\\n");
    EXPECT_EQ(string.toString(), R"("a\\n")");
    string.fromString("a\\n");
    EXPECT_EQ(string.getValue(), "a\n");
    for (const char* const text : {"true", "FALSE", "", "0", "false"}) {
        JsonBoolean flag(false);
        flag.fromString(text);
        EXPECT_EQ(flag.toString(), std::string("false") == text ? "false" : "true");
    }
}

TEST(JsonFormatter, AppendsAndIndentsByLevel) {
    JsonUnit unit;
    unit["a"] << 1;
    unit["n"];
    const Handle<JsonValue> value = unit.value();
    const std::tuple<bool, bool, int, const char*> cases[] = {
        {false, true, INT_MAX, ">{ \"a\":1 }"},
        {false, false, -5, ">{ \"a\":1, \"n\":null }"},
        {true, true, -1, ">{\n\"a\" : 1\n}"},
        {true, true, INT_MIN, ">{\n\"a\" : 1\n}"},
        {true, false, 1, ">{\n        \"a\" : 1,\n        \"n\" : null\n    }"},
    };
    for (const auto& [pretty, skipNull, level, expected] : cases) {
        String out(">");
        JsonFormatter(value.get(), pretty, skipNull, level).format(out);
        EXPECT_EQ(out, expected);
    }
    EXPECT_EQ(JsonFormatter(nullptr, true, true, 3).toString(), "null");
    unit["long"] << std::string(10000, 'x') + "/";
    String out("before");
    EXPECT_GT(failEachAllocation([&] { JsonFormatter(value.get(), false, true, 0).format(out); },
                                 [&] { EXPECT_EQ(out, "before"); }),
              0u);
    EXPECT_EQ(out.size(), 6 + 10000 + 22u);
}

// A class of the user, as a part of a tree.
struct Counted : JsonValue {
    explicit Counted(int& alive) : alive_(&alive) { ++*alive_; }
    ~Counted() override { --*alive_; }
    String toString() const override { return "<counted>"; }
    int* alive_;
};

TEST(JsonValue, KeepsValuesOfOtherClassesAndOtherOwners) {
    int alive = 0;
    JsonArray local;
    local.__setNoDelete(true);
    {
        JsonUnit unit;
        unit["array"].newChild() = JsonUnit(new Counted(alive));
        unit["local"] = JsonUnit(Handle<JsonValue>(&local));
        local.newChild() << 1;
        EXPECT_EQ(unit.encode(), R"({ "array":[ <counted> ], "local":[ 1 ] })");
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(local.toString(), "[ 1 ]");
    EXPECT_EQ(local.__GetRef(), 0);
    const std::unique_ptr<JsonValue> alone(new Counted(alive));
    EXPECT_EQ(alive, 1);
}

TEST(JsonValue, EntersTheLeakTableOnce) {
    EXPECT_THROW(JsonParser::from("1"), DecodeException);  // makes what a throw needs
    const LeakTable table;
    const String large = std::string(70000, 'x');
    int alive = 0;
    {
        JsonUnit unit;
        unit.decode("{a:[1,\"two\",true,{}],b:{c:null,c:[]},d:\"" + large + "\"}");
        const JsonUnit kept = std::as_const(unit)["a"];
        unit["a"].newChild() << "built";
        unit["b"]["c"] << large;
        for (const char* const text : {"1", "2"}) {
            unit["n"] << 1;
            unit["n"] << true;
            unit["n"] << text;
            unit["n"].stringValue().setValue("other");
            unit["n"].numberValue().setValue(text);
        }
        unit["from"] = JsonUnit(JsonString::from("\"x\""));
        unit["plain"] = JsonUnit(new JsonNumber("5"));
        unit["user"].newChild() = JsonUnit(new Counted(alive));
        unit["checked"] = JsonUnit(checkedNew<JsonBoolean>("file", 1, "func", true));
        checkedDelete(checkedNew<JsonNumber>("file", 1, "func"), "file", 2, "func");
        const std::unique_ptr<JsonValue> alone(new Counted(alive));
        EXPECT_GT(table.size(), 10u);
        EXPECT_THROW(unit.decode("[[{a:\"b\"},[1],\"" + large), DecodeException);
        unit.decode("[]");
        EXPECT_EQ(kept.arrayValue()->size(), 5u);
    }
    EXPECT_EQ(table.size(), 0u);
    EXPECT_EQ(table.shown(), "");
}

}  // namespace
}  // namespace qor::json
