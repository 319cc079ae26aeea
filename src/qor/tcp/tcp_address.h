#ifndef QOR_SRC_TCP_TCP_ADDRESS_H
#define QOR_SRC_TCP_TCP_ADDRESS_H

#include <ace/INET_Addr.h>

#include <iosfwd>

#include "qor/log/log_dumper.h"
#include "qor/tcp/tcp_impl_base.h"

namespace qor {

namespace tcp {

// The dotted address and the port. Raises std::bad_alloc.
TcpAddr toTcpAddr(const ACE_INET_Addr& address);

// ACE_INET_Addr() for an unknown host. A host with addresses of both families gives its IPv4
// address, since servers listen on IPv4.
ACE_INET_Addr toInetAddr(const TcpAddr& address);

}  // namespace tcp

}  // namespace qor

// As the log shows an address: the host with its middle hidden, ":" and the port. A host that
// cannot be hidden is left out. In the namespace of the address, where templates find them.
std::ostream& operator<<(std::ostream& os, const ACE_INET_Addr& address);
qor::dumper& operator<<(qor::dumper& d, const ACE_INET_Addr& address);

#endif  // QOR_SRC_TCP_TCP_ADDRESS_H
