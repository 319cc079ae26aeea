#include "tcp/tcp_receiver.h"

#include "log/own_log.h"

namespace qor::tcp {

namespace {

// A connection keeps at most this many bytes of memory for its next frame.
constexpr unsigned long kKeptRoom = 1UL << 20;

// False if the call raised.
template <class Call>
bool callGuarded(own_log::Place at, Call call) {
    return own_log::guarded(own_log::network, at, false, [&] { return call(), true; });
}

}  // namespace

bool TcpReceiver::recv(TcpChannel& channel, TcpSocket& socket) {
    const bool going = channel.recvBuf(frame_) && callGuarded("qor::TcpCallback::onReceive", [&] {
                           if (callback_) callback_->onReceive(peer_, frame_);
                       });
    if (frame_.max_size() > kKeptRoom) frame_.clear();
    if (!going) end(socket);
    return going;
}

void TcpReceiver::end(TcpSocket& socket) {
    socket.end();
    if (standing_ && callback_) {
        callGuarded("qor::TcpCallback::onClosed", [&] { callback_->onClosed(peer_); });
    }
    standing_ = false;
    callback_.reset();
}

}  // namespace qor::tcp
