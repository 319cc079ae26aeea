#include "qor/tcp/tcp_impl_base.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(TcpAddr, IsOrderedShownAndCarried) {
    const TcpAddr ordered[] = {{}, {1, ""}, {80, "a"}, {81, "a"}, {80, "b"}};
    EXPECT_TRUE(std::is_sorted(std::begin(ordered), std::end(ordered), std::less_equal<TcpAddr>()));
    const TcpAddr address(65535, "127.0.0.1");
    EXPECT_EQ(streamed(address), "127.0.0.1:65535");

    pml::stream out;
    pml::encode(out, address);
    const std::string text = out.toPml(true);
    EXPECT_LT(text.find("ip(127.0.0.1)"), text.find("port:Ushort(65535)")) << text;
    TcpAddr read;
    pml::decode(pml::stream(text, false), read);
    EXPECT_EQ(read, address);
}

}  // namespace
}  // namespace qor
