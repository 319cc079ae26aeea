#include "qor/pml/pml_T.h"

#include "support/bound.h"
#include "support/leaf.h"
#include "support/pml.h"
#include "support/test.h"

namespace qor::pml {
namespace {

// Carried through its interface.
struct Named : PmlCodecInterface {
    String name;

    explicit Named(istr text = istr()) : name(text) {}
    void codec(stream& s) override { field(s, Field__<String>{"name", "Name", &name}); }
    bool operator==(const Named& other) const { return name == other.name; }
};

auto makeAll() {
    return Tuple(true, 'c', -2L, 4294967295UL, -2000000000, 1e300, -0.1F, Wchar(L'\u5b89'),
                 String("\xC3\x85ngstr\xC3\xB6m"), std::string("(^\"'*:) "),
                 std::wstring(L"\u5b89\U0001F600"), Bytes(istr("\0\xFF", 2)),
                 Time::microSeconds(1500000000123000), Optional<Long>(Long(0)), Optional<Leaf>(),
                 Leaf{1, "one"}, Named("interface"), std::vector<bool>{true, false},
                 std::deque<Named>{Named("n")}, std::list<std::vector<String>>{{"a", "b", ""}, {}},
                 std::set<Leaf>{{9, "nine"}, {-9, "minus"}}, std::multiset<int>{3, 3},
                 std::map<String, Bit>{{"", true}, {"b", false}},
                 std::map<std::string, std::map<int, Leaf>>{{"k", {{-1, {4, "four"}}}}, {"l", {}}},
                 std::unordered_map<char, std::vector<Leaf>>{{'x', {{4, "four"}}}, {'y', {}}});
}
using All = decltype(makeAll());

TEST(Field, CarriesEveryType) {
    const All all = makeAll();
    stream out;
    encode(out, all);
    for (const bool formatted : {false, true}) {
        const stream in(out.toPml(formatted), false);
        All read;
        decode(in, read);
        EXPECT_TRUE(read == all);
        All present = makeAll();  // what is there goes
        decode(in, present);
        EXPECT_TRUE(present == all);
    }
    All untouched = makeAll();
    decode(stream("(m0(x)m2(abc)m3(-)m5()m6(e)m8()n(1))", false), untouched);
    decode(stream(), untouched);
    EXPECT_TRUE(untouched == makeAll());
}

TEST(Field, MakesAChildForEachMember) {
    stream out;
    unsigned long port = 80;
    field(out, {"port", 1}, port);
    EXPECT_EQ(out.toPml(false), "(port(80))");
    EXPECT_THROW(field(out, {"port", 1}, port), ntv::DuplicatedUnitException);
    EXPECT_EQ(out.toPml(false), "(port(80))");

    stream objects;
    encode(objects,
           Tuple(Leaf{1, "one"}, std::vector<Leaf>{{2, "two"}}, Optional<Leaf>(),
                 std::map<String, Bit>{{"", true}, {"b", false}}, Named("n"), std::list<int>()));
    EXPECT_EQ(
        treeOf(objects.unit()),
        "{m0:Leaf{id=1 text=one} m1{:Leaf{id=2 text=two}} m3:map{=1 b=0} m4{name:Name=n} m5{}}");

    stream whole;
    encode(whole, Leaf{1, "one"});
    EXPECT_EQ(whole.toPml(false), "leaf:Leaf(id(1)text(one))");
    // A type of the field's own counts, also with a map.
    std::map<String, Bit> flags{{"a", true}};
    EXPECT_TRUE((Field__<std::map<String, Bit>>{"f", "flags", &flags}.set(whole),
                 whole.unit().at("f")->type() == "flags"));
    flags["old"] = true;
    EXPECT_TRUE((Field__<std::map<String, Bit>>{"id", "", &flags}.get(whole) && flags.empty()));
    EXPECT_FALSE((Field__<std::map<String, Bit>>{"none", "", &flags}.get(whole)));
    // Of two names that are one key the last one counts.
    std::map<int, String> numbers;
    decode(stream("(1(a)2(b)01(c))", false), numbers);
    EXPECT_EQ(numbers, (std::map<int, String>{{1, "c"}, {2, "b"}}));
}

TEST(Field, BindsVolatileScalars) {
    volatile bool on = true;
    volatile unsigned long count = 7;
    stream s;
    Field__<volatile bool>{"on", "", &on}.set(s);
    Field__<volatile unsigned long>{"count", "t", &count}.set(s);
    EXPECT_EQ(s.toPml(false), "(on(1)count:t(7))");
    s["on"] << "false";
    s["count"] << "x";
    s.setAsInputStream();
    EXPECT_TRUE(field(s, Field__<volatile bool>{"on", "", &on}).isInputStream());
    EXPECT_TRUE((Field__<volatile unsigned long>{"count", "t", &count}.get(s)));
    EXPECT_FALSE(on);
    EXPECT_EQ(count, 7u);
}

TEST(Field, LimitsTheDepthOfWhatItReads) {
    const auto nested = [](unsigned levels) {
        std::string text = "()";
        for (unsigned i = 0; i < levels; ++i)
            text = "(children(" + text + "))";
        return text;
    };
    Node node;
    decode(stream(nested(kMaxDepth - 1), false), node);
    unsigned depth = 0;
    for (const Node* at = &node; !at->children.empty(); at = &at->children[0])
        ++depth;
    EXPECT_EQ(depth, kMaxDepth - 1);
    EXPECT_THROW(decode(stream(nested(kMaxDepth), false), node), DecodeException);
}

}  // namespace
}  // namespace qor::pml
