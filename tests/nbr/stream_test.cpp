#include "qor/nbr/binding.h"

#include <gtest/gtest.h>

#include <list>
#include <map>
#include <set>
#include <sstream>

#include "qor/log/log_dumper.h"
#include "qor/nbr/parser.h"
#include "qor/util/optional.h"
#include "support/allocation.h"

namespace qor::nbr {
namespace {

struct Leaf {
    Long id;
    String text;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Leaf", "leaf", "", "");
        field(s, {"id", 1}, id);
        field(s, {"text", 2}, text);
        s.leave();
    }
    bool operator==(const Leaf&) const = default;
    bool operator<(const Leaf& other) const { return id < other.id; }
};

// Carried through its interface.
struct Named : CodecInterface {
    String name;
    template <class Stream>
    void fields(Stream& s) {
        field(s, {"name", 1}, name);
    }
    void codec(CodecStream& s) override {
        runCodec(s, [&] { fields(s); });
    }
    bool operator==(const Named& other) const { return name == other.name; }
};

struct All {
    bool plainBool = false;
    char plainChar = 0;
    unsigned char plainByte = 0;
    short plainShort = 0;
    unsigned short plainUshort = 0;
    int plainInt = 0;
    unsigned plainUnsigned = 0;
    long plainLong = 0;
    unsigned long plainUlong = 0;
    long long plainLonglong = 0;
    unsigned long long plainUlonglong = 0;
    float plainFloat = 0;
    double plainDouble = 0;
    Bit bit;
    Char character;
    Wchar wide;
    String text;
    std::string standard;
    std::wstring wideText;
    Bytes bytes;
    Time time;
    Optional<Long> maybe;
    Leaf leaf;
    Named named;
    std::vector<Leaf> leaves;
    std::vector<bool> bits;
    std::list<std::vector<String>> lists;
    std::set<Leaf> set;
    std::map<String, Bit> switches;
    std::map<int, std::vector<Leaf>> trees;

    template <class Stream>
    void codec(Stream& s) {
        unsigned char tag = 0;
        s.enter("All", "all", "", "");
        const auto next = [&](auto& member) { field(s, {"member", ++tag}, member); };
        next(plainBool), next(plainChar), next(plainByte), next(plainShort), next(plainUshort);
        next(plainInt), next(plainUnsigned), next(plainLong), next(plainUlong);
        next(plainLonglong), next(plainUlonglong), next(plainFloat), next(plainDouble);
        next(bit), next(character), next(wide), next(text), next(standard), next(wideText);
        next(bytes), next(time), next(maybe), next(leaf), next(named), next(leaves), next(bits);
        next(lists), next(set), next(switches), next(trees);
        s.leave();
    }
    bool operator==(const All&) const = default;
};

All makeAll() {
    All all;
    all.plainBool = true;
    all.plainChar = -100;
    all.plainByte = 200;
    all.plainShort = -30000;
    all.plainUshort = 60000;
    all.plainInt = -2000000000;
    all.plainUnsigned = 4000000000U;
    all.plainLong = -2;
    all.plainUlong = 4294967295UL;
    all.plainLonglong = -9000000000000000000LL;
    all.plainUlonglong = 18000000000000000000ULL;
    all.plainFloat = -0.1F;
    all.plainDouble = 1e300;
    all.bit = true;
    all.character = '\xE9';
    all.wide = L'\u5b89';
    all.text = "Ångström";
    all.standard = std::string(300, 'x');
    all.wideText = L"\u5b89\U0001F600";
    all.bytes = istr("\0\xFF", 2);
    all.time = Time::microSeconds(-1);
    all.maybe = Long(0);
    all.leaf = {1, "one"};
    all.named.name = "by interface";
    all.leaves = {{2, "two"}, {3, ""}};
    all.bits = {true, false, true};
    all.lists = {{"a", "b"}, {}, {""}};
    all.set = {{9, "nine"}, {-9, "minus"}};
    all.switches = {{"on", true}, {"off", false}};
    all.trees = {{-1, {{4, "four"}}}, {5, {}}};
    return all;
}

template <class T>
Bytes encoded(const T& object) {
    CodecStream out;
    encode(out, object);
    return Bytes(out.str());
}

TEST(CodecStream, CarriesEveryType) {
    const All all = makeAll();
    All read;
    decode(encoded(all), read);
    EXPECT_TRUE(read == all);
}

TEST(CodecStream, LeavesMembersAloneThatAreMissing) {
    const All all = makeAll();
    All read = all;
    decode(encoded(Leaf()).c_str(), read);
    decode(istr("\xFF\x01(\xFF\x01)"), read);
    decode(istr(), read);
    decode(istr("\x01\x01\x07"), read);
    EXPECT_TRUE(read == all);
    // Unknown tags pass; fields come in any order.
    Leaf leaf{5, "five"};
    decode(istr("\xFF\x01(\x63\x01\x01\x07\x02\x01\x01x\x01\x01\x01\x09\xFF\x01)"), leaf);
    EXPECT_TRUE((leaf == Leaf{9, "x"}));
}

TEST(CodecStream, RaisesForAComplexValueInPlaceOfAScalar) {
    Leaf leaf{5, "five"};
    try {
        decode(istr("\xFF\x01(\x01\xFF\x01(\xFF\x01)\xFF\x01)"), leaf);
        FAIL();
    } catch (const DecodeException& e) {
        EXPECT_STREQ(e.msg(), "qor::nbr::DecodeException: not simple value");
        EXPECT_STREQ(e.name(), "qor::nbr::DecodeException");
    }
    // A list in which something cannot be read stays as it was, and so does one that is none.
    std::vector<Leaf> leaves{{1, "one"}};
    EXPECT_THROW(
        decode(istr("\xFF\x01(\x01\xFF\x01(\x01\xFF\x01(\xFF\x01)\xFF\x01)\xFF\x01)"), leaves),
        DecodeException);
    decode(istr("\x01\x01\x07"), leaves);
    EXPECT_TRUE((leaves == std::vector<Leaf>{{1, "one"}}));
}

struct Nest {
    std::vector<Nest> inner;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Nest", "nest", "", "");
        field(s, {"inner", 1}, inner);
        s.leave();
    }
};

TEST(CodecStream, RefusesObjectsThatAreNestedTooDeeply) {
    const auto nested = [](unsigned depth) {
        Bytes message;
        for (unsigned i = 0; i < depth; ++i) {
            message.append(istr("\xFF\x01(\x01\xFF\x01(\x01"));
        }
        return message;
    };
    Nest nest;
    EXPECT_NO_THROW(decode(nested(kMaxDepth), nest));
    EXPECT_THROW(decode(nested(100000), nest), DecodeException);
}

TEST(CodecStream, AllocatesNothingInUse) {
    const All all = makeAll();
    CodecStream out;
    encode(out, all.leaves);
    out.bos().reset();
    EXPECT_EQ(out.str().size(), 0u);
    const support::AllocationCounter counter;
    encode(out, all.leaves);
    out.bos() << all.text;
    out.bos() << all.bytes;
    EXPECT_EQ(counter.allocations(), 0u);
}

TEST(CodecStream, LeavesTheStreamAsItWasWhenMemoryEnds) {
    const All all = makeAll();
    const Bytes whole = encoded(all);
    CodecStream out;
    out.bos() << Byte(1);
    const auto write = [&] { encode(out, all); };
    const unsigned long failures =
        support::failEachAllocation(write, [&] { ASSERT_EQ(out.str(), istr("\x01\x01\x01")); });
    EXPECT_GT(failures, 0u);
    EXPECT_EQ(Bytes(out.str().removeLeft(3)), whole);
}

TEST(OutputStream, NestsItsEntries) {
    OutputStream os;
    {
        const OutputStream::Entry outer(os);
        const OutputStream::Entry inner(os);
    }
    EXPECT_EQ(bytes2hexstr(os.str()), "FF0128FF0128FF0129FF0129");
    OutputStream other;
    other.swap(os);
    EXPECT_TRUE(os.str().empty());
    const OutputStream copy(other);
    EXPECT_EQ(copy.str(), other.str());
    other.reset();
    EXPECT_TRUE(other.str().empty());
    other << istr("ab");
    EXPECT_EQ(bytes2hexstr(other.str()), "01026162");
}

TEST(OutputStream, WritesItsOwnBytes) {
    OutputStream os;
    os << istr(std::string(200, 'x'));
    const Bytes before(os.str());
    os << os.str();
    EXPECT_EQ(istr(os.str()).leftstr(before.size()), before);
    EXPECT_TRUE(os.str().endWith(before));
}

TEST(InputStream, AnswersNullWhereThereIsNothing) {
    InputStream none(istr{});
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_EQ(none.getChild(1), nullptr);
    EXPECT_EQ(none.getSimpleValue(), nullptr);
    const InputStream simple(istr("\x01\x01\x07"));
    EXPECT_EQ(simple.getChild(1), nullptr);
    EXPECT_NE(simple.getSimpleValue(), nullptr);
    InputStream complex(istr("\xFF\x01(\x01\x01\x01\x07\xFF\x01)"));
    EXPECT_NE(complex.getChild(1), nullptr);
    EXPECT_EQ(complex.getChild(2), nullptr);
    EXPECT_THROW(complex.getSimpleValue(), DecodeException);
    none.swap(complex);
    EXPECT_NE(none.getChild(1), nullptr);
    EXPECT_EQ(complex.get(), nullptr);
    const InputStream sought(istr("\xFF\x01(\x01\x01\x01\x07\xFF\x01)"), 1);
    EXPECT_NE(sought.getSimpleValue(), nullptr);
    EXPECT_THROW(InputStream(istr("\x05\x00", 2)), DecodeException);
}

TEST(CodecInterface, BorrowsTheCallersStreams) {
    Named named;
    named.name = "n";
    OutputStream os;
    os << Byte(9);
    named.encode(os);
    EXPECT_EQ(bytes2hexstr(os.str()), "010109FF012801F1016EFF0129");
    const Bytes message(os.str().removeLeft(3));
    InputStream is(message);
    Named read;
    read.decode(is);
    EXPECT_EQ(read.name, "n");
    EXPECT_NE(is.get(), nullptr);
    InputStream empty(nullptr);
    read.decode(empty);
    EXPECT_EQ(read.name, "n");
}

TEST(Streams, ShowThemselves) {
    OutputStream os;
    os << istr("a");
    const InputStream is(os.str());
    dumper d(true);
    d << os << is << dump_buf(os.str());
    EXPECT_EQ(d.str(),
              "{str()=01 01 61}{get()=61}"
              "{get()=61}");
    std::ostringstream text;
    text << dump_buf(os.str());
    EXPECT_EQ(text.str(), "@qor::nbr::InputStream{\n    get() = 61\n}");
}

}  // namespace
}  // namespace qor::nbr
