#include "qor/interop/format.h"

#include "qor/interop/fmt.h"
#include "support/test.h"

namespace qor {
namespace {

template <class T>
void expectAsStreamed(const T& value) {
    std::ostringstream os;
    os << value;
    EXPECT_FALSE(os.str().empty());
    EXPECT_EQ(fmt::format("{}", value), os.str());
    EXPECT_EQ(fmt::format("{:*>40}", value), std::string(40 - os.str().size(), '*') + os.str());
    EXPECT_EQ(fmt::format("{:.3s}|", value), os.str().substr(0, 3) + "|");
#ifdef __cpp_lib_format
    EXPECT_EQ(std::format("{:*>40}", value), fmt::format("{:*>40}", value));
    EXPECT_EQ(std::format("{:.3s}|", value), fmt::format("{:.3s}|", value));
#endif
}

TEST(Format, ShowsWhatAStreamShows) {
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

TEST(Format, RefusesWhatIsForNumbers) {
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:d}"), Version(2, 5))),
                 fmt::format_error);
}

}  // namespace
}  // namespace qor
