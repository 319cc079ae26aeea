// Holds docs/formats.md against the code: its tables are the test data.

#include "support/bound.h"
#include "support/document.h"
#include "support/test.h"

namespace qor {
namespace {

const support::Document& page() {
    static const support::Document document("docs/formats.md");
    return document;
}

std::vector<Row> tablesOf(const char* heading) {
    return page().tablesOf(heading);
}

Bytes bytesOf(const String& cell) {
    return support::bytes(unquoted(cell));
}

String hexOf(istr bytes) {
    return bytes2hexstr(bytes);
}

// What a row of values is checked with: the same value through both formats and back.
struct Written {
    Bytes nbr;
    Bytes flat;
    bool same = false;  // when read back
};

template <class T>
Written throughBoth(const T& value) {
    nbr::OutputStream tree;
    tree << value;
    BinaryOutStream flat;
    flat.write(value);
    T fromTree{};
    nbr::InputStream(tree.str()).getSimpleValue()->read(fromTree);
    T fromFlat{};
    BinaryInStream(flat.str()).read(fromFlat);
    return {Bytes(tree.str()), Bytes(flat.str()), fromTree == value && fromFlat == value};
}

template <class Mark>
Written markThroughBoth(Mark mark) {
    nbr::OutputStream tree;
    tree << mark;
    BinaryOutStream flat;
    flat.write(mark);
    return {Bytes(tree.str()), Bytes(flat.str()), true};
}

using Writer = Written (*)(const String& text);

template <class Wrapper>
Written number(const String& text) {
    return throughBoth(Wrapper(text).value());
}

const std::map<String, Writer>& writers() {
    static const std::map<String, Writer> all = {
        {"null_type", [](const String&) { return markThroughBoth(null_type()); }},
        {"empty_type", [](const String&) { return markThroughBoth(empty_type()); }},
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
        {"Time",
         [](const String& text) {
             return throughBoth(Time::microSeconds(Longlong(text).value()));
         }},
        {"istr", [](const String& text) { return throughBoth(istr(text)); }},
        {"String", [](const String& text) { return throughBoth(text); }},
        {"wstring", [](const String& text) { return throughBoth(text.toWstring()); }},
    };
    return all;
}

TEST(Formats, ValuesAreWrittenAsTold) {
    const std::vector<Row> rows = tablesOf("Value");
    ASSERT_EQ(rows.size(), 25u);
    for (const Row& row : rows) {
        SCOPED_TRACE(row[0]);
        const std::size_t end = row[0].find('`', 1);
        const auto writer = writers().find(row[0].substr(1, end - 1));
        ASSERT_NE(writer, writers().end());
        const Written written = writer->second(trimmed(row[0].substr(end + 1) + " "));
        EXPECT_EQ(hexOf(written.nbr), hexOf(bytesOf(row[1])));
        EXPECT_EQ(hexOf(written.flat), hexOf(bytesOf(row[2])));
        EXPECT_TRUE(written.same);
    }
}

// The tree in compact form, or why there is none.
String outcomeOf(istr message) {
    try {
        const std::unique_ptr<nbr::ValueBase> value(nbr::parser::from(message));
        if (value == nullptr) return "no value";
        dumper d(true);
        value->dump(d);
        return d.str();
    } catch (const nbr::DecodeException& e) {
        return String(e.msg()).replace("DecodeException: ", "");
    }
}

TEST(Formats, MessagesAndMalformedInputReadAsTold) {
    std::vector<Row> rows = tablesOf("Message");
    ASSERT_EQ(rows.size(), 5u);
    const std::vector<Row> malformed = tablesOf("Input");
    ASSERT_EQ(malformed.size(), 20u);
    rows.insert(rows.end(), malformed.begin(), malformed.end());
    for (const Row& row : rows) {
        SCOPED_TRACE(row[0]);
        EXPECT_EQ(outcomeOf(bytesOf(row[0])), unquoted(row[1]));
    }
}

TEST(Formats, AnObjectIsWrittenAsTold) {
    std::ifstream file(QOR_SOURCE_DIR "/docs/formats.md");
    String digits;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("A contact with a name")) inside = true;
        if (line.starts_with("###")) inside = false;
        if (inside && line.starts_with("    ")) digits += line;
    }
    Contact contact{"Ann", {7, 300}};
    nbr::CodecStream out;
    nbr::encode(out, contact);
    EXPECT_EQ(hexOf(out.str()), hexOf(bytesOf(digits)));
}

String blockBehind(const char* label) {
    return page().indentedBehind(label);
}

TEST(Formats, PmlReadsAndIsWrittenBackAsTold) {
    const std::vector<Row> rows = tablesOf("Text");
    ASSERT_EQ(rows.size(), 26u);
    for (const Row& row : rows) {
        const String text = unquoted(row[0]);
        SCOPED_TRACE(text);
        const char* at = text.c_str();
        pml::ntv::Unit unit;
        EXPECT_TRUE(pml::ntvFromPml(unit, at));
        EXPECT_EQ(unit.str(pml::ShowMode::COMPACT), unquoted(row[1]));
        EXPECT_EQ(at, unquoted(row[2]));
    }
    const std::vector<Row> malformed = tablesOf("Malformed");
    ASSERT_EQ(malformed.size(), 5u);
    for (const Row& row : malformed) {
        try {
            pml::stream(unquoted(row[0]), false);
            ADD_FAILURE() << row[0];
        } catch (const Exception& e) {
            EXPECT_EQ(row[1], e.msg());
        }
    }
}

TEST(Formats, PmlIsLaidOutAsTold) {
    const std::pair<const char*, int> layouts[] = {{"**COMPACT**", pml::ShowMode::COMPACT},
                                                   {"**SIMPLE**", pml::ShowMode::SIMPLE},
                                                   {"**MIXED**", pml::ShowMode::MIXED},
                                                   {"**FORMATTED**", pml::ShowMode::FORMATTED}};
    for (const auto& [label, mode] : layouts) {
        const String block = blockBehind(label);
        pml::ntv::Unit unit;
        EXPECT_TRUE(pml::ntvFromPml(unit, block));
        EXPECT_EQ(unit.numofChildren(), 4u);
        EXPECT_EQ(unit.str(mode, mode == pml::ShowMode::FORMATTED ? 15 : 7), block);
        const std::vector<Row> patterns = tablesOf("Pattern");
        ASSERT_EQ(patterns.size(), 5u);
        for (const Row& row : patterns) {
            int pattern = 0;
            pml::ntv::Unit name;
            while ((name << pml::ShowPattern(pattern)).getStringValue() != unquoted(row[0]))
                ASSERT_LT(++pattern, 16);
            EXPECT_EQ(unit.str(pml::ShowMode::COMPACT, pattern), unquoted(row[1]));
        }
    }
}

template <class T>
String memberUnit(const T& value) {
    pml::stream out;
    pml::Field__<const T>{"m", "", &value}.set(out);
    T read{};
    EXPECT_TRUE((pml::Field__<T>{"m", "", &read}.get(out)));
    EXPECT_TRUE((read == value) || std::is_floating_point_v<T>);
    return out.unit().at("m")->str(pml::ShowMode::COMPACT);
}

TEST(Formats, MembersAreWrittenAsToldInPml) {
    const std::map<String, String (*)(const String&)> members = {
        {"bool", [](const String& text) { return memberUnit(text == "true"); }},
        {"char", [](const String& text) { return memberUnit(text[0]); }},
        {"long", [](const String& text) { return memberUnit(Long(text)); }},
        {"unsigned long", [](const String& text) { return memberUnit(Ulong(text)); }},
        {"double", [](const String& text) { return memberUnit(Double(text).value()); }},
        {"String", [](const String& text) { return memberUnit(text); }},
        {"wstring", [](const String& text) { return memberUnit(text.toWstring()); }},
        {"Bytes", [](const String& text) { return memberUnit(Bytes(text)); }},
    };
    const std::vector<Row> rows = tablesOf("Member");
    ASSERT_EQ(rows.size(), 8u);
    for (const Row& row : rows) {
        SCOPED_TRACE(row[0]);
        const std::size_t end = row[0].find('`', 1);
        const auto member = members.find(row[0].substr(1, end - 1));
        ASSERT_NE(member, members.end());
        EXPECT_EQ(member->second(trimmed(row[0].substr(end + 1))), unquoted(row[1]));
    }
    Contact contact{"Ann", {7, 300}};
    pml::stream out;
    pml::encode(out, contact);
    EXPECT_EQ(out.toPml(false), blockBehind("The contact from above"));
}

}  // namespace
}  // namespace qor
