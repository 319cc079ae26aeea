#include "qor/interop/format.h"

#include "qor/interop/fmt.h"
#include "support/test.h"

namespace qor {
namespace {

template <class T>
void expectAsStreamed(const T& value) {
    const std::string text = streamed(value);
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(fmt::format("{}", value), text);
    EXPECT_EQ(fmt::format("{:*>40}", value), std::string(40 - text.size(), '*') + text);
    EXPECT_EQ(fmt::format("{:.3s}|", value), text.substr(0, 3) + "|");
#ifdef __cpp_lib_format
    EXPECT_EQ(std::format("{:*>40}", value), fmt::format("{:*>40}", value));
    EXPECT_EQ(std::format("{:.3s}|", value), fmt::format("{:.3s}|", value));
#endif
}

TEST(Format, ShowsTheSameAsAStream) {
    const char zeros[] = {'a', 'b', '\0', 'c'};
    expectAsStreamed(istr("plain"));
    expectAsStreamed(istr(zeros, sizeof zeros));
    expectAsStreamed(ansi("plain", 5));
    expectAsStreamed(utf8("plain", 5));
    expectAsStreamed(String("owned"));
    expectAsStreamed(iwstr(L"wide"));
    expectAsStreamed(Bytes(istr("\xff\0\x80", 3)));
    expectAsStreamed(Time::seconds(-90061) - Time::microSeconds(2));
    expectAsStreamed(TcpAddr(4711, "192.0.2.1"));
    expectAsStreamed(Version(2, 5));
}

TEST(Format, ShowsNullTextAsNone) {
    EXPECT_EQ(fmt::format("[{}{}{:2}]", istr(), String(nullptr), Bytes()), "[  ]");
}

TEST(Format, RefusesFormatsForNumbers) {
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:d}"), Version(2, 5))),
                 fmt::format_error);
}

}  // namespace
}  // namespace qor
