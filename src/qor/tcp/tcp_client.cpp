#include "qor/tcp/tcp_client.h"

#include <utility>

#include "qor/base/mlcheck.h"
#include "tcp/tcp_client_impl.h"

namespace qor {

TcpClient::TcpClient()
    : impl_(checkedNew<tcp::ClientImpl>(__FILE__, __LINE__, "qor::TcpClient::TcpClient")) {}

TcpClient::~TcpClient() {
    checkedDelete(impl_, __FILE__, __LINE__, "qor::TcpClient::~TcpClient");
}

bool TcpClient::open(const TcpAddr& remote, Handle<TcpCallback> callback, int timeoutSeconds,
                     int socketBufferSize) {
    return impl_->open(remote, std::move(callback), timeoutSeconds, socketBufferSize);
}

void TcpClient::close() {
    impl_->close();
}

bool TcpClient::send(const istr& payload, int timeoutSeconds) {
    return impl_->send(payload, timeoutSeconds);
}

unsigned short TcpClient::getLocalPort() const {
    return impl_->getLocalPort();
}

}  // namespace qor
