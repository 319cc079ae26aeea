#include "qor/json/json_stream.h"

#include "support/test.h"

namespace qor::json {
namespace {

// Binds its members by hand.
struct Part : JsonCodecInterface {
    String name = "unset";
    long count = -1;

    void codecJson(JsonStream& s) override {
        s.enter("Part", "part", "", "");
        if (s.encoding()) {
            if (!name.empty()) s.jos()["name"] << name;
            s.jos().child("count");
            if (count >= 0) s.jos().child("count", "n", 0) << count;
        } else {
            s.jis()["name"] >> name;
            s.jis().child("count", "n") >> count;
        }
        s.leave();
    }
};

TEST(JsonCodecInterface, WritesAndReadsThroughOneRoutine) {
    Part part;
    part.count = 3;
    EXPECT_EQ(part.toJson(false), R"({ "n":3, "name":"unset" })");
    part.name.clear();
    part.count = -1;
    EXPECT_EQ(part.toJson(false), "{ }");
    Part read;
    read.fromJson("{name:\"x\",n:4.9,count:5}");
    EXPECT_EQ(read.name, "x");
    EXPECT_EQ(read.count, 4);
    EXPECT_THROW(read.fromJson("{name:\"y\""), DecodeException);
    EXPECT_EQ(read.name, "x");
    EXPECT_EQ(streamed(read), "{\n    \"n\" : 4,\n    \"name\" : \"x\"\n}");
}

TEST(JsonStream, UsesTheUnitOfItsStream) {
    JsonStream own;
    EXPECT_TRUE(own.encoding());
    own.jos()["a"] << 1;
    EXPECT_EQ(own.encode(), R"({ "a":1 })");

    JsonUnit unit;
    JsonOutputStream out(unit);
    JsonStream writer(out);
    writer.jos() << "text";
    EXPECT_EQ(unit.encode(), "\"text\"");
    EXPECT_EQ(&writer.unit(), &unit);

    const JsonInputStream in(unit);
    JsonStream reader(in);
    EXPECT_EQ(reader.str(), "\"text\"");
    EXPECT_EQ(JsonStream(istr("[1]")).str(), "[ 1 ]");
}

TEST(JsonStream, GivesAndTakesChildren) {
    JsonOutputStream out;
    out.child("a", "", 1) << 1;
    out.child("a", nullptr, 1) << 2;
    out.child("a", "b", 1) << Ulonglong(3);
    EXPECT_EQ(out.str(), R"({ "a":2, "b":3 })");
    JsonInputStream in(out.unit());
    int value = 0;
    in.child("b", "a") >> value;
    EXPECT_EQ(value, 2);
    in.child("b", "") >> value;
    EXPECT_EQ(value, 3);
    JsonArray::const_iterator element = nullptr;
    JsonArray::const_iterator elementsEnd = nullptr;
    EXPECT_FALSE(in.getArrayChildren(element, elementsEnd));
    EXPECT_EQ(element, nullptr);
    JsonObject::const_iterator pair;
    JsonObject::const_iterator pairsEnd;
    EXPECT_TRUE(in.getObjectChildren(pair, pairsEnd));
    EXPECT_EQ((pair++)->first, "a");
    EXPECT_EQ((pair++)->second.encode(), "3");
    EXPECT_TRUE(pair == pairsEnd);

    JsonOutputStream elements;
    JsonOutputStream shared;
    shared << 1;
    elements.add(shared);
    elements.add(JsonOutputStream());
    shared << 2;
    EXPECT_EQ(elements.str(), "[ 2, null ]");
    EXPECT_TRUE(JsonInputStream(elements.unit()).getArrayChildren(element, elementsEnd));
    EXPECT_EQ(elementsEnd - element, 2);
    EXPECT_FALSE(JsonInputStream(elements.unit()).getObjectChildren(pair, pairsEnd));

    out.dumping(longOf(0x100000007));
    EXPECT_EQ(out.dumping(), 7);
    EXPECT_EQ(in.dumping(), 0);
}

}  // namespace
}  // namespace qor::json
