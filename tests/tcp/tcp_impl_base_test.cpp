#include "qor/tcp/tcp_impl_base.h"

#include <gtest/gtest.h>

#include <sstream>

#include "qor/pml/pml_T.h"

namespace qor {
namespace {

TEST(TcpAddr, IsOrderedShownAndCarried) {
    const TcpAddr ordered[] = {{}, {1, ""}, {80, "a"}, {81, "a"}, {80, "b"}};
    for (std::size_t i = 0; i < std::size(ordered); ++i) {
        for (std::size_t j = 0; j < std::size(ordered); ++j) {
            EXPECT_EQ(ordered[i] < ordered[j], i < j) << i << j;
            EXPECT_EQ(ordered[i] == ordered[j], i == j) << i << j;
        }
    }
    std::ostringstream shown;
    shown << TcpAddr(65535, "127.0.0.1");
    EXPECT_EQ(shown.str(), "127.0.0.1:65535");

    pml::stream out;
    pml::encode(out, TcpAddr(65535, "127.0.0.1"));
    const std::string text = out.toPml(true);
    EXPECT_LT(text.find("ip(127.0.0.1)"), text.find("port:Ushort(65535)")) << text;
    TcpAddr read;
    pml::decode(pml::stream(text, false), read);
    EXPECT_EQ(read, TcpAddr(65535, "127.0.0.1"));
}

}  // namespace
}  // namespace qor
