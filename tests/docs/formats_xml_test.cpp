// Holds the XML of docs/formats.md against the code: its tables are the test data.

#include "support/bound.h"
#include "support/document.h"
#include "support/test.h"

namespace qor {
namespace {

std::vector<Row> tablesOf(const char* heading) {
    static const support::Document document("docs/formats.md");
    return document.tablesOf(heading);
}

TEST(FormatsXml, DocumentsReadAsTold) {
    const std::vector<Row> rows = tablesOf("Document");
    ASSERT_EQ(rows.size(), 17u);
    for (const Row& row : rows) {
        const XMLParser parser{istr(unquoted(row[0]))};
        EXPECT_EQ(parser.rootNode()->str(false, 0), unquoted(row[1])) << row[0];
    }
    const std::vector<Row> refused = tablesOf("Refused");
    ASSERT_EQ(refused.size(), 4u);
    for (const Row& row : refused) {
        XMLParser parser;
        try {
            parser.parse(istr(unquoted(row[0])));
            ADD_FAILURE() << row[0];
        } catch (const XMLRuntimeException& e) {
            EXPECT_EQ(e.msg(), row[1]);
            EXPECT_NE(parser.rootNode(), nullptr);
        }
    }
}

template <class T>
String element(T value) {
    XMLStream out;
    field(out, {"m", 1}, value);
    T read{};
    XMLStream in(XMLStream::in_t(), out.node());
    field(in, {"m", 1}, read);
    EXPECT_TRUE(read == value || std::is_floating_point_v<T>);
    return out.childAt(0).str(false, 0);
}

TEST(FormatsXml, ObjectsAreWrittenAsTold) {
    const std::map<String, String (*)(const String&)> elements = {
        {"bool", [](const String& text) { return element(text == "true"); }},
        {"char", [](const String& text) { return element(text[0]); }},
        {"Byte", [](const String& text) { return element(Byte(text)); }},
        {"long", [](const String& text) { return element(Long(text)); }},
        {"unsigned long", [](const String& text) { return element(Ulong(text)); }},
        {"double", [](const String& text) { return element(Double(text).value()); }},
        {"Wchar", [](const String& text) { return element(Wchar(text)); }},
        {"String", [](const String& text) { return element(text); }},
        {"wstring", [](const String& text) { return element(text.toWstring()); }},
        {"Bytes", [](const String& text) { return element(Bytes(text)); }},
        {"list", [](const String& text) { return element(std::list<String>{text}); }},
        {"map",
         [](const String& text) {
             return element(std::map<int, String>{{7, text}});
         }},
    };
    const std::vector<Row> rows = tablesOf("Element");
    ASSERT_EQ(rows.size(), elements.size());
    for (const Row& row : rows) {
        SCOPED_TRACE(row[0]);
        const std::size_t end = row[0].find('`', 1);
        const auto found = elements.find(row[0].substr(1, end - 1));
        ASSERT_NE(found, elements.end());
        EXPECT_EQ(found->second(support::trimmed(row[0].substr(end + 1))), unquoted(row[1]));
    }
}

TEST(FormatsXml, LayoutsAreAsTold) {
    std::ifstream file(QOR_SOURCE_DIR "/docs/formats.md");
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    Contact contact{"Ann", {7, 300}};
    XMLStream out;
    xml::encode(out, contact);
    EXPECT_NE(page.find("    " + out.str(false, 0) + "\n"), std::string::npos);
    XMLNode node(*XMLParser(istr("<a x='1' y='2'><b>u&lt;v</b><c/>t</a>")).rootNode());
    EXPECT_NE(page.find("    " + node.str(true, 1) + "\n"), std::string::npos);
}

}  // namespace
}  // namespace qor
