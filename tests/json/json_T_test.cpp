#include "qor/json/json_T.h"

#include "support/bound.h"
#include "support/leaf.h"
#include "support/test.h"

namespace qor::json {
namespace {

using support::Node;

// Carried through its interface.
struct Named : JsonCodecInterface {
    String name;

    explicit Named(istr text = istr()) : name(text) {}
    void codecJson(JsonStream& s) override { field(s, {"name", 1}, name); }
    bool operator==(const Named& other) const { return name == other.name; }
};

struct Chain : JsonCodecInterface {
    std::vector<Chain> children;

    void codecJson(JsonStream& s) override { field(s, {"children", 1}, children); }
};

struct Empty {
    Optional<int> nothing;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"nothing", 1}, nothing);
    }
    auto operator<=>(const Empty&) const { return std::strong_ordering::equal; }
    bool operator==(const Empty&) const = default;
};

auto makeAll() {
    using Numbers = std::vector<Optional<int>>;
    return Tuple(
        true, 'c', -2L, 4294967295UL, -2000000000, 1e300, -0.1F, Wchar(L'\u5b89'), Char('\xFF'),
        String("\xC3\x85ngstr\xC3\xB6m"), std::string("\\\"\n/\0", 5),
        std::wstring(L"\u5b89\U0001F600"), Bytes(istr("\0\xFF", 2)),
        Time::microSeconds(1500000000123000), Optional<Long>(Long(0)), Optional<Leaf>(),
        Leaf{1, "one"}, Named("interface"), Empty(), std::vector<bool>{true, false},
        std::deque<Named>{Named("n")}, std::list<std::vector<String>>{{"a", "b", ""}, {}},
        std::set<Leaf>{{9, "nine"}, {-9, "minus"}}, std::multiset<int>{3, 3},
        std::vector<Empty>{Empty(), Empty()}, Numbers{7, Optional<int>(), 8},
        std::map<String, Numbers>{{"k", {Optional<int>()}}},
        std::map<String, Optional<Empty>>{{"a", Optional<Empty>()}, {"b", Empty()}},
        std::vector<Optional<Optional<int>>>{Optional<int>(), Optional<Optional<int>>()},
        std::map<String, Bit>{{"", true}, {"b", false}}, std::map<String, int>{{"a\"b\\", 1}},
        std::multimap<String, int>{{"a", 1}, {"a", 2}}, std::map<std::wstring, int>{{L"\u5b89", 1}},
        std::map<std::string, std::map<int, Leaf>>{{"k", {{-1, {4, "four"}}}}, {"l", {}}},
        std::unordered_map<char, std::vector<Leaf>>{{'x', {{4, "four"}}}, {'y', {}}});
}
using All = decltype(makeAll());

TEST(Field, CarriesEveryType) {
    const All all = makeAll();
    JsonOutputStream out;
    encode(out, all);
    for (const bool pretty : {false, true}) {
        All read;
        decode(out.str(pretty), read);
        EXPECT_TRUE(read == all);
        All present = makeAll();  // what is there goes
        decode(out.str(pretty), present);
        EXPECT_TRUE(present == all);
    }
    All untouched = makeAll();
    decode("{m0:1,m2:true,m3:\"1\",m9:5,m12:7,m13:\"x\",m14:null,m15:null,m19:\"\",m20:{},m31:7}",
           untouched);
    decode("[]", untouched);
    EXPECT_TRUE(untouched == makeAll());
}

TEST(Field, MakesAKeyForEachMember) {
    JsonOutputStream out;
    encode(out, Tuple(Leaf{1, "one"}, std::vector<Leaf>{{2, "two"}}, Optional<Leaf>(), Empty(),
                      std::map<String, Bit>{{"b", true}, {"a", false}}, std::map<int, int>{{7, 8}},
                      std::list<Optional<int>>{7, Optional<int>()}, Named("n")));
    EXPECT_EQ(out.str(),
              R"({ "m0":{ "id":1, "text":"one" }, "m1":[ { "id":2, "text":"two" } ], "m3":{ }, )"
              R"("m4":{ "a":false, "b":true }, "m5":[ { "key":7, "value":8 } ], )"
              R"("m6":[ [ 7 ], [ ] ], "m7":{ "name":"n" } })");
    // Written again, a container has nothing of what it held.
    field(out, {"m4", 1}, std::map<String, int>{{"new", 1}});
    EXPECT_EQ(out["m4"].encode(), R"({ "new":1 })");
    // One codec, also for the streams of one direction.
    Leaf leaf{6, "six"};
    leaf.codec(out);
    Leaf read;
    JsonInputStream in(out.unit());
    read.codec(in);
    EXPECT_EQ(read, leaf);
}

TEST(Field, ReadsMapsFromBothForms) {
    std::map<String, int> map{{"gone", 1}};
    decode("{a:1,b:x}", map);
    EXPECT_EQ(map, (std::map<String, int>{{"a", 1}, {"b", 0}}));
    decode("[{key:\"c\",value:2},{key:\"c\",value:3},{value:4},5]", map);
    EXPECT_EQ(map, (std::map<String, int>{{"c", 3}}));
    for (const char* noMap : {"[1]", "[{key:\"d\"}]", "[[]]"}) {
        decode(noMap, map);
        EXPECT_EQ(map, (std::map<String, int>{{"c", 3}})) << noMap;
    }
    decode("[]", map);
    EXPECT_TRUE(map.empty());
}

template <class T>
void expectDepthLimit() {
    const auto nested = [](unsigned levels) {
        String text = "{}";
        for (unsigned i = 0; i < levels; ++i)
            text = "{children:[" + text + "]}";
        return text;
    };
    T node;
    EXPECT_EQ(support::raisedIn<DecodeException>([&] { decode(nested(kMaxDepth), node); }),
              "qor::json::ReadingDepth::ReadingDepth");
    decode(nested(kMaxDepth - 1), node);
    unsigned depth = 0;
    for (const T* at = &node; !at->children.empty(); at = &at->children[0])
        ++depth;
    EXPECT_EQ(depth, kMaxDepth - 1);
}

TEST(Field, LimitsTheDepthOfWhatItReads) {
    expectDepthLimit<Node>();
    expectDepthLimit<Chain>();
}

}  // namespace
}  // namespace qor::json
