#include "qor/log/log_dumper.h"

#include "support/bound.h"
#include "support/test.h"

namespace qor {
namespace {

struct Inner {
    String name_;

    dumper& dump(dumper& d) const {
        const dumper::_Entry entry(d, "qor::B");
        return d.member("name_", name_);
    }
};

struct Outer {
    int x_ = 5;
    Inner b_;

    dumper& dump(dumper& d) const {
        const dumper::_Entry entry(d, "qor::A");
        return d.member("x_", x_).member("b_", b_);
    }
};

// A value whose output fails, such as a null text.
struct Silent {
    auto operator<=>(const Silent&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Silent&) {
    os.setstate(std::ios::badbit);
    return os;
}

// It can only be written. The dumper calls no function that a program has beside its types.
struct Age : Optional<int> {};
void dumpPart(dumper&, const Age&) = delete;
void dumpElements(dumper&, const char*, const std::vector<Age>&) = delete;

template <class T>
std::string full(const T& value) {
    return dumped(value, false);
}

TEST(Dumper, ShowsNestedObjectsInBothForms) {
    const Outer object{5, {"abc"}};
    EXPECT_EQ(full(object),
              "@qor::A{\n    x_ = 5\n    b_ = @qor::B{\n        name_ = 'abc'\n    }\n}");
    EXPECT_EQ(dumped(object), "{x_=5 b_={name_='abc'}}");
    EXPECT_EQ(full(Inner()), "@qor::B{\n    name_ = \n}");
}

TEST(Dumper, ShowsAnObjectByItsCodec) {
    EXPECT_EQ(dumped(Contact{"Ann", {}}), "{name='Ann' numbers={}}");
    EXPECT_EQ(full(Contact{"Ann", {1, 2}}),
              "@Contact<contact>{\n    name = 'Ann'\n"
              "    numbers = @qor::vector{\n        1\n        2\n    }\n}");
    EXPECT_EQ(dumped(Tuple(Long(7), Optional<String>(), Optional<String>("x"), Age{7},
                           std::vector<Age>{{8}})),
              "m0=7 m2='x' m3=7 m4={8}");
}

TEST(Dumper, SavesTheFirstFlagOnce) {
    // After two scopes have closed, the flag is the one that the innermost scope saved.
    dumper d(true);
    d.enter().indent().raw("a").enter().indent().raw("b").leave().leave().indent().raw("c");
    EXPECT_EQ(d.str(), "{a{b}} c");
}

TEST(Dumper, TakesItsLayoutFromTheConfiguration) {
    dumper d(false, "\r\n", "\t", 1, ";", "<", ">", "", ":", ",");
    d << Outer{5, {"abc"}};
    EXPECT_EQ(d.str(),
              "qor::A<;\r\n\t\tx_ : 5;\r\n\t\tb_ : qor::B<;\r\n\t\t\tname_ : 'abc';\r\n\t\t>;;"
              "\r\n\t>;");
    dumper line(true);
    line.nvSeparator(":").valueSeparator(", ").beginTag("[").endTag("]");
    line << Outer{5, {"abc"}};
    EXPECT_EQ(line.str(), "[x_:5, b_:[name_:'abc']]");
    dumper texts;
    texts.enter("T", "name", "U", "V").leave();
    EXPECT_EQ(texts.str(), "@T<name>@U@V{\n}");
    dumper named;
    named.name("a").name("", "!").name("b", "->");
    EXPECT_EQ(named.str(), "a = b->");
}

TEST(Dumper, ShowsValuesWithAndWithoutQuotes) {
    const auto bare = [](auto value) {
        dumper d;
        d.write(value);
        return d.str();
    };
    const std::pair<String, const char*> cases[] = {
        {dumped(true), "true"},
        {bare(true), "1"},
        {dumped('x'), "'x'"},
        {dumped('\r'), "'<CR>'"},
        {bare('x'), "x"},
        {dumped(-5L), "-5"},
        {dumped(2.5), "2.5"},
        {dumped(L""), ""},
        {dumped(static_cast<unsigned char>(200)), "'\\310'"},
        {dumped(static_cast<const char*>(nullptr)), ""},
        {dumped(std::string()), ""},
        {dumped(std::wstring(L"\u00f8\u5b89")), "\"\u00f8\u5b89\""},
        {bare(L"\u00f8"), "\u00f8"},
        {dumped(Time()), "'<null>'"},
        {bare(Time()), "<null>"},
        {dumped(Byte(65)), "'A'"}};
    for (const auto& [shown, expected] : cases)
        EXPECT_EQ(shown, expected);
}

TEST(Dumper, ShowsContainers) {
    EXPECT_EQ(dumped(std::vector<int>{1, 2}), "{1 2}");
    EXPECT_EQ(full(std::set<int>{2, 1}), "@qor::set{\n    1\n    2\n}");
    EXPECT_EQ(full(std::array<bool, 1>{true}), "@qor::array{\n    true\n}");
    EXPECT_EQ(dumped(std::vector<bool>{true, false}), "{true false}");
    const std::map<String, int> map{{"a", 1}, {"b", 2}};
    EXPECT_EQ(dumped(map), "{a:1 b:2}");
    EXPECT_EQ(full(map), "@qor::map{\n    a : 1\n    b : 2\n}");
    EXPECT_EQ(full(std::multimap<int, String>{{1, "x"}}), "@qor::multimap{\n    1 : 'x'\n}");
    EXPECT_EQ(full(std::unordered_map<int, Optional<Long>>{{1, {}}}), "@qor::map{\n    1 : \n}");
    // A key's failure is none of the dumper.
    EXPECT_EQ(dumped(std::map<Silent, int>{{{}, 1}}), "{:1}");
    EXPECT_EQ(full(std::deque<int>{1}), "@qor::list{\n    1\n}");
    EXPECT_EQ(full(std::multiset<int>{1, 1}), "@qor::set{\n    1\n    1\n}");
    std::stack<int> stack;
    stack.push(1);
    stack.push(2);
    EXPECT_EQ(full(stack), "@qor::stack{\n    1\n    2\n}");
    mt::map<int, String> lockedMap;
    lockedMap.set(1, "x");
    EXPECT_EQ(full(lockedMap), "@qor::mt::map{\n    1 : 'x'\n}");
    mt::set<int> lockedSet;
    lockedSet.insert(3);
    EXPECT_EQ(full(lockedSet), "@qor::mt::set{\n    3\n}");
}

TEST(Dumper, TakesNullOfAnySizeAsNoText) {
    const istr null(static_cast<const char*>(nullptr), 300);
    dumper d;
    d.write(null) << null << write_hex(null);
    EXPECT_EQ(d.str(), "");
    EXPECT_TRUE(full(hexdata(null)).ends_with("--\n000100: <omit data up to 12C>"));
}

TEST(Dumper, ClipsLongTextAndData) {
    const std::string limit(256, 'x');
    EXPECT_EQ(dumped(limit), "'" + limit + "'");
    EXPECT_EQ(dumped(limit + "y"), "'" + limit + "<omit data up to 257>'");
    std::ostringstream formatted;
    formatted << std::hex;
    dumper(formatted) << limit + "y";
    EXPECT_EQ(formatted.str(), "'" + limit + "<omit data up to 257>'");
    EXPECT_EQ(dumped(std::wstring(129, L'\u00f8')).size(), 2 + 256 + 21u);
    dumper d;
    d.write(istr(limit + "y"));
    EXPECT_EQ(d.str(), limit + "y");
    EXPECT_EQ(dumped(Bytes(istr(limit + "y"))), "\"" + limit + "<omit data up to 257>\"");
    const std::string hex = dumped(write_hex(istr(limit + "y")));
    EXPECT_TRUE(hex.ends_with("78 78<omit data up to 257>"));
    const std::string table = full(hexdata(istr(limit + "y")));
    EXPECT_TRUE(table.ends_with("\n000100: <omit data up to 101>"));
}

TEST(Dumper, ShowsBytesInHexadecimalGroups) {
    EXPECT_EQ(dumped(Bytes(istr("A\0\xFFZ", 4))), "\"A\\x{00FF}Z\"");
    EXPECT_EQ(dumped(Bytes()), "");
    // A line feed breaks the line, but not the group.
    dumper d(true);
    d.level(1);
    d << Bytes(istr("\x01\n\x02", 3));
    EXPECT_EQ(d.str(), "\"\\x{01\n    02}\"");
}

TEST(Dumper, ShowsHexTables) {
    const istr data("0123456789abcdef\x07", 17);
    EXPECT_EQ(dumped(hexdata(data, 3)), "30 31 32");
    EXPECT_EQ(dumped(hexdata(istr("ab"), 9)), "61 62");
    EXPECT_EQ(full(hexdata(data)),
              "\n        00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  0123456789ABCDEF"
              "\n-------------------------------------------------------------------------"
              "\n000000: 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  0123456789abcdef"
              "\n000010: 07                                               .");
    std::ostringstream os;
    os << std::hex;
    hexdata(istr("\xAB"))(os);
    os << 10;
    EXPECT_EQ(os.str(), "AB10") << "the stream is back in decimal";
}

TEST(Dumper, ReturnsItsTextOnlyFromItsOwnStream) {
    std::ostringstream os;
    dumper d(os);
    d << 5;
    EXPECT_EQ(os.str(), "5");
    EXPECT_EQ(raised<UnsupportedFunctionException>([&d] { d.str(); }),
              "qor::dumper::str: qor::UnsupportedFunctionException: "
              "qor::UnsupportedFunctionException");
}

TEST(Dumper, TakesManipulatorsAndValuesThatApplyThemselves) {
    dumper d;
    d << qor::indent << namestring("n") << rawstring("r") << &dumper::nl;
    EXPECT_EQ(d.str(), "\nn = r\n");
    EXPECT_EQ(dumped(dumper::Config()),
              "{compact_=false lineSeparator_='\n' indentSeparator_='    ' level_=0 "
              "eolSeparator_= beginTag_='{' endTag_='}' typeTag_='@' nvSeparator_='=' "
              "valueSeparator_=' '}");
    CallStack stack;
    stack.container().push(Current("a/f.cpp", 3, "g"));
    EXPECT_EQ(dumped(stack),
              "{_v.container()={{_v.file()='a/f.cpp' _v.line()=3 _v.func()='g' _v.prefix()=}} "
              "_v.separator()=}");
}

}  // namespace
}  // namespace qor
