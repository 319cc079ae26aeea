#include "qor/tcp/tcp_impl_base.h"

#include <ostream>
#include <string>

#include "base/text_stream.h"
#include "nuv_guard.h"
#include "nuv_mask_keyword.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

constexpr int kHostRoom = 128;
constexpr std::size_t kMaskedRoom = 46;

}  // namespace

std::ostream& operator<<(std::ostream& os, const TcpAddr& address) {
    return os << istr(address.ip) << ":" << std::to_string(address.port);
}

namespace tcp {

TcpAddr toTcpAddr(const ACE_INET_Addr& address) {
    char host[kHostRoom] = "";
    address.get_host_addr(host, kHostRoom);
    return TcpAddr(address.get_port_number(), host);
}

// Uses set(), since ACE's constructor reports an unknown host on the terminal. A look-up that is
// cancelled would leave its descriptors open.
ACE_INET_Addr toInetAddr(const TcpAddr& address) {
    const nuv_uncancelled whole;
    ACE_INET_Addr made;
    for (const int family : {AF_INET, AF_UNSPEC})
        if (made.set(address.port, address.ip.c_str(), 1, family) == 0) return made;
    return ACE_INET_Addr();
}

}  // namespace tcp

}  // namespace qor

std::ostream& operator<<(std::ostream& os, const ACE_INET_Addr& address) {
    char host[qor::kHostRoom] = "";
    char hidden[qor::kMaskedRoom] = "";
    address.get_host_addr(host, qor::kHostRoom);
    nuv_mask_keyword(host, hidden, qor::kMaskedRoom);
    return os << hidden << ":" << std::to_string(address.get_port_number());
}

qor::dumper& operator<<(qor::dumper& d, const ACE_INET_Addr& address) {
    qor::TextStream text;
    text << address;
    return d.raw(text.text());
}
