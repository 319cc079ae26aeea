// Holds what docs/formats.md tells of JSON against the code: its tables are the test data.

#include "support/bound.h"
#include "support/document.h"
#include "support/test.h"

namespace qor::json {
namespace {

const support::Document& page() {
    static const support::Document document("docs/formats.md");
    return document;
}

TEST(Formats, JsonIsReadAndWrittenAsTold) {
    const std::vector<Row> rows = page().tablesOf("JSON text");
    ASSERT_EQ(rows.size(), 26u);
    for (const Row& row : rows) {
        SCOPED_TRACE(row[0]);
        JsonUnit unit;
        unit.decode(unquoted(row[0]));
        EXPECT_EQ(unit.encode(false, false, 0), unquoted(row[1]));
        const JsonDocument document = JsonDocument::from(unquoted(row[0]));
        EXPECT_EQ(document.root().encode(false, false, 0), unquoted(row[1]));
    }
    const std::vector<Row> malformed = page().tablesOf("Malformed JSON");
    ASSERT_EQ(malformed.size(), 24u);
    for (const Row& row : malformed) {
        try {
            JsonParser::from(unquoted(row[0]));
            ADD_FAILURE() << row[0];
        } catch (const DecodeException& e) {
            EXPECT_EQ("qor::json::DecodeException: " + row[1], trimmed(e.msg())) << row[0];
            EXPECT_STREQ(e.name(), "qor::json::DecodeException");
        }
    }
}

TEST(Formats, JsonIsLaidOutAsTold) {
    const String block = page().indentedBehind("**Pretty**");
    EXPECT_EQ(JsonParser::from(block)->encode(true, false, 0), block);
    EXPECT_EQ(JsonParser::from(block)->toFormattedSample(), String(block).replace("\n", "\n    "));
    const String shown = String(block).replace("    \"c\" : null,\n", "");
    EXPECT_EQ(JsonParser::from(block)->toFormatted(), String(shown).replace("\n", "\n    "));
}

template <class T>
String member(const T& value) {
    JsonOutputStream out;
    field(out, {"m", 1}, value);
    T read{};
    field(JsonInputStream(out.unit()), {"m", 1}, read);
    EXPECT_TRUE(read == value || std::is_floating_point_v<T>);
    return out["m"].encode();
}

TEST(Formats, MembersAreWrittenAsToldInJson) {
    const std::map<String, String (*)(const String&)> members = {
        {"bool", [](const String& text) { return member(text == "true"); }},
        {"char", [](const String& text) { return member(text[0]); }},
        {"unsigned char", [](const String& text) { return member(Byte(text)); }},
        {"long", [](const String& text) { return member(Long(text)); }},
        {"unsigned long", [](const String& text) { return member(Ulong(text)); }},
        {"double", [](const String& text) { return member(Double(text).value()); }},
        {"String", [](const String& text) { return member(text); }},
        {"wstring", [](const String& text) { return member(text.toWstring()); }},
        {"Bytes", [](const String& text) { return member(Bytes(text)); }},
        {"Time", [](const String& text) { return member(Time::milliSeconds(Longlong(text))); }},
    };
    const std::vector<Row> rows = page().tablesOf("Member in JSON");
    ASSERT_EQ(rows.size(), members.size());
    for (const Row& row : rows) {
        SCOPED_TRACE(row[0]);
        const std::size_t end = row[0].find('`', 1);
        const auto writer = members.find(row[0].substr(1, end - 1));
        ASSERT_NE(writer, members.end());
        EXPECT_EQ(writer->second(trimmed(row[0].substr(end + 1))), unquoted(row[1]));
    }
    JsonOutputStream out;
    encode(out, Contact{"Ann", {7, 300}});
    EXPECT_EQ(out.str(), page().indentedBehind("The contact from above in JSON"));
}

}  // namespace
}  // namespace qor::json
