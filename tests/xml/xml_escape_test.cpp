#include "qor/xml/xml_escape.h"

#include "support/formats.h"
#include "support/test.h"

namespace qor::xml {
namespace {

TEST(XmlEscape, DecodesEntities) {
    const struct {
        const char* text;
        const char* decoded;
    } cases[] = {
        {"&quot;&amp;&apos;&lt;&gt;", "\"&'<>"},
        {"&#65;&#x41;&#x6a;&#x6A;", "AAjj"},
        {"&#0;&#;&#x;&#x0;&#no;&#X41;", ""},
        {"&#321;&#256;&#-1;", "A\xFF"},  // cut to a byte; one of 0 gives nothing
        {"&#xg;", "\xFF"},
        {"&unknow;&;&AMP;", "&unknow;&;&AMP;"},
        {"&toolongname;&unknown;", "&toolongname;&unknown;"},
        {"&&amp;&lt", "&&amp;&lt"},  // the name is that of the first "&"
        {"a&b&#x000041;", "a&b&#x000041;"},
        {"&amp;lt;", "&lt;"},
    };
    for (const auto& c : cases) {
        String out = "x";
        unescape(out, c.text);
        EXPECT_EQ(out, String("x") + c.decoded) << c.text;
        String attr = c.text;
        decode_attr(attr);
        EXPECT_EQ(attr, c.decoded);
    }
}

TEST(XmlEscape, ChoosesTheFormOfText) {
    const struct {
        const char* text;
        const char* written;
    } cases[] = {
        {"", ""},
        {"plain ]]", "plain ]]"},
        {"a<b", "<![CDATA[a<b]]>"},
        {"'", "<![CDATA[']]>"},
        {"]]>", "]]&gt;"},
        {"<![CDATA[\"&']]>", "&lt;![CDATA[&quot;&amp;&apos;]]&gt;"},
    };
    for (const auto& c : cases) {
        String text = c.text;
        encode_cdata(text);
        EXPECT_EQ(text, c.written);
        decode_cdata(text);
        EXPECT_EQ(text, c.text);
    }
    String whole = "<![CDATA[&amp;]]>";
    decode_cdata(whole);
    EXPECT_EQ(whole, "&amp;");  // the inside is not decoded
    String half = "<![CDATA[&amp;";
    decode_cdata(half);
    EXPECT_EQ(half, "<![CDATA[&");
    String attr = "a\"b]]>";
    encode_attr(attr);
    EXPECT_EQ(attr, "a&quot;b]]&gt;");
}

TEST(XmlEscape, TheTextMayBeAPartOfTheOutput) {
    const std::string plain = repeated("<", 20), escaped = repeated("&lt;", 20);
    String out = "x" + plain;
    escape(out, istr(out).removeLeft(1));
    EXPECT_EQ(out, "x" + plain + escaped);
    out = "x" + escaped;
    unescape(out, istr(out).removeLeft(1));
    EXPECT_EQ(out, "x" + escaped + plain);
}

TEST(XmlEscape, AFailureLeavesTheTextUnchanged) {
    const String special = std::string(40, '<');
    String out = "x";
    EXPECT_GT(failEachAllocation([&] { escape(out, special); }, [&] { EXPECT_EQ(out, "x"); }), 0u);
    String text = special;
    failEachAllocation([&] { encode_cdata(text); }, [&] { EXPECT_EQ(text, special); });
    EXPECT_EQ(text.size(), special.size() + 12);
}

}  // namespace
}  // namespace qor::xml
