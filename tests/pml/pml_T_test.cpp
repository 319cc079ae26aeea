#include "qor/pml/pml_T.h"

#include "support/bound.h"
#include "support/pml.h"
#include "support/test.h"

namespace qor::pml {
namespace {

TEST(Field, WritesAChildForEachMember) {
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
        "{m0:Leaf{id=1 text=one} m1{:Leaf{id=2 text=two}} m3:map{=1 b=0} m4:Named{name=n} m5{}}");

    stream whole;
    encode(whole, Leaf{1, "one"});
    EXPECT_EQ(whole.toPml(false), "leaf:Leaf(id(1)text(one))");
    // The type of the field counts, also with a map.
    std::map<String, Bit> flags{{"a", true}};
    EXPECT_TRUE((Field__<std::map<String, Bit>>{"f", "flags", &flags}.set(whole),
                 whole.unit().at("f")->type() == "flags"));
    flags["old"] = true;
    EXPECT_TRUE((Field__<std::map<String, Bit>>{"id", "", &flags}.get(whole) && flags.empty()));
    EXPECT_FALSE((Field__<std::map<String, Bit>>{"none", "", &flags}.get(whole)));
    Optional<String> text("old");
    EXPECT_TRUE((Field__<Optional<String>>{"o", "", &text}.get(stream("(o())", false))));
    EXPECT_TRUE(text.isSet() && text.value().empty());
    // Of two names with the same key the last one counts.
    std::map<int, String> numbers;
    decode(stream("(1(a)2(b)01(c))", false), numbers);
    EXPECT_EQ(numbers, (std::map<int, String>{{1, "c"}, {2, "b"}}));
}

// Reads a member that the text does not have, by an operator that creates it.
struct Handwritten {
    int x = 7;
    void codec(stream& s) { s["x"] >> x; }
};

TEST(Field, ReadsWithoutChangingTheTree) {
    const stream in("r(y(1))", false);
    Handwritten object;
    decode(in, object);
    EXPECT_EQ(object.x, 7);
    EXPECT_EQ(in.toPml(false), "r(y(1))");
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

}  // namespace
}  // namespace qor::pml
