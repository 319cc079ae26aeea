// Compares docs/formats.md with the code: its tables are the test data.

#include "support/formats.h"
#include "support/bound.h"
#include "support/document.h"
#include "support/test.h"

namespace qor {
namespace {

const Document& formatsPage() {
    static const Document document("docs/formats.md");
    return document;
}

std::vector<Row> tablesOf(const char* heading, std::size_t rows) {
    const std::vector<Row> all = formatsPage().tablesOf(heading);
    EXPECT_EQ(all.size(), rows) << heading;
    return all;
}

Bytes bytesOf(const String& cell) {
    return bytes(unquoted(cell));
}

String hexOf(istr bytes) {
    return bytes2hexstr(bytes);
}

// Calls the function of the type at the beginning of the cell, with the text after it.
template <class Result>
Result applied(const std::map<String, Result (*)(const String&)>& functions, const String& cell) {
    const std::size_t end = cell.find('`', 1);
    return functions.at(cell.substr(1, end - 1))(trimmed(cell.substr(end + 1) + " "));
}

// What a row of values is checked with: the same value through both formats and back.
struct Written {
    Bytes nbr, flat;
    bool same;  // when read back
};

template <class T>
Written throughBoth(const T& value) {
    nbr::OutputStream tree;
    tree << value;
    BinaryOutStream flat;
    flat.write(value);
    if constexpr (std::is_same_v<T, null_type> || std::is_same_v<T, empty_type>) {
        return {Bytes(tree.str()), Bytes(flat.str()), true};
    } else {
        T fromTree{}, fromFlat{};
        nbr::InputStream(tree.str()).getSimpleValue()->read(fromTree);
        BinaryInStream(flat.str()).read(fromFlat);
        return {Bytes(tree.str()), Bytes(flat.str()), fromTree == value && fromFlat == value};
    }
}

template <class Wrapper>
Written number(const String& text) {
    return throughBoth(Wrapper(text).value());
}

const std::map<String, Written (*)(const String&)> kValues = {
    {"null_type", [](const String&) { return throughBoth(null_type()); }},
    {"empty_type", [](const String&) { return throughBoth(empty_type()); }},
    {"bool", [](const String& text) { return throughBoth(text == "true"); }},
    {"unsigned char", number<Byte>},
    {"char", number<Sbyte>},
    {"short", number<Short>},
    {"unsigned short", number<Ushort>},
    {"long", number<Long>},
    {"unsigned long", number<Ulong>},
    {"long long", number<Longlong>},
    {"float", number<Float>},
    {"double", number<Double>},
    {"Time", [](const String& text) { return throughBoth(Time::microSeconds(Longlong(text))); }},
    {"istr", [](const String& text) { return throughBoth(istr(text)); }},
    {"String", [](const String& text) { return throughBoth(text); }},
    {"wstring", [](const String& text) { return throughBoth(text.toWstring()); }},
};

TEST(Formats, ValuesAreWrittenAsDocumented) {
    for (const Row& row : tablesOf("Value", 25)) {
        SCOPED_TRACE(row[0]);
        const Written written = applied(kValues, row[0]);
        EXPECT_EQ(hexOf(written.nbr), hexOf(bytesOf(row[1])));
        EXPECT_EQ(hexOf(written.flat), hexOf(bytesOf(row[2])));
        EXPECT_TRUE(written.same);
    }
}

template <class T>
struct Member {
    T value{};

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"m", 1}, value);
    }
};

String memberIn(const PmlFormat::Tree& tree) {
    return PmlFormat::shown(*tree.at("m"));
}
String memberIn(const JsonFormat::Tree& tree) {
    return JsonFormat::shown(tree["m"]);
}
String memberIn(const XmlFormat::Tree& tree) {
    return XmlFormat::shown(tree["m"]);
}

template <class Format, class T>
String member(const T& value) {
    const String text = Format::write(Member<T>{value});
    Member<T> read;
    Format::read(text, read);
    EXPECT_TRUE(read.value == value || std::is_floating_point_v<T>);
    return memberIn(*Format::parse(text));
}

template <class F>
const std::map<String, String (*)(const String&)> kMembers = {
    {"bool", [](const String& text) { return member<F>(text == "true"); }},
    {"char", [](const String& text) { return member<F>(text[0]); }},
    {"Byte", [](const String& text) { return member<F>(Byte(text)); }},
    {"unsigned char", [](const String& text) { return member<F>(Byte(text)); }},
    {"long", [](const String& text) { return member<F>(Long(text)); }},
    {"unsigned long", [](const String& text) { return member<F>(Ulong(text)); }},
    {"double", [](const String& text) { return member<F>(Double(text).value()); }},
    {"Wchar", [](const String& text) { return member<F>(Wchar(text)); }},
    {"String", [](const String& text) { return member<F>(text); }},
    {"wstring", [](const String& text) { return member<F>(text.toWstring()); }},
    {"Bytes", [](const String& text) { return member<F>(Bytes(text)); }},
    {"Time", [](const String& text) { return member<F>(Time::milliSeconds(Longlong(text))); }},
    {"list", [](const String& text) { return member<F>(std::list<String>{text}); }},
    {"map",
     [](const String& text) {
         return member<F>(std::map<int, String>{{7, text}});
     }},
};

template <class Format>
void expectMembers(const char* heading, std::size_t rows) {
    for (const Row& row : tablesOf(heading, rows))
        EXPECT_EQ(applied(kMembers<Format>, row[0]), unquoted(row[1])) << row[0];
}

TEST(Formats, MembersAreWrittenAsDocumented) {
    expectMembers<PmlFormat>("Member", 8);
    expectMembers<JsonFormat>("Member in JSON", 10);
    expectMembers<XmlFormat>("Element", 12);
}

TEST(Formats, AnObjectIsWrittenAsDocumented) {
    const Contact contact{"Ann", {7, 300}};
    const String hex = formatsPage().indentedAfter("A contact with a name").replace("\n", " ");
    EXPECT_EQ(hexOf(NbrFormat::write(contact)), hexOf(bytesOf(hex)));
    EXPECT_EQ(PmlFormat::write(contact), formatsPage().indentedAfter("The contact from above"));
    EXPECT_EQ(JsonFormat::write(contact),
              formatsPage().indentedAfter("The contact from above in JSON"));
    EXPECT_TRUE(formatsPage().has("    " + XmlFormat::write(contact) + "\n"));
}

// The tree in compact form, or the message of its failure.
template <class Format>
String outcomeOf(istr text) {
    try {
        const auto tree = Format::parse(text);
        return tree == nullptr ? String("no value") : String(Format::shown(*tree));
    } catch (const Exception& e) {
        return e.msg();
    } catch (const XMLRuntimeException& e) {
        return e.msg();
    }
}

String viewOf(istr text) {
    try {
        return json::JsonDocument::from(text).root().encode(false, false, 0);
    } catch (const Exception& e) {
        return e.msg();
    }
}

TEST(Formats, TextsAreReadOrRefusedAsDocumented) {
    const struct {
        const char* heading;
        std::size_t rows;
        String (*outcome)(istr);
        const char* leftOut;  // of a message
    } kTables[] = {
        {"Message", 5, outcomeOf<NbrFormat>, ""},
        {"Input", 20, outcomeOf<NbrFormat>, "DecodeException: "},
        {"Malformed", 5, outcomeOf<PmlFormat>, ""},
        {"JSON text", 26, outcomeOf<JsonFormat>, ""},
        {"Malformed JSON", 24, outcomeOf<JsonFormat>, "qor::json::DecodeException: "},
        {"JSON text", 26, viewOf, ""},
        {"Malformed JSON", 24, viewOf, "qor::json::DecodeException: "},
        {"Document", 17, outcomeOf<XmlFormat>, ""},
        {"Refused", 4, outcomeOf<XmlFormat>, ""},
    };
    for (const auto& table : kTables) {
        const bool isHex = table.outcome == outcomeOf<NbrFormat>;
        for (const Row& row : tablesOf(table.heading, table.rows)) {
            const Bytes text(isHex ? bytesOf(row[0]) : Bytes(unquoted(row[0])));
            String outcome = table.outcome(text);
            if (*table.leftOut != '\0') outcome.replace(table.leftOut, "");
            EXPECT_EQ(trimmed(outcome), unquoted(row[1])) << row[0];
        }
    }
}

TEST(Formats, PmlIsReadAndWrittenAsDocumented) {
    for (const Row& row : tablesOf("Text", 26)) {
        const String text = unquoted(row[0]);
        SCOPED_TRACE(text);
        const char* at = text.c_str();
        pml::ntv::Unit unit;
        EXPECT_TRUE(pml::ntvFromPml(unit, at));
        EXPECT_EQ(unit.str(pml::ShowMode::COMPACT), unquoted(row[1]));
        EXPECT_EQ(at, unquoted(row[2]));
    }
}

TEST(Formats, PmlLayoutIsAsDocumented) {
    const std::tuple<const char*, int, int> kLayouts[] = {
        {"**COMPACT**", pml::ShowMode::COMPACT, 7},
        {"**SIMPLE**", pml::ShowMode::SIMPLE, 7},
        {"**MIXED**", pml::ShowMode::MIXED, 7},
        {"**FORMATTED**", pml::ShowMode::FORMATTED, 15},
    };
    pml::ntv::Unit unit;
    for (const auto& [label, mode, pattern] : kLayouts) {
        const String block = formatsPage().indentedAfter(label);
        EXPECT_TRUE(pml::ntvFromPml(unit, block));
        EXPECT_EQ(unit.numofChildren(), 4u);
        EXPECT_EQ(unit.str(mode, pattern), block);
    }
    for (const Row& row : tablesOf("Pattern", 5)) {
        int pattern = 0;
        pml::ntv::Unit name;
        while ((name << pml::ShowPattern(pattern)).getStringValue() != unquoted(row[0]))
            ASSERT_LT(++pattern, 16);
        EXPECT_EQ(unit.str(pml::ShowMode::COMPACT, pattern), unquoted(row[1]));
    }
}

TEST(Formats, JsonLayoutIsAsDocumented) {
    const String block = formatsPage().indentedAfter("**Pretty**");
    const Handle<json::JsonValue> value = json::JsonParser::from(block);
    EXPECT_EQ(value->encode(true, false, 0), block);
    EXPECT_EQ(value->toFormattedSample(), String(block).replace("\n", "\n    "));
    const String shown = String(block).replace("    \"c\" : null,\n", "");
    EXPECT_EQ(value->toFormatted(), String(shown).replace("\n", "\n    "));
}

TEST(Formats, XmlLayoutIsAsDocumented) {
    const auto node = XmlFormat::parse("<a x='1' y='2'><b>u&lt;v</b><c/>t</a>");
    EXPECT_TRUE(formatsPage().has("    " + node->str(true, 1) + "\n"));
}

}  // namespace
}  // namespace qor
