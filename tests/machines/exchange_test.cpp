// What one machine writes, every other one reads, and writes with the same bytes. The files in
// tests/data were written on amd64. QOR_WRITE_DATA=on writes them again, if they have to change:
//   QOR_WRITE_DATA=on ctest --preset debug -R machines.

#include "support/bound.h"
#include "support/formats.h"
#include "support/test.h"
#include "tcp/network.h"

namespace qor {
namespace {

// The bytes of the file, which are `written` if the files are written again.
std::string dataOf(const std::string& name, const std::string& written) {
    const std::string path = std::string(QOR_SOURCE_DIR "/tests/data/exchange.") + name;
    const char* const anew = std::getenv("QOR_WRITE_DATA");
    if (anew != nullptr && std::string_view(anew) == "on") {
        std::ofstream(path, std::ios::binary) << written;
    }
    return contentOf(path);
}

struct Person {
    String name;
    std::vector<long> numbers;

    bool operator==(const Person&) const = default;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Person", "person", "", "");
        field(s, {"name", 1}, name);
        field(s, {"numbers", 2}, numbers);
        s.leave();
    }
};

template <class... Members>
struct Record : Tuple<Members...> {
    using Tuple<Members...>::Tuple;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Record", "record", "", "");
        Tuple<Members...>::codec(s);
        s.leave();
    }
};
template <class... Members>
Record(Members...) -> Record<Members...>;

template <std::size_t... I>
std::string differences(const auto& left, const auto& right, std::index_sequence<I...>) {
    std::string names;
    ((std::get<I>(left) == std::get<I>(right) ? names : names += " m" + std::to_string(I)), ...);
    return names;
}
// The members that differ.
template <class... Members>
std::string differences(const Record<Members...>& left, const Record<Members...>& right) {
    return differences(left, right, std::index_sequence_for<Members...>());
}

// Numbers with different bytes in every place, and each kind of text and container. The text
// formats show six digits of a double.
auto makeRecord() {
    return Record(true, 'A', static_cast<short>(0x0102), -5L, 0x89ABCDEFUL, 0x01020304,
                  0x0102030405060708LL, 0xFEDCBA9876543210ULL, -0.15625F, 3.14159, L'\u00e9',
                  Char('x'), Long(-2000000000), String("na\u00efve \u20ac"),
                  std::wstring(L"\u5b89\U0001F600"), Bytes(istr("\x80\0\xff", 3)),
                  Time::microSeconds(1460000000123000), Optional<Long>(-7), Optional<Long>(),
                  std::vector<short>{-1, 0x7FFE, 128, 127}, std::list<String>{"", "\n<&\"'>"},
                  std::map<String, unsigned long>{{"one", 1}, {"many", 0xFFFFFFFE}},
                  std::vector<Person>{{"Ann", {1, -300, 70000}}, {"Bob", {}}});
}
using Whole = decltype(makeRecord());

template <class Format>
class Exchange : public testing::Test {};
TYPED_TEST_SUITE(Exchange, Formats, FormatName);

TYPED_TEST(Exchange, HasTheSameBytes) {
    const std::string written = TypeParam::write(makeRecord(), true);
    const std::string data = dataOf(TypeParam::kName, written);
    EXPECT_EQ(written, data);
    Whole read;
    TypeParam::read(data, read);
    EXPECT_EQ(differences(read, makeRecord()), "");
}

// Calls apply(value) for values of each type that the stream has.
template <class Apply>
void forEachBinaryValue(Apply apply) {
    const auto all = [&](const auto&... values) { (apply(values), ...); };
    all(true, 'A', static_cast<short>(-2), 0x0102, 5L, 0x89ABCDEFUL, 0x0102030405060708LL,
        0xFEDCBA9876543210ULL, -0.15625F, 3.141592653589793, Ulong(0x80000000U),
        Time::microSeconds(-1460000000123456), Bytes(istr("\x80\0\xff", 3)),
        std::string("na\u00efve"), std::wstring(L"\u5b89\U0001F600"), std::string(300, 'x'));
}

TEST(ExchangeByStream, BinaryStreamsHaveTheSameBytes) {
    BinaryOutStream out;
    forEachBinaryValue([&](const auto& value) { out.write(value); });
    const std::string written(out.str());
    const std::string data = dataOf("binary", written);
    EXPECT_EQ(written, data);
    BinaryInStream in{istr(data)};
    forEachBinaryValue([&](const auto& value) {
        std::remove_cvref_t<decltype(value)> read{};
        in.read(read);
        EXPECT_TRUE(read == value);
    });
}

class ExchangeByTcp : public network::NetworkTest {};

TEST_F(ExchangeByTcp, FramesHaveTheSameBytes) {
    const network::Socket listener;
    listener.listen(1);
    TcpClient client;
    ASSERT_TRUE(client.open(listener.addr(), events, 5, network::kBuffer));
    network::Socket peer = listener.accept();
    const std::string message = NbrFormat::write(makeRecord());
    EXPECT_TRUE(client.send(message, 5) && client.send("", 5) && client.send("end", 5));
    const std::string written = peer.read(3 * 4 + message.size() + 3);
    const std::string data = dataOf("tcp", written);
    EXPECT_EQ(written, data);
    peer.write(data);
    EXPECT_TRUE(events->received(3));
    EXPECT_EQ(events->frames(), message + "||end|");
    client.close();
}

}  // namespace
}  // namespace qor
