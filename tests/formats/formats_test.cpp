#include <stack>

#include "support/bound.h"
#include "support/formats.h"
#include "support/leak_table.h"
#include "support/spare_blocks.h"
#include "support/test.h"

// What every format that carries user types has to do in the same way.

namespace qor {
namespace {

template <class Format>
class EveryFormat : public testing::Test {};
TYPED_TEST_SUITE(EveryFormat, Formats, FormatName);

using All = decltype(makeAll());

// The codec counts, not what the class derives from or looks like.
struct Year : Long {
    using Long::Long;
};
struct Title : String {
    Year year;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"text", 1}, static_cast<String&>(*this));
        field(s, {"year", 2}, year);
    }
    bool operator==(const Title&) const = default;
    bool operator<(const Title& other) const { return year < other.year; }
};
struct Maybe : Optional<int> {
    using Optional::Optional;
    using Optional::operator=;
    int more = 0;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"value", 1}, static_cast<Optional<int>&>(*this));
        field(s, {"more", 2}, more);
    }
    bool operator==(const Maybe& other) const {
        return isSet() == other.isSet() && value() == other.value() && more == other.more;
    }
};
struct Switch {
    Bit on;

    bool isSet() const { return on; }
    const Bit& value() const { return on; }
    void reset() { on = false; }
    template <class Stream>
    void codec(Stream& s) {
        field(s, {"on", 1}, on);
    }
    bool operator==(const Switch& other) const { return on == other.on; }
};

// The binding calls no function that a program has beside its types.
struct Word : String {};
using Titles = std::vector<Title>;
using Words = std::map<Word, Title>;
void encode(nbr::OutputStream&, const Title&) = delete;
void decode(const nbr::InputStream&, Title&) = delete;
void decode(const json::JsonInputStream&, Title&) = delete;
void toWire(const Year&) = delete;
void emptyLike(const Titles&) = delete;
void reserveElements(Titles&, std::size_t) = delete;
void appendElement(Titles&, auto) = delete;
void putEntry(Words&, Word, Title) = delete;
void readPresent(Optional<Title>&, auto) = delete;
void forCodec(const Title&) = delete;
void store(json::JsonUnit&, const Title&) = delete;
void load(const json::JsonUnit&, Title&) = delete;
void fitsObject(const Words&) = delete;
void appendLoaded(const json::JsonUnit&, Titles&) = delete;
void field(pml::stream&, const pml::Field__<Title>&) = delete;
void store(pml::ntv::Unit&, const Title&) = delete;
void load(const pml::ntv::Unit&, const pml::stream&, Title&) = delete;
void loadDefault(const pml::ntv::Unit&, Title&) = delete;
void nameOf(const Word&) = delete;
void readName(const pml::ntv::Unit&, Word&) = delete;
void storeElements(pml::ntv::Unit&, const Titles&) = delete;
void loadElement(const pml::ntv::Unit&, const pml::stream&, Titles&) = delete;
void loadElements(const pml::ntv::Unit&, const pml::stream&, Titles&) = delete;
void store(XMLNode&, const Title&) = delete;
void load(const XMLNode&, unsigned, Title&) = delete;
void addItem(XMLNode&, istr, const Title&) = delete;
void itemsOf(const std::stack<Title>&) = delete;
void storeItems(XMLNode&, const Titles&) = delete;
void loadItem(const XMLNode&, unsigned, Titles&) = delete;
void loadItems(const XMLNode&, unsigned, Titles&) = delete;

// A container that has a codec is carried by its codec.
struct Group : std::vector<Long> {
    Leaf head;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"head", 1}, head);
    }
    bool operator==(const Group& other) const { return head == other.head; }
};

// Sets with an order or a hash function of their own, and without the constructors of std::set.
struct Order {
    bool down = false;
    bool operator()(int a, int b) const { return down ? b < a : a < b; }
};
struct Falling : std::set<int, Order> {
    explicit Falling(bool down = false) : set(Order{down}) {}
};
struct Hash {
    std::size_t seed = 0;
    std::size_t operator()(int key) const { return static_cast<std::size_t>(key) + seed; }
};
using Hashed = std::unordered_set<int, Hash>;
struct Seeded : Hashed {
    explicit Seeded(std::size_t seed = 0) : Hashed(0, Hash{seed}) {}
};

struct Started : std::set<int> {
    explicit Started(int first) { insert(first); }
};

// Looks like an optional value, but cannot be set to one.
struct Samples : std::vector<int> {
    bool isSet() const { return !empty(); }
    int value() const { return front(); }
    void reset() { clear(); }
};

using Empty = Tuple<Optional<int>>;

struct Movable {
    std::unique_ptr<String> text = std::make_unique<String>();

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"text", 1}, *text);
    }
    bool operator==(const Movable& other) const { return *text == *other.text; }
};
struct Rows : std::map<int, Movable> {};

// For one kind of stream only.
struct Written {
    String text;

    void codec(nbr::CodecStream& s) { field(s, {"text", 1}, text); }
    bool operator==(const Written&) const = default;
};

// Members that not every format carries.
auto makeMore(NbrFormat) {
    Group group;
    group.head = {7, "head"};
    std::vector<Movable> movable(2);
    *movable[1].text = "moved";
    return Tuple(char(-100), std::string(300, 'x'), Time::microSeconds(-1), group,
                 Written{"stream"}, std::vector<Written>{{"a"}, {"b"}},
                 std::map<String, Optional<Leaf>>{{"set", Leaf{4, "four"}}, {"unset", {}}},
                 std::multimap<std::wstring, Bit>{{L"k", true}, {L"k", false}}, std::move(movable),
                 std::map<Title, int>{{Title{{"k"}, 1}, 1}, {Title{{"k"}, 2}, 2}});
}
auto makeMore(PmlFormat) {
    return Tuple(String());
}
auto makeMore(JsonFormat) {
    using Numbers = std::vector<Optional<int>>;
    return Tuple(
        Char('\xFF'), std::string("\0", 1), Empty(), std::vector<Empty>{Empty(), Empty()},
        Numbers{7, Optional<int>(), 8}, std::map<String, Numbers>{{"k", {Optional<int>()}}},
        std::map<String, Optional<Empty>>{{"a", Optional<Empty>()}, {"b", Empty()}},
        std::vector<Optional<Optional<int>>>{Optional<int>(), Optional<Optional<int>>()},
        std::map<String, int>{{"a\"b\\", 1}}, std::multimap<String, int>{{"a", 1}, {"a", 2}},
        std::map<std::wstring, int>{{L"\u5b89", 1}},
        std::map<Title, int>{{Title{{"k"}, 1}, 1}, {Title{{"k"}, 2}, 2}});
}
auto makeMore(XmlFormat) {
    return Tuple(std::stack<Title>({Title{{"k"}, 1}, Title{{"k"}, 2}}));
}

template <class Format, class Make>
void expectCarried(Make make) {
    const auto all = make();
    for (const bool pretty : {false, true}) {
        decltype(make()) read, present = make();  // what is present is replaced
        Format::read(Format::write(all, pretty), read);
        EXPECT_TRUE(read == all);
        Format::read(Format::write(all, pretty), present);
        EXPECT_TRUE(present == all);
    }
}

template <class Format, class Set>
Set readThree(Set set) {
    Format::read(Format::write(std::vector<int>{1, 3, 2}), set);
    EXPECT_EQ(set.size(), 3u);
    return set;
}

TYPED_TEST(EveryFormat, CarriesEveryType) {
    expectCarried<TypeParam>([] { return makeAll(); });
    expectCarried<TypeParam>([] { return makeMore(TypeParam()); });
    EXPECT_EQ(*readThree<TypeParam>(Falling(true)).begin(), 3);
    EXPECT_EQ(readThree<TypeParam>(Hashed(0, Hash{7})).hash_function().seed, 7u);
    EXPECT_EQ(readThree<TypeParam>(Seeded(7)).hash_function().seed, 7u);
    EXPECT_EQ(*readThree<TypeParam>(Started(0)).begin(), 1);
    EXPECT_EQ(readThree<TypeParam>(Samples()), Samples({{1, 3, 2}}));
    expectCarried<TypeParam>([] { return Title{{"Dune"}, 1965}; });
    expectCarried<TypeParam>([] {
        const Title title{{"Dune"}, 1965};
        Maybe maybe(7);
        maybe.more = 8;
        Rows rows;
        *rows[1].text = "one";
        return Tuple(title, Titles{title}, Words{{Word{{"k"}}, title}}, Optional<Title>(title),
                     Switch{true}, maybe, std::move(rows));
    });
}

// Texts without the members, or with something else in their places.
const std::map<std::string_view, std::vector<istr>> kTextsOfNothing = {
    {"nbr", {"\xFF\x01(\xFF\x01)", "", "\x01\x01\x07"}},
    {"pml", {"(m0(x)m2(abc)m3(-)m5()m6(e)m8()n(1))", ""}},
    {"json",
     {"{m0:1,m2:true,m3:\"1\",m8:5,m10:7,m11:7,m12:\"5\",m13:null,m14:null,m17:\"\",m18:{},m23:7}",
      "[]"}},
    {"xml", {"<root><m2/><m3> </m3></root>", "<root><?"}},
};

TYPED_TEST(EveryFormat, LeavesMissingMembersUnchanged) {
    All read = makeAll();
    for (const istr text : kTextsOfNothing.at(TypeParam::kName)) {
        TypeParam::read(text, read);
        EXPECT_TRUE(read == makeAll()) << std::string(text);
    }
}

using Optionals = Tuple<Optional<long>, Optional<bool>, Optional<String>, Optional<Time>>;

const std::map<std::string_view, istr> kTextOfOtherKinds = {
    {"nbr", ""},  // any value is a number
    {"pml", "(m0(abc)m1()m3())"},
    {"json", "{m0:\"1\",m1:1,m2:true,m3:[]}"},
    {"xml", "<root><m0>abc</m0><m1/></root>"},
};

TYPED_TEST(EveryFormat, KeepsOptionalValuesSetAndUnset) {
    Optionals read;
    TypeParam::read(kTextOfOtherKinds.at(TypeParam::kName), read);
    EXPECT_TRUE(read == Optionals());
    const Optionals set(0L, false, String(), Time());
    for (const Optionals& written : {set, Optionals()}) {
        Optionals again;
        TypeParam::read(TypeParam::write(written), again);
        EXPECT_TRUE(again == written);
    }
}

// Like Node, through the interface.
struct Chain : ThroughInterface<Chain> {
    std::vector<Chain> children;

    template <class Stream>
    void carry(Stream& s) {
        field(s, {"children", 1}, children);
    }
};

template <class Object>
Object nested(unsigned depth) {
    Object object;
    for (unsigned i = 1; i < depth; ++i) {
        Object outer;
        outer.children.push_back(std::move(object));
        object = std::move(outer);
    }
    return object;
}
template <class Object>
unsigned depthOf(const Object& object) {
    unsigned depth = 1;
    for (const Object* at = &object; !at->children.empty(); at = &at->children[0])
        ++depth;
    return depth;
}

template <class Format, class Object>
void expectDepthLimit() {
    const String tooDeep = Format::write(nested<Object>(Format::kMaxDepth + 2));
    Object cut, whole;
    if (std::is_same_v<Format, XmlFormat>) {
        Format::read(tooDeep, cut);
        EXPECT_EQ(depthOf(cut), Format::kMaxDepth + 1) << "the last one is there, and not read";
    } else {
        const String justTooDeep = Format::write(nested<Object>(Format::kMaxDepth + 1));
        for (const String& text : {justTooDeep, tooDeep})
            EXPECT_EQ(raisedIn<Exception>([&] { Format::read(text, cut); }), Format::kTooDeepIn);
    }
    // After a failure the depth is counted back.
    Format::read(Format::write(nested<Object>(Format::kMaxDepth)), whole);
    EXPECT_EQ(depthOf(whole), Format::kMaxDepth);
}

TYPED_TEST(EveryFormat, LimitsTheDepthOfObjects) {
    expectDepthLimit<TypeParam, Node>();
    expectDepthLimit<TypeParam, Chain>();
}

template <class Tree>
std::unique_ptr<Tree> copyOf(const Tree& tree) {
    if constexpr (std::is_same_v<Tree, nbr::ValueBase>) {
        return std::make_unique<nbr::ComplexValue>(static_cast<const nbr::ComplexValue&>(tree));
    } else {
        return std::make_unique<Tree>(tree);
    }
}

TYPED_TEST(EveryFormat, HandlesTreesOfAnyDepthWithoutRecursion) {
    const Deep deep = TypeParam::deep(300000);
    auto tree = TypeParam::parse(deep.text);
    const auto copy = copyOf(*tree);
    tree.reset();
    EXPECT_TRUE(TypeParam::shown(*copy) == deep.shown);
    try {
        TypeParam::parse(deep.text.substr(0, deep.text.size() / 2));
    } catch (const Exception&) {
    }
}

// Memory ends at each allocation: nothing leaks, and with memory it works.
TYPED_TEST(EveryFormat, LeaksNothingWhenMemoryEnds) {
    const All all = makeAll();
    // An nbr tree of this size does not fit into the block that is kept, with 32 bits either.
    constexpr std::size_t kMany = std::is_same_v<TypeParam, NbrFormat> ? 2000 : 300;
    const std::vector<Leaf> many(kMany, Leaf{7, "a text that needs memory of its own"});
    const String text = TypeParam::write(all), manyText = TypeParam::write(many);
    const auto run = [&] {
        String written;
        EXPECT_GT(failEachAllocation([&] { written = TypeParam::write(all); }), 2u);
        EXPECT_EQ(written, text);
        All read;
        EXPECT_GT(failEachAllocation([&] { TypeParam::read(text, read); }), 10u);
        EXPECT_TRUE(read == all);
        freeSpareBlocks();
        EXPECT_GT(failEachAllocation([&] { TypeParam::parse(manyText); }), 1u);
        freeSpareBlocks();
    };
    run();  // creates what the library creates once and keeps
    const AllocationCounter counter;
    run();
    EXPECT_EQ(counter.outstanding(), 0);
}

TYPED_TEST(EveryFormat, EntersTheLeakTableOnce) {
    const std::vector<Leaf> leaves(20, Leaf{7, "a text that needs memory of its own"});
    const String text = TypeParam::write(leaves);
    XMLNode::destroy_null();
    XMLAttr::destroy_null();
    const LeakTable table;
    {
        const auto tree = TypeParam::parse(text);
        const auto copy = copyOf(*tree);
        EXPECT_GT(table.size(), 0u);
        EXPECT_EQ(TypeParam::shown(*copy), TypeParam::shown(*tree));
        std::vector<Leaf> read;
        TypeParam::read(text, read);
        EXPECT_TRUE(read == leaves);
    }
    XMLNode::destroy_null();
    XMLAttr::destroy_null();
    EXPECT_EQ(table.size(), 0u);
    EXPECT_EQ(table.shown(), "");
}

}  // namespace
}  // namespace qor
