#ifndef QOR_SRC_TCP_TCP_ADDRESS_H
#define QOR_SRC_TCP_TCP_ADDRESS_H

#include <ace/INET_Addr.h>

#include <iosfwd>

#include "qor/log/log_dumper.h"
#include "qor/tcp/tcp_impl_base.h"

namespace qor {

namespace tcp {

// The numeric address and the port. Raises std::bad_alloc.
TcpAddr toTcpAddr(const ACE_INET_Addr& address);

// ACE_INET_Addr() if the host is unknown. If a host has addresses of both families, the result is
// its IPv4 address, since servers listen on IPv4.
ACE_INET_Addr toInetAddr(const TcpAddr& address);

}  // namespace tcp

}  // namespace qor

// The form for the log: the host with its middle masked, ":" and the port. A host that cannot be
// masked is not written. In the global namespace, like ACE_INET_Addr, so that templates find them.
std::ostream& operator<<(std::ostream& os, const ACE_INET_Addr& address);
qor::dumper& operator<<(qor::dumper& d, const ACE_INET_Addr& address);

#endif  // QOR_SRC_TCP_TCP_ADDRESS_H
