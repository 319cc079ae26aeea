#include "qor/nbr/binding.h"

#include "support/leaf.h"
#include "support/test.h"

namespace qor::nbr {
namespace {

// A container with a codec is what its codec says.
struct Group : std::vector<Long> {
    Leaf head;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"head", 1}, head);
    }
    bool operator==(const Group& other) const { return head == other.head; }
};

// For one kind of stream only.
struct Written {
    String text;

    void codec(CodecStream& s) { field(s, {"text", 1}, text); }
    bool operator==(const Written&) const = default;
};

// Carried through its interface.
struct Named : CodecInterface {
    String name;

    explicit Named(istr text = istr()) : name(text) {}
    void codec(CodecStream& s) override {
        runCodec(s, [&] { field(s, {"name", 1}, name); });
    }
    bool operator==(const Named& other) const { return name == other.name; }
};

struct Movable {
    std::unique_ptr<String> text = std::make_unique<String>();

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"text", 1}, *text);
    }
    bool operator==(const Movable& other) const { return *text == *other.text; }
};

template <class... Members>
struct Tuple : std::tuple<Members...> {
    using std::tuple<Members...>::tuple;

    template <class Stream>
    void codec(Stream& s) {
        unsigned char tag = 0;
        std::apply(
            [&](auto&... member) {
                (field(s, {"member", ++tag}, member), ...);
            },
            static_cast<std::tuple<Members...>&>(*this));
    }
};
template <class... Members>
Tuple(Members...) -> Tuple<Members...>;

auto makeAll() {
    Group group;
    group.head = {7, "head"};
    std::vector<Movable> movable(2);
    *movable[1].text = "moved";
    return Tuple(true, char(-100), -2L, 4294967295UL, -2000000000, 1e300, -0.1F, Wchar(L'\u5b89'),
                 String("Ångström"), std::string(300, 'x'), std::wstring(L"\u5b89\U0001F600"),
                 Bytes(istr("\0\xFF", 2)), Time::microSeconds(-1), Optional<Long>(Long(0)),
                 Optional<Leaf>(), Leaf{1, "one"}, group, Written{"stream"}, Named("interface"),
                 std::vector<Written>{{"a"}, {"b"}}, std::vector<bool>{true, false},
                 std::deque<Named>{Named("n")}, std::list<std::vector<String>>{{"a", "b"}, {}},
                 std::set<Leaf>{{9, "nine"}, {-9, "minus"}}, std::multiset<int>{3, 3},
                 std::map<String, Optional<Leaf>>{{"set", Leaf{4, "four"}}, {"unset", {}}},
                 std::multimap<std::wstring, Bit>{{L"k", true}, {L"k", false}},
                 std::unordered_map<int, std::vector<Leaf>>{{-1, {{4, "four"}}}, {5, {}}},
                 std::move(movable));
}
using All = decltype(makeAll());

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
    // Of two entries with one key the last one counts.
    std::map<int, String> map;
    decode(encoded(std::multimap<int, String>{{1, "a"}, {1, "b"}}), map);
    EXPECT_EQ(map, (std::map<int, String>{{1, "b"}}));
}

TEST(CodecStream, LeavesMembersAloneThatAreMissing) {
    All read = makeAll();
    for (const char* message : {"\xFF\x01(\xFF\x01)", "", "\x01\x01\x07"}) {
        decode(istr(message), read);
    }
    EXPECT_TRUE(read == makeAll());
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
        field(s, {"inner", 1}, inner);
    }
};

// Reads its parts by hand.
struct Chain : CodecInterface {
    std::unique_ptr<Chain> next;

    void codec(CodecStream& s) override {
        ValueBase* const part = s.bis().getChild(1);
        if (part == nullptr) return;
        next = std::make_unique<Chain>();
        InputStream is(part);
        next->decode(is);
    }
};

TEST(CodecStream, RefusesObjectsThatAreNestedTooDeeply) {
    const auto nested = [](istr level, unsigned depth) {
        Bytes message;
        for (unsigned i = 0; i < depth; ++i)
            message.append(level);
        return message;
    };
    const istr list("\xFF\x01(\x01\xFF\x01(\x01");
    Nest nest;
    EXPECT_NO_THROW(decode(nested(list, kMaxDepth), nest));
    EXPECT_THROW(decode(nested(list, 100000), nest), DecodeException);
    const istr object("\xFF\x01(\x01");
    Chain chain;
    EXPECT_THROW(decode(nested(object, 100000), chain), DecodeException);
    EXPECT_NO_THROW(decode(nested(object, kMaxDepth), chain)) << "a failure leaves no depth behind";
}

TEST(CodecStream, AllocatesNothingInUse) {
    const std::vector<Leaf> leaves(20, Leaf{1, "text"});
    CodecStream out;
    encode(out, leaves);
    out.bos().reset();
    const support::AllocationCounter counter;
    encode(out, leaves);
    EXPECT_EQ(counter.allocations(), 0u);
}

TEST(CodecStream, LeavesTheStreamAsItWasWhenMemoryEnds) {
    All all = makeAll();
    CodecStream out;
    const std::function<void()> writes[] = {[&] { encode(out, all); },
                                            [&] {
                                                field(out, {"all", 1}, all);
                                            }};
    for (const auto& write : writes) {
        out.bos() = OutputStream();
        out.bos() << Byte(1);
        const auto unchanged = [&] { ASSERT_EQ(out.str(), istr("\x01\x01\x01")); };
        EXPECT_GT(support::failEachAllocation(write, unchanged), 0u);
        EXPECT_TRUE(out.str().endWith(encoded(all)));
    }
}

TEST(OutputStream, NestsItsEntriesAndIsUsedAgain) {
    OutputStream os;
    {
        const OutputStream::Entry outer(os);
        const OutputStream::Entry inner(os);
    }
    EXPECT_EQ(bytes2hexstr(os.str()), "FF0128FF0128FF0129FF0129");
    const OutputStream copy(os);
    EXPECT_EQ(copy.str(), os.str());
    os.reset();
    EXPECT_TRUE(os.str().empty());
    os << istr(static_cast<const char*>(nullptr), 5);
    EXPECT_EQ(bytes2hexstr(os.str()), "0100") << "null is no bytes, whatever its size";
}

TEST(OutputStream, WritesItsOwnBytes) {
    OutputStream os;
    os << istr(std::string(200, 'x'));
    const Bytes before(os.str());
    os << os.str();
    EXPECT_TRUE(os.str().beginWith(before));
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
    EXPECT_EQ(complex.getChild(2), nullptr);
    EXPECT_THROW(complex.getSimpleValue(), DecodeException);
    EXPECT_NE(InputStream(complex.getChild(1)).getSimpleValue(), nullptr);
    none.swap(complex);
    EXPECT_NE(none.getChild(1), nullptr) << "a stream on a part has not deleted it";
    EXPECT_NE(InputStream(istr("\xFF\x01(\x01\x01\x01\x07"), 1).getSimpleValue(), nullptr);
}

TEST(CodecInterface, BorrowsTheCallersStreams) {
    OutputStream os;
    os << Byte(9);
    Named("n").encode(os);
    EXPECT_EQ(bytes2hexstr(os.str()), "010109FF012801F1016EFF0129");
    InputStream is(os.str().removeLeft(3));
    Named read;
    read.decode(is);
    EXPECT_EQ(read.name, "n");
    EXPECT_NE(is.get(), nullptr);
}

TEST(Streams, ShowThemselves) {
    OutputStream os;
    os << istr("a");
    const InputStream is(os.str());
    dumper d(true);
    d << os << is << dump_buf(os.str());
    EXPECT_EQ(d.str(), "{str()=01 01 61}{get()=61}{get()=61}");
    std::ostringstream text;
    text << dump_buf(os.str());
    EXPECT_EQ(text.str(), "@qor::nbr::InputStream{\n    get() = 61\n}");
}

}  // namespace
}  // namespace qor::nbr
