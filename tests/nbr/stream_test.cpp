#include "qor/nbr/binding.h"

#include "support/bound.h"
#include "support/formats.h"
#include "support/test.h"

namespace qor::nbr {
namespace {

template <class T>
Bytes encoded(const T& object) {
    CodecStream out;
    encode(out, object);
    return Bytes(out.str());
}

TEST(CodecStream, TakesTheLastOfEqualKeysAndFieldsInAnyOrder) {
    std::map<int, String> map;
    decode(encoded(std::multimap<int, String>{{1, "a"}, {1, "b"}}), map);
    EXPECT_EQ(map, (std::map<int, String>{{1, "b"}}));
    // Unknown tags are skipped.
    Leaf leaf{5, "five"};
    decode(istr("\xFF\x01(\x63\x01\x01\x07\x02\x01\x01x\x01\x01\x01\x09\xFF\x01)"), leaf);
    EXPECT_TRUE((leaf == Leaf{9, "x"}));
}

TEST(CodecStream, RaisesForAComplexValueInPlaceOfAScalar) {
    Leaf leaf{5, "five"};
    const istr text("\xFF\x01(\x01\xFF\x01(\xFF\x01)\xFF\x01)");
    EXPECT_EQ(raised<DecodeException>([&] { decode(text, leaf); }),
              "qor::nbr::InputStream::getSimpleValue: qor::nbr::DecodeException: not simple value");
    // A list is unchanged if an element cannot be read, or if the value is no list.
    std::vector<Leaf> leaves{{1, "one"}};
    EXPECT_THROW(
        decode(istr("\xFF\x01(\x01\xFF\x01(\x01\xFF\x01(\xFF\x01)\xFF\x01)\xFF\x01)"), leaves),
        DecodeException);
    decode(istr("\x01\x01\x07"), leaves);
    EXPECT_TRUE((leaves == std::vector<Leaf>{{1, "one"}}));
}

// A handwritten codec.
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

TEST(CodecInterface, LimitsTheDepthOfHandwrittenCodecs) {
    const std::string_view level("\xFF\x01(\x01");
    Chain chain;
    EXPECT_THROW(decode(Bytes(repeated(level, 100000)), chain), DecodeException);
    EXPECT_NO_THROW(decode(Bytes(repeated(level, kMaxDepth)), chain))
        << "the depth is counted back";
}

TEST(CodecStream, AllocatesNothingWhenReused) {
    const std::vector<Leaf> leaves(20, Leaf{1, "text"});
    CodecStream out;
    encode(out, leaves);
    out.bos().reset();
    const AllocationCounter counter;
    encode(out, leaves);
    EXPECT_EQ(counter.allocations(), 0u);
}

TEST(CodecStream, LeavesTheStreamUnchangedWhenMemoryEnds) {
    auto all = makeAll();
    CodecStream out;
    for (const bool asField : {false, true}) {
        out.bos() = OutputStream();
        out.bos() << Byte(1);
        const auto write = [&] { asField ? field(out, {"all", 1}, all) : encode(out, all); };
        const auto unchanged = [&] { ASSERT_EQ(out.str(), istr("\x01\x01\x01")); };
        EXPECT_GT(failEachAllocation(write, unchanged), 0u);
        EXPECT_TRUE(out.str().endWith(encoded(all)));
    }
}

struct RaisingCodec : CodecInterface {
    void codec(CodecStream& s) override {
        runCodec(s, [&] {
            field(s, {"long", 1}, text);
            throw std::runtime_error("meant");
        });
    }
    String text{std::string(5000, 'x')};
};

struct RaisingTemplate {
    template <class S>
    void codec(S& s) {
        field(s, {"number", 1}, number);
        throw std::runtime_error("meant");
    }
    int number = 1;
};

// Each field that raises is missing, whatever it has written.
struct Careful {
    template <class S>
    void codec(S& s) {
        attempt(s, "one", 2, one);
        attempt(s, "two", 3, two);
        attempt(s, "list", 4, list);
        field(s, {"id", 1}, id);
    }
    template <class S, class T>
    void attempt(S& s, const char* name, unsigned char tag, T& member) {
        try {
            field(s, {name, tag}, member);
        } catch (const std::runtime_error&) {
        }
    }
    RaisingCodec one;
    RaisingTemplate two;
    std::vector<RaisingTemplate> list{1};
    int id = 7;
};

TEST(CodecStream, ContinuesAfterAFieldThatRaises) {
    CodecStream out;
    encode(out, Careful());
    EXPECT_EQ(bytes2hexstr(out.str()), "FF012801010107FF0129");
}

TEST(OutputStream, NestsItsEntriesAndIsReusable) {
    OutputStream os;
    {
        const OutputStream::Entry outer(os);
        const OutputStream::Entry inner(os);
    }
    EXPECT_EQ(bytes2hexstr(os.str()), "FF0128FF0128FF0129FF0129");
    OutputStream copy(os);
    EXPECT_EQ(copy.str(), os.str());
    {
        // The room that is reserved for its end belongs to the original.
        const OutputStream::Entry entry(os);
        os << istr(std::string(1000, 'x'));
        copy = os;
        encode(copy, Leaf{1, "one"});
    }
    EXPECT_TRUE(copy.str().endWith(encoded(Leaf{1, "one"})));
    EXPECT_TRUE(os.str().endWith("x\xFF\x01)"));
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

TEST(InputStream, ReturnsNullForMissingItems) {
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
    EXPECT_EQ(dumped(os) + dumped(is) + dumped(dump_buf(os.str())),
              "{str()=01 01 61}{get()=61}{get()=61}");
    EXPECT_EQ(streamed(dump_buf(os.str())), "@qor::nbr::InputStream{\n    get() = 61\n}");
}

}  // namespace
}  // namespace qor::nbr
