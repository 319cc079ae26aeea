#include "tcp/tcp_receiver.h"

#include <cxxabi.h>

#include "tcp/tcp_log.h"

namespace qor::tcp {

namespace {

// A connection keeps no more than this for its next frame.
constexpr unsigned long kKeptRoom = 1UL << 20;

// False if the call raised. What unwinds a thread that is told to exit goes on.
template <class Call>
bool told(const char* func, Call call) {
    try {
        call();
        return true;
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& e) {
        writeExcptLog(log(), __FILE__, __LINE__, func, e.what());
    } catch (...) {
        writeExcptLog(log(), __FILE__, __LINE__, func, "an exception of another type");
    }
    return false;
}

}  // namespace

bool TcpReceiver::recv(TcpChannel& channel, TcpSocket& socket) {
    const bool going = channel.recvBuf(frame_) && told("qor::TcpCallback::onReceive", [&] {
                           if (callback_) callback_->onReceive(peer_, frame_);
                       });
    if (frame_.max_size() > kKeptRoom) frame_.clear();
    if (!going) end(socket);
    return going;
}

void TcpReceiver::end(TcpSocket& socket) {
    socket.end();
    if (standing_ && callback_) {
        told("qor::TcpCallback::onClosed", [&] { callback_->onClosed(peer_); });
    }
    standing_ = false;
    callback_.reset();
}

}  // namespace qor::tcp
