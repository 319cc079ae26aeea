#include "tcp/tcp_socket.h"

#include <utility>

#include "platform/socket.h"

namespace qor::tcp {

void TcpSocket::open(ACE_HANDLE handle) noexcept {
    stream_.set_handle(handle);
    owned_ = true;
    state_ = 1;
}

void TcpSocket::setUp(int bufferSize) {
    stream_.set_option(SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    stream_.set_option(SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof bufferSize);
    platform::sendAtOnce(stream_.get_handle());
}

void TcpSocket::end() noexcept {
    const Use use(*this);
    if (!use) return;
    if ((state_.fetch_or(kEnded) & kEnded) == 0) platform::shutdownSocket(stream_.get_handle());
}

void TcpSocket::close() noexcept {
    end();
    if (std::exchange(owned_, false)) leave();
}

bool TcpSocket::enter() noexcept {
    unsigned state = state_;
    while ((state & kEnded) == 0) {
        if (state_.compare_exchange_weak(state, state + 1)) return true;
    }
    return false;
}

// The last user after the end closes the descriptor.
void TcpSocket::leave() noexcept {
    if (state_.fetch_sub(1) != kEnded + 1) return;
    platform::closeSocket(stream_.get_handle());
    stream_.set_handle(ACE_INVALID_HANDLE);
}

}  // namespace qor::tcp
