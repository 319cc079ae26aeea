#include "tcp/tcp_socket.h"

#include "platform/socket.h"

namespace qor::tcp {

void TcpSocket::open(ACE_HANDLE handle) {
    const Guard guard(mutex_);
    stream_.set_handle(handle);
    open_ = owned_ = true;
    users_ = 1;
}

void TcpSocket::setUp(int bufferSize) {
    stream_.set_option(SOL_SOCKET, SO_RCVBUF, &bufferSize, sizeof bufferSize);
    stream_.set_option(SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof bufferSize);
    platform::sendAtOnce(stream_.get_handle());
}

bool TcpSocket::isOpen() const {
    const Guard guard(mutex_);
    return open_;
}

void TcpSocket::end() {
    const Guard guard(mutex_);
    if (open_) platform::shutdownSocket(stream_.get_handle());
    open_ = false;
}

void TcpSocket::close() {
    end();
    {
        const Guard guard(mutex_);
        if (!owned_) return;
        owned_ = false;
    }
    leave();
}

bool TcpSocket::enter() {
    const Guard guard(mutex_);
    if (open_) ++users_;
    return open_;
}

// Closing may take its time, and so is done without the lock.
void TcpSocket::leave() {
    ACE_HANDLE unused = ACE_INVALID_HANDLE;
    {
        const Guard guard(mutex_);
        if (--users_ != 0) return;
        unused = stream_.get_handle();
        stream_.set_handle(ACE_INVALID_HANDLE);
    }
    platform::closeSocket(unused);
}

}  // namespace qor::tcp
