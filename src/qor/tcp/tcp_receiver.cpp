#include "tcp/tcp_receiver.h"

#include <utility>

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
    // Taken before the call: if onClosed ends the thread, the thread calls this function again.
    Handle<TcpCallback> callback;
    callback.swap(callback_);
    if (std::exchange(established_, false) && callback)
        callGuarded("qor::TcpCallback::onClosed", [&] { callback->onClosed(peer_); });
}

}  // namespace qor::tcp
