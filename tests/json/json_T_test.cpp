#include "qor/json/json_T.h"

#include "support/bound.h"
#include "support/test.h"

namespace qor::json {
namespace {

// With operators of its own.
struct Id : Ulong {
    using Ulong::operator=;
};
JsonUnit& operator<<(JsonUnit& unit, const Id& id) {
    return unit << "#" + std::to_string(id.value());
}
void operator>>(const JsonUnit& unit, Id& id) {
    String text;
    unit >> text;
    id = static_cast<ulong32>(std::stoul(text.substr(1)));
}
struct GuestId : Id {
    using Id::operator=;
};

// Has operators, and text converts to it.
struct Any {
    Any(const std::string&) {}
};
[[maybe_unused]] void operator<<(JsonUnit& unit, const Any&) {
    unit << 0;
}
[[maybe_unused]] void operator>>(const JsonUnit&, Any&) {}
struct Alias : std::string {
    using basic_string::basic_string;
};

TEST(Field, WritesAKeyForEachMember) {
    JsonOutputStream out;
    encode(out, Tuple(Leaf{1, "one"}, std::vector<Leaf>{{2, "two"}}, Optional<Leaf>(), Tuple<>(),
                      std::map<String, Bit>{{"b", true}, {"a", false}}, std::map<int, int>{{7, 8}},
                      std::list<Optional<int>>{7, Optional<int>()}, Named("n")));
    EXPECT_EQ(out.str(),
              R"({ "m0":{ "id":1, "text":"one" }, "m1":[ { "id":2, "text":"two" } ], "m3":{ }, )"
              R"("m4":{ "a":false, "b":true }, "m5":[ { "key":7, "value":8 } ], )"
              R"("m6":[ [ 7 ], [ ] ], "m7":{ "name":"n" } })");
    // Written again, a container has only its new elements.
    field(out, {"m4", 1}, std::map<String, int>{{"new", 1}});
    EXPECT_EQ(out["m4"].encode(), R"({ "new":1 })");
    // The same codec also takes the streams of one direction.
    Leaf leaf{6, "six"};
    leaf.codec(out);
    Leaf read;
    JsonInputStream in(out.unit());
    read.codec(in);
    EXPECT_EQ(read, leaf);
    Tuple<Id, GuestId> ids, same;
    std::get<0>(ids) = 7;
    std::get<1>(ids) = 8;
    JsonOutputStream written;
    encode(written, ids);
    EXPECT_EQ(written.str(), R"({ "m0":"#7", "m1":"#8" })");
    decode(written.str(), same);
    EXPECT_EQ(same, ids);
    JsonOutputStream alias;
    encode(alias, std::vector<Alias>{"x"});
    EXPECT_EQ(alias.str(), R"([ "x" ])");
}

TEST(Field, ReadsMapsFromBothForms) {
    std::map<String, int> map{{"old", 1}};
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

}  // namespace
}  // namespace qor::json
